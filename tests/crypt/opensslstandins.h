// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef OPENSSLSTANDINS_H
#define OPENSSLSTANDINS_H

#include <QStringList>

#include <functional>
#include <optional>

/// In a program with opensslstandins.cpp, the library calls stand-ins for libcrypto's functions.
/// Each notes its call and then calls the real function, unless this says otherwise.
struct OpensslStandIns
{
    /// The names of the functions called, in order, without replaced block operations.
    QStringList calls;
    /// Whether the PEM reader was given an object to fill, and a callback or data for one.
    bool readerHadObject = false;
    bool readerHadCallback = false;
    /// The paddings asked for.
    QList<int> paddings;
    /// How many RSA objects and BIOs are alive.
    int keys = 0;
    int bios = 0;

    bool failBio = false;
    bool failRsaNew = false;
    /// How the PEM readers fail: they leave the object alone, or free it and set the pointer to
    /// null.
    enum { ReaderWorks, ReaderFails, ReaderFailsAndFrees } reader = ReaderWorks;
    /// The length of every key in bytes, if given.
    std::optional<int> keySize;
    /// Replaces RSA_public_encrypt() and the two decryptions.
    std::function<int(int length, const unsigned char *from, unsigned char *to)> block;
};

extern OpensslStandIns standIns;

#endif
