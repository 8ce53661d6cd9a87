// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef OPENSSLKEY_H
#define OPENSSLKEY_H

#include "opensslprogram.h"

#include <QByteArray>
#include <QString>

/// A pair of RSA keys of the openssl program, the private one in a file, and what an agent that has
/// the public one would write with it.
class OpensslKey
{
public:
    OpensslKey() = default;
    /// \a openssl must outlive the object. The file is in \a folder.
    OpensslKey(OpensslProgram *openssl, const QString &folder, int bits);

    const RsaPair &pair() const { return m_pair; }
    QString file() const { return m_file; }
    int blockSize() const { return m_blockSize; }
    int textPerBlock() const { return m_blockSize - 11; }

    /// The RSA blocks of \a text.
    QByteArray encrypt(const QByteArray &text) const;
    /// The encrypted log text of \a text.
    QByteArray logText(const QByteArray &text) const;

private:
    OpensslProgram *m_openssl = nullptr;
    RsaPair m_pair;
    QString m_file;
    int m_blockSize = 0;
};

#endif
