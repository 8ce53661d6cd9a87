// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "fakenetworkmanager.h"
#include "isolatedtest.h"
#include "logcapture.h"
#include "privatebus.h"

#include <syncstatus/monitornetwork.h>

#include <QTest>

// What the monitor makes of what NetworkManager says when the monitor is made.
class tst_MonitorEvaluation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void noPrimaryConnectionAndGlobalStateIsOnline();

private:
    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
};

void tst_MonitorEvaluation::initTestCase()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
}

void tst_MonitorEvaluation::noPrimaryConnectionAndGlobalStateIsOnline()
{
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setState(70);
    LogCapture log;
    MonitorNetwork monitor(nullptr);
    QVERIFY(monitor.getNetworkState());
    QCOMPARE(
        log.takeLines(),
        QStringList({agentWarning(QStringLiteral("codestack:  get primary connection path: \"/\"")),
                     agentWarning(QStringLiteral("codestack:  getNetworkState: true \n"))}));
}

ISOLATED_TEST_MAIN(tst_MonitorEvaluation)

#include "tst_monitorevaluation.moc"
