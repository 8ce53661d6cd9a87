// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "fakenetworkmanager.h"
#include "logcapture.h"
#include "patience.h"
#include "privatebus.h"
#include "testprogram.h"

#include <custompluginmanager/custompluginmanager.h>
#include <custompluginmanager/pluginbase.h>

#include <QLoggingCategory>
#include <QPluginLoader>
#include <QProcess>
#include <QScopedPointer>
#include <QSignalSpy>
#include <QTest>

using custompluginmanager::CustomPluginManager;
using custompluginmanager::PluginBase;

// The implementation object as another plugin uses it: found in the registry, called by name.
class TestImplement : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void isPassiveUntilItIsAsked();
    void networkMonitorComesFirst();
    void getNetworkStateComesFirst();
    void answersOnceTheMonitorIsGone();

private:
    QObject *askForMonitor();
    bool askForState();

    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
    QPluginLoader m_loader{QStringLiteral(SYNCSTATUS_PLUGIN_FILE)};
    PluginBase *m_plugin = nullptr;
    QObject *m_implement = nullptr;
    QScopedPointer<LogCapture> m_log;
};

void TestImplement::initTestCase()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setState(70);
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent.debug=true"));
    m_log.reset(new LogCapture); // not before QtTest has its own
    m_plugin = qobject_cast<PluginBase *>(m_loader.instance());
    QVERIFY2(m_plugin, qPrintable(m_loader.errorString()));
    QVERIFY(m_plugin->initialize(nullptr));
    m_plugin->extensionsInitialized();
    QVERIFY(m_plugin->delayedInitialize());
    m_implement = CustomPluginManager::getPluginImpByName(QStringLiteral("SyncStatus"));
    QVERIFY(m_implement);
    // There is no monitor yet: it would write what it reads.
    const QStringList lines = m_log->takeLines();
    QCOMPARE(lines.size(), 4);
    QCOMPARE(lines.filter(QStringLiteral("primary connection")), QStringList());
}

void TestImplement::cleanupTestCase()
{
    delete m_plugin;
    m_log.reset();
}

QObject *TestImplement::askForMonitor()
{
    QObject *monitor = nullptr;
    QMetaObject::invokeMethod(
        m_implement, "networkMonitor", Qt::DirectConnection,
        Q_RETURN_ARG(QObject *, monitor)); // clazy:exclude=connect-not-normalized
    return monitor;
}

bool TestImplement::askForState()
{
    bool online = false;
    return QMetaObject::invokeMethod(m_implement, "getNetworkState", Q_RETURN_ARG(bool, online)) &&
           online;
}

void TestImplement::isPassiveUntilItIsAsked()
{
    m_networkManager.emitStates({70, 20, 70});
    QCoreApplication::processEvents();
    QCOMPARE(m_log->takeLines(), QStringList());
}

void TestImplement::networkMonitorComesFirst()
{
    QObject *const monitor = askForMonitor();
    QVERIFY(monitor);
    QCOMPARE(m_log->takeLines(),
             QStringList({agentWarning("codestack:  get primary connection path: \"/\"")}));
    QCOMPARE(askForMonitor(), monitor);
    QVERIFY(askForState());
    QCOMPARE(m_log->takeLines(),
             QStringList({agentWarning("codestack:  getNetworkState: true \n")}));

    // By signature, as a caller connects that includes no header of this library.
    const QSignalSpy gains(monitor, SIGNAL(networkStateChange(bool)));
    QVERIFY(gains.isValid());
    m_networkManager.emitStates({70});
    QTRY_COMPARE_WITH_TIMEOUT(gains.size(), 1, patience);
    QCOMPARE(gains.at(0), QVariantList({true}));
}

void TestImplement::getNetworkStateComesFirst()
{
    QVERIFY(askForState());
    QCOMPARE(m_log->takeLines(),
             QStringList({agentWarning("codestack:  get primary connection path: \"/\""),
                          agentWarning("codestack:  getNetworkState: true \n")}));
    QVERIFY(askForMonitor());
    QCOMPARE(m_log->takeLines(), QStringList());
}

void TestImplement::answersOnceTheMonitorIsGone()
{
    QProcess process;
    process.start(QStringLiteral(IMPLEMENT_AT_EXIT), QStringList());
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
    QCOMPARE(process.readAllStandardOutput(), QByteArray("main: monitor, online\n"
                                                         "exit handler: no monitor, not online\n"));
}

SYNCSTATUS_ISOLATED_TEST(TestImplement)

#include "tst_implement.moc"
