// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef OPENSSLSTANDINS_H
#define OPENSSLSTANDINS_H

#include <QStringList>

#include <functional>
#include <optional>

/// What the library gets instead of libcrypto's functions in a program that is built with
/// opensslstandins.cpp: each notes that it was called and, unless told otherwise here, calls the
/// real one.
struct OpensslStandIns
{
    /// The names of the functions called, in order. Block operations that are replaced are not
    /// noted.
    QStringList calls;
    /// What was handed to the PEM reader: whether there was an object to fill, and whether there
    /// was a callback or data for one.
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
    /// Does a block in place of RSA_public_encrypt() or RSA_private_decrypt().
    std::function<int(int length, const unsigned char *from, unsigned char *to)> block;
};

extern OpensslStandIns standIns;

#endif
