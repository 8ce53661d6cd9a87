// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef PROTECTEDPEM_H
#define PROTECTEDPEM_H

#include <QByteArray>

namespace logEncryption {

/// How much of \a pem, in bytes, a reader of OpenSSL may be given: all of it, or what comes before
/// the first block that would make it ask for a passphrase. The library's readers have no callback
/// for one, and without one OpenSSL asks whoever sits at the terminal.
///
/// A reader of public keys passes over blocks of other names than its own: \a name is "BEGIN " and
/// that name, "BEGIN PUBLIC KEY" say. One of private keys looks into all: \a name is "BEGIN "
/// alone.
///
/// A block counts when it is an encrypted PKCS#8 key, has the header of an encrypted block (RFC
/// 1421), or has a NUL in it: of a line, OpenSSL leaves out what follows a NUL, the line's end
/// included, so with one in it a header can look like anything.
int sizeWithoutQuestions(const QByteArray &pem, const QByteArray &name);

} // namespace logEncryption

#endif
