// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "atonce.h"
#include "logcapture.h"
#include "testprogram.h"

#include <syncstatus/utils.h>

#include <QFile>
#include <QJsonObject>
#include <QNetworkProxy>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>

using utility::Utils;

class TestCommandThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eightThreadsCallEveryOperationAtOnce();
};

void TestCommandThreads::eightThreadsCallEveryOperationAtOnce()
{
    constexpr int threads = 8;
    constexpr int rounds = 20;
    // An rpm that opens no database.
    QTemporaryDir bin;
    QFile rpm(bin.filePath("rpm"));
    QVERIFY(rpm.open(QIODevice::WriteOnly) && rpm.write("#!/bin/sh\necho \"${4#/}\"\n") > 0);
    rpm.close();
    QVERIFY(rpm.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
    qputenv("PATH", QFile::encodeName(bin.path()) + ':' + qgetenv("PATH"));

    LogCapture log;
    std::atomic<int> good{0};
    // Threads that Qt did not start and that run no event loop.
    atOnce(threads, [&good](int thread) {
        for (int round = 0; round < rounds; ++round) {
            // First, because Qt makes its calendar then, which all threads need at once.
            const QString date = Utils::getServerDateTime(86400 * (round + 1));
            const QString word = QStringLiteral("%1-%2").arg(thread).arg(round);
            const auto port = static_cast<quint16>(1000 + thread);
            QString output;
            QTcpSocket socket;
            Utils::setSocksNetworkProxy(
                socket, {{QStringLiteral("socks"),
                          QJsonObject{{QStringLiteral("host"), word},
                                      {QStringLiteral("port"), QString::number(port)}}}});
            good += date == QStringLiteral("1970-01-%1").arg(round + 2, 2, 10, QLatin1Char('0')) &&
                    Utils::executeCmd(QLatin1String("echo ") + word, output) &&
                    output == word + QLatin1Char('\n') &&
                    Utils::getPackageNameByProcessName(QLatin1Char('/') + word) == word &&
                    Utils::isValidIp(QStringLiteral("10.0.%1.%2").arg(thread).arg(round)) &&
                    !Utils::isValidIp(word) && socket.proxy().hostName() == word &&
                    socket.proxy().port() == port &&
                    Utils::compareUrlIgnoreHttpPrefix(QLatin1String("http://") + word,
                                                      QLatin1String("https://") + word);
        }
    });
    QCOMPARE(good.load(), threads * rounds);
    QCOMPARE(log.takeLines().size(), threads * rounds * 3);
}

SYNCSTATUS_TEST(TestCommandThreads)
#include "tst_commandthreads.moc"
