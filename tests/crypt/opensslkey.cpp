// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "opensslkey.h"

#include <QFile>

OpensslKey::OpensslKey(OpensslProgram *openssl, const QString &folder, int bits)
    : m_openssl(openssl),
      m_pair(openssl->rsaPair(bits)),
      m_file(QStringLiteral("%1/%2.pem").arg(folder).arg(bits)),
      m_blockSize(bits / 8)
{
    QFile file(m_file);
    if (m_pair.privatePkcs8.isEmpty() || !file.open(QIODevice::WriteOnly) ||
        file.write(m_pair.privatePkcs8) != m_pair.privatePkcs8.size())
        qFatal("no key of %d bits", bits);
}

QByteArray OpensslKey::encrypt(const QByteArray &text) const
{
    QByteArray blocks;
    for (int i = 0; i < text.size(); i += textPerBlock())
        blocks += m_openssl->encrypt(text.mid(i, textPerBlock()), m_pair.publicSpki);
    return blocks;
}

QByteArray OpensslKey::logText(const QByteArray &text) const
{
    return "LicenseLogEncryptSign" + encrypt(text).toBase64();
}
