// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "fakenetworkmanager.h"
#include "isolatedtest.h"
#include "logcapture.h"
#include "monitorlines.h"
#include "patience.h"
#include "privatebus.h"

#include <syncstatus/monitornetwork.h>

#include <QMetaMethod>
#include <QProcess>
#include <QScopedPointer>
#include <QSemaphore>
#include <QSet>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <vector>

// The one monitor of a process, and the class as others see it.
class tst_MonitorInstance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void isMadeByTheFirstCall();
    void isOneForThreadsThatAskAtOnce();
    void isNullPastTheExitHandlers();
    void metaObjectListsSignalThenSlot();

private:
    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
};

void tst_MonitorInstance::initTestCase()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setState(70);
}

void tst_MonitorInstance::isMadeByTheFirstCall()
{
    LogCapture log;
    MonitorNetwork *const monitor = MonitorNetwork::getInstance();
    QVERIFY(monitor);
    QCOMPARE(log.takeLines(), QStringList({primaryLine(QStringLiteral("/"))}));
    QCOMPARE(monitor->parent(), nullptr);
    QCOMPARE(monitor->thread(), QThread::currentThread());
    QCOMPARE(MonitorNetwork::getInstance(), monitor);
    QCOMPARE(log.takeLines(), QStringList());

    const QSignalSpy changes(monitor, &MonitorNetwork::networkStateChange);
    m_networkManager.emitStates({70});
    QTRY_COMPARE_WITH_TIMEOUT(changes.size(), 1, patience);
}

void tst_MonitorInstance::isOneForThreadsThatAskAtOnce()
{
    constexpr int count = 16;
    QSemaphore ready;
    QSemaphore go;
    std::vector<MonitorNetwork *> found(count);
    std::vector<QScopedPointer<QThread>> threads(count);
    LogCapture log;
    for (int i = 0; i < count; ++i) {
        threads[size_t(i)].reset(QThread::create([&, i] {
            ready.release();
            go.acquire();
            found[size_t(i)] = MonitorNetwork::getInstance();
        }));
        threads[size_t(i)]->start();
    }
    ready.acquire(count);
    go.release(count);
    for (const auto &thread : threads)
        thread->wait();

    QVERIFY(found.front());
    QCOMPARE(std::vector<MonitorNetwork *>(count, found.front()), found);
    QCOMPARE(log.takeLines(), QStringList({primaryLine(QStringLiteral("/"))}));
}

void tst_MonitorInstance::isNullPastTheExitHandlers()
{
    QProcess process;
    process.start(QStringLiteral(MONITOR_AT_EXIT), QStringList());
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
    QCOMPARE(process.readAllStandardOutput(), QByteArray("main: monitor\n"
                                                         "exit handler: null\n"
                                                         "static destructor: null\n"));
}

void tst_MonitorInstance::metaObjectListsSignalThenSlot()
{
    const QMetaObject &meta = MonitorNetwork::staticMetaObject;
    QCOMPARE(meta.className(), "MonitorNetwork");
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
    QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 0);
    QCOMPARE(meta.enumeratorCount() - meta.enumeratorOffset(), 0);
    QCOMPARE(meta.classInfoCount() - meta.classInfoOffset(), 0);
    QCOMPARE(meta.constructorCount(), 0);

    const QMetaMethod signal = meta.method(meta.methodOffset());
    QCOMPARE(signal.methodType(), QMetaMethod::Signal);
    QCOMPARE(signal.access(), QMetaMethod::Public);
    QCOMPARE(signal.methodSignature(), QByteArray("networkStateChange(bool)"));
    QCOMPARE(signal.parameterNames(), QList<QByteArray>({"isConnected"}));
    QCOMPARE(signal.returnType(), int(QMetaType::Void));

    const QMetaMethod slot = meta.method(meta.methodOffset() + 1);
    QCOMPARE(slot.methodType(), QMetaMethod::Slot);
    QCOMPARE(slot.access(), QMetaMethod::Private);
    QCOMPARE(meta.indexOfSlot("onStateChanged(quint32)"), slot.methodIndex());
    QCOMPARE(slot.parameterCount(), 1);
    QCOMPARE(slot.parameterNames(), QList<QByteArray>({"state"}));
    QCOMPARE(slot.returnType(), int(QMetaType::Void));
}

ISOLATED_TEST_MAIN(tst_MonitorInstance)

#include "tst_monitorinstance.moc"
