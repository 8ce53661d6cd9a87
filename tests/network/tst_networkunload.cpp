// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include <QFile>
#include <QJsonObject>
#include <QLibrary>
#include <QNetworkProxy>
#include <QRegExp>
#include <QTcpSocket>
#include <QVariant>
#include <QtTest>

// This program does not link the library: it can be unloaded.
class TestNetworkUnload : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatTheHelpersHandedToQtOutlivesTheLibrary();
};

void TestNetworkUnload::whatTheHelpersHandedToQtOutlivesTheLibrary()
{
    QLibrary library(QStringLiteral(SYNCSTATUS_LIBRARY));
    QVERIFY2(library.load(), qPrintable(library.errorString()));
    const auto isValidIp = reinterpret_cast<bool (*)(const QString &)>(
        library.resolve("_ZN7utility5Utils9isValidIpERK7QString"));
    const auto executeCmd = reinterpret_cast<bool (*)(const QString &, QString &)>(
        library.resolve("_ZN7utility5Utils10executeCmdERK7QStringRS1_"));
    const auto getServerDateTime = reinterpret_cast<QString (*)(const QVariant &)>(
        library.resolve("_ZN7utility5Utils17getServerDateTimeERK8QVariant"));
    const auto setSocksNetworkProxy = reinterpret_cast<void (*)(QTcpSocket &, const QJsonObject &)>(
        library.resolve("_ZN7utility5Utils20setSocksNetworkProxyER10QTcpSocketRK11QJsonObject"));
    QVERIFY(isValidIp);
    QVERIFY(executeCmd);
    QVERIFY(getServerDateTime);
    QVERIFY(setSocksNetworkProxy);

    QVERIFY(isValidIp(QStringLiteral("1.2.3.4")));
    QString output;
    QVERIFY(executeCmd(QStringLiteral("echo word"), output));
    const QString date = getServerDateTime(86400);
    QTcpSocket socket;
    setSocksNetworkProxy(socket, {{QStringLiteral("socks"),
                                   QJsonObject{{QStringLiteral("host"), QStringLiteral("a")},
                                               {QStringLiteral("port"), QStringLiteral("1")}}}});
    QTcpSocket direct;
    setSocksNetworkProxy(direct, {});

    QVERIFY2(library.unload(), qPrintable(library.errorString()));
    QFile maps(QStringLiteral("/proc/self/maps"));
    QVERIFY(maps.open(QIODevice::ReadOnly));
    QVERIFY(!maps.readAll().contains("libsyncstatus"));

    // QRegExp still has the library's pattern in its cache and compares it with an equal one.
    QRegExp pattern(QString::fromLatin1("((2[0-4][0-9]|25[0-5]|[01]?[0-9][0-9]?)\\.){3}"
                                        "(2[0-4][0-9]|25[0-5]|[01]?[0-9][0-9]?)"));
    QVERIFY(pattern.exactMatch(QStringLiteral("1.2.3.4")));
    QCOMPARE(output, QStringLiteral("word\n"));
    QCOMPARE(date, QStringLiteral("1970-01-02"));
    QCOMPARE(socket.proxy().hostName(), QStringLiteral("a"));
    QCOMPARE(direct.proxy().type(), QNetworkProxy::NoProxy);
}

QTEST_GUILESS_MAIN(TestNetworkUnload)
#include "tst_networkunload.moc"
