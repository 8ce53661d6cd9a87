// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Runs the host that loads the library, drives the plugin, makes the monitor and unloads the
// library under valgrind's memcheck, which sees each instruction, also those of Qt and libdbus.

#include "fakenetworkmanager.h"
#include "privatebus.h"
#include "testprogram.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTest>

class TestMemcheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void wholeLifeHasNoErrorAndNoLeak_data();
    void wholeLifeHasNoErrorAndNoLeak();

private:
    QString m_valgrind;
};

void TestMemcheck::initTestCase()
{
    m_valgrind = QStandardPaths::findExecutable(QStringLiteral("valgrind"));
    if (m_valgrind.isEmpty())
        QSKIP("there is no valgrind program");
}

void TestMemcheck::wholeLifeHasNoErrorAndNoLeak_data()
{
    QTest::addColumn<bool>("withNetworkManager");
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("no bus") << false << QByteArray("offline\n");
    QTest::newRow("NetworkManager") << true << QByteArray("online\n");
}

void TestMemcheck::wholeLifeHasNoErrorAndNoLeak()
{
    QFETCH(bool, withNetworkManager);
    QFETCH(QByteArray, answer);
    PrivateBus bus;
    FakeNetworkManager networkManager;
    if (withNetworkManager) {
        QVERIFY(bus.start());
        QVERIFY(networkManager.start());
        networkManager.setConnectedDevices({30, 100});
    }

    constexpr int cycles = 10;
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Stronger than the rules of the host: every line is written.
    environment.insert(QStringLiteral("QT_LOGGING_RULES"),
                       QStringLiteral("org.corvel.license.agent=true"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(m_valgrind,
                  {QStringLiteral("--quiet"), QStringLiteral("--error-exitcode=99"),
                   QStringLiteral("--leak-check=full"),
                   QStringLiteral("--errors-for-leak-kinds=definite"),
                   QStringLiteral("--show-leak-kinds=definite"),
                   // So it can name the places in the library after the unloading.
                   QStringLiteral("--keep-debuginfo=yes"), QStringLiteral("--num-callers=40"),
                   QStringLiteral(RELOAD_HOST), QStringLiteral(SYNCSTATUS_PLUGIN_FILE),
                   QString::number(cycles), QStringLiteral("-"), QStringLiteral("monitor")});
    // It takes some seconds as a rule. QtTest ends the program after five minutes.
    QVERIFY2(process.waitForFinished(240000), qPrintable(process.errorString()));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
    QCOMPARE(process.readAllStandardOutput(), answer.repeated(cycles));
}

SYNCSTATUS_TEST(TestMemcheck)

#include "tst_memcheck.moc"
