// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "busmonitor.h"
#include "logcapture.h"
#include "monitorlines.h"
#include "patience.h"
#include "testprogram.h"
#include "uplink.h"

#include <syncstatus/monitornetwork.h>

#include <QSignalSpy>
#include <QTest>

// The monitor beside a real NetworkManager that has never been online, in scripts/sandbox
// --offline.
class TestMonitorOfflineStart : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstUplinkIsAnnounced();
};

void TestMonitorOfflineStart::firstUplinkIsAnnounced()
{
    if (!isInSandbox())
        QSKIP("to be run by scripts/sandbox --offline");
    LogCapture log;
    MonitorNetwork monitor(nullptr);
    const QSignalSpy changes(&monitor, &MonitorNetwork::networkStateChange);
    QVERIFY(!monitor.getNetworkState());
    QCOMPARE(log.takeLines(),
             QStringList({primaryLine(QStringLiteral("/")), errorLine(), answerLine(false)}));

    BusMonitor busMonitor;
    QVERIFY(busMonitor.start());
    QVERIFY(setUplink(true));
    QTRY_VERIFY_WITH_TIMEOUT(!changes.isEmpty(), patience);
    QVERIFY(monitor.getNetworkState());
    // No second evaluation.
    QCOMPARE(busMonitor.takeCalls(QDBusConnection::systemBus().baseService()), QStringList());
}

SYNCSTATUS_TEST(TestMonitorOfflineStart)

#include "tst_monitorofflinestart.moc"
