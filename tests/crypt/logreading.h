// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef LOGREADING_H
#define LOGREADING_H

#include "opensslkey.h"

#include <QByteArray>
#include <QMap>
#include <QTemporaryDir>

#include <logreader.h>
#include <privatekey.h>

#include <map>
#include <memory>
#include <string_view>

const QByteArray marker = QByteArrayLiteral("LicenseLogEncryptSign");

inline std::string_view view(const QByteArray &bytes)
{
    return {bytes.constData(), size_t(bytes.size())};
}

/// The same arbitrary bytes on each run.
QByteArray someBytes(int size);

struct Reading
{
    QByteArray output;
    int read;
    int unread;
};

/// Keys of 1024, 2048 and 3072 bits, and a LogReader with one of them. Their blocks are 128, 256
/// and 384 bytes long: base64 ends with "=", with "==" and without padding.
class LogReading
{
public:
    /// Makes the keys. Returns what failed, or nothing.
    QByteArray makeKeys();

    OpensslKey &key(int bits) { return m_keys[bits]; }
    const QMap<int, OpensslKey> &keys() const { return m_keys; }

    /// A reader whose output is appended to \a output.
    std::unique_ptr<LogReader> reader(int bits, QByteArray *output,
                                      LogReader::PlainText plainText = LogReader::PlainText::Exact);

    /// Reads \a log in pieces of several sizes. The test fails if they make a difference.
    Reading read(const QByteArray &log, int bits = 1024,
                 LogReader::PlainText plainText = LogReader::PlainText::Exact);

private:
    OpensslProgram m_openssl;
    QTemporaryDir m_folder;
    QMap<int, OpensslKey> m_keys;
    std::map<int, PrivateKey> m_privateKeys;
};

#endif
