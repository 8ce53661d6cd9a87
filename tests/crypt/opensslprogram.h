// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef OPENSSLPROGRAM_H
#define OPENSSLPROGRAM_H

#include <QByteArray>
#include <QMap>
#include <QStringList>
#include <QTemporaryDir>

/// The same RSA pair in all its forms, as PEM.
struct RsaPair
{
    QByteArray privatePkcs8;
    QByteArray privatePkcs1;
    QByteArray publicSpki;
    QByteArray publicPkcs1;
};

/// The other side of every exchange: the `openssl` program. Everything that it makes is made once
/// for each test program.
class OpensslProgram
{
public:
    /// Whether there is such a program; a test without it is skipped.
    static bool exists();

    /// Runs it; its standard output, or a null array when it fails. \a input is its standard input.
    QByteArray run(const QStringList &arguments, const QByteArray &input = QByteArray()) const;

    RsaPair rsaPair(int bits);
    /// A pair of elliptic-curve keys; the two PKCS#1 forms stay empty.
    RsaPair ecPair();
    /// The private key \a pem behind the passphrase "secret": in PKCS#8, or PKCS#1 with its
    /// Proc-Type header.
    QByteArray protect(const QByteArray &pem, bool inPkcs1) const;

    /// One block. Null when it is refused, else not null, be it empty.
    QByteArray encrypt(const QByteArray &text, const QByteArray &publicPem);
    QByteArray decrypt(const QByteArray &block, const QByteArray &privatePem);
    /// One block made from \a text as it is, without a digest. The program takes no more than a
    /// digest can be long, 64 bytes.
    QByteArray sign(const QByteArray &text, const QByteArray &privatePem);
    /// The private-key operation on \a block, as long as the modulus, with no padding of its own.
    QByteArray applyPrivateKey(const QByteArray &block, const QByteArray &privatePem);

private:
    /// The private key \a privatePem in PKCS#1, with these options of `openssl rsa`.
    QByteArray pkcs1(const QByteArray &privatePem, const QStringList &options) const;
    /// A file with this content.
    QString fileOf(const QByteArray &pem);

    QTemporaryDir m_folder;
    QMap<int, RsaPair> m_pairs;
    RsaPair m_ecPair;
};

#endif
