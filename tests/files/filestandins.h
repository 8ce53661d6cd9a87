// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef FILESTANDINS_H
#define FILESTANDINS_H

#include <QByteArray>
#include <QDeadlineTimer>

/// The kinds of changes to a file system: for data, it needs room; for a name, it needs a little
/// room; for the others, it needs none.
enum class Need { Data, Name, Nothing };

/// How this program's file systems differ from the machine's, and what they were asked for. A test
/// sets it for one call of the library and clears it again; cleared, it changes nothing.
struct Faults
{
    int refusedFrom = 0;       // this change and all later ones are refused; 0 for none
    int error = 0;             // the errno of a refusal
    Need upTo = Need::Nothing; // the last kind that is refused, in the order of Need
    int changes = 0;           // how many have been asked for

    QByteArray vanishing;   // this file, or folder with all that is in it, is removed
    int vanishesBefore = 0; // just before it, or a file in it, is used for the n'th time
    int used = 0;

    QByteArray placed; // the last path that a new file has got

    QDeadlineTimer nextTick; // until then no file can get another modification time
    int stamps = 0;          // how many modification times have been set

    bool ignoresTruncation = false;
    int truncations = 0; // besides those of open()
};
extern Faults faults;

#endif
