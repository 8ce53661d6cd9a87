// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logreading.h"

#include <QString>
#include <QTest>

#include <string>

QByteArray someBytes(int size)
{
    QByteArray bytes;
    for (unsigned i = 0; bytes.size() < size; ++i)
        bytes += char((i * 2654435761U) >> 24);
    return bytes;
}

QByteArray LogReading::makeKeys()
{
    for (const int bits : {1024, 2048, 3072}) {
        m_keys[bits] = OpensslKey(&m_openssl, m_folder.path(), bits);
        std::string error;
        m_privateKeys[bits] = readPrivateKey(m_keys[bits].file().toStdString(), &error);
        if (!m_privateKeys[bits])
            return QByteArray::fromStdString(error);
    }
    return {};
}

std::unique_ptr<LogReader> LogReading::reader(int bits, QByteArray *output,
                                              LogReader::PlainText plainText)
{
    return std::make_unique<LogReader>(
        m_privateKeys[bits].get(), plainText,
        [output](std::string_view bytes) { output->append(bytes.data(), int(bytes.size())); });
}

Reading LogReading::read(const QByteArray &log, int bits, LogReader::PlainText plainText)
{
    Reading first{{}, -1, -1};
    for (const int piece : {log.size() + 1, 1, 2, 20, 21, 22, 64, 1000}) {
        Reading reading{};
        const auto reader = this->reader(bits, &reading.output, plainText);
        for (int i = 0; i < log.size(); i += piece)
            reader->feed(view(log.mid(i, piece)));
        reader->finish();

        reading.read = int(reader->readCount());
        reading.unread = int(reader->unreadCount());
        if (first.read < 0)
            first = reading;
        if (reading.output != first.output || reading.read != first.read ||
            reading.unread != first.unread) {
            QTest::qFail(qPrintable(QStringLiteral("another result when cut into %1").arg(piece)),
                         __FILE__, __LINE__);
            return {};
        }
    }
    return first;
}
