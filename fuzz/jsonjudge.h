// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef JSONJUDGE_H
#define JSONJUDGE_H

#include <QByteArray>
#include <QVariant>

/// What nlohmann's JSON parser, which holds to RFC 8259, makes of a text.
struct JsonJudgement
{
    /// \a text is first put into RFC 8259's words where it says something else that Qt's parser is
    /// known to read. Qt's other rules, on the top value, depth and numbers, are applied too.
    explicit JsonJudgement(const QByteArray &text);

    /// Whether it is JSON text to Qt, and then its value.
    bool isJson = false;
    QVariant value;
    /// Nobody can say what the text means: an escape of half a surrogate pair or of a character
    /// beyond ASCII is in it. Qt's parser reads something, and there is nothing to compare it with.
    bool isUnclear = false;
    /// An object or an array is the value of a name that comes again in the same object. Of such
    /// text Qt 5.15's parser leaks memory.
    bool isLeaked = false;
};

#endif
