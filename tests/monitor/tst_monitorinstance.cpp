// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "atonce.h"
#include "constants.h"
#include "fakenetworkmanager.h"
#include "logcapture.h"
#include "monitorlines.h"
#include "monitornetwork_p.h"
#include "patience.h"
#include "privatebus.h"
#include "testprogram.h"

#include <syncstatus/monitornetwork.h>

#include <QDBusConnection>
#include <QMetaMethod>
#include <QProcess>
#include <QScopedPointer>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <dlfcn.h>
#include <link.h>

#include <atomic>
#include <cstddef>
#include <future>
#include <type_traits>
#include <vector>

namespace {

using PrivatePart = QScopedPointer<MonitorNetworkPrivate> MonitorNetwork::*;

PrivatePart privatePart();

// C++ lets an explicit instantiation name a private member.
template <PrivatePart member>
struct Reveal
{
    friend PrivatePart privatePart() { return member; }
};

template struct Reveal<&MonitorNetwork::d_ptr>;

// The addresses of the virtual operations of an object's class, in order.
QVector<const void *> virtualTable(const QObject &object)
{
    const void *const *const first = *reinterpret_cast<const void *const *const *>(&object);
    Dl_info info;
    void *symbol = nullptr;
    if (!dladdr1(first, &info, &symbol, RTLD_DL_SYMENT) || !symbol)
        return {};
    const auto *const end =
        reinterpret_cast<const void *const *>(static_cast<const char *>(info.dli_saddr) +
                                              static_cast<const ElfW(Sym) *>(symbol)->st_size);
    QVector<const void *> table;
    for (const void *const *entry = first; entry < end; ++entry)
        table += *entry;
    return table;
}

} // namespace

// The process's one monitor, and the layout of its class.
class TestMonitorInstance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void isMadeByTheFirstCall();
    void livesInTheThreadThatAsksFirst();
    void isOneForThreadsThatAskAtOnce();
    void isNullOnceDestroyedInExitHandlersToo();
    void metaObjectListsSignalThenSlot();
    void onlyMetaObjectAndDestructorAreOverridden();
    void privatePartHoldsProxyOwnerAndFlag();
    void proxyReachesSlotAtOnceOrInItsThread();
    void constantsAreUnsigned32();

private:
    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
};

void TestMonitorInstance::initTestCase()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setState(70);
}

void TestMonitorInstance::isMadeByTheFirstCall()
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

void TestMonitorInstance::livesInTheThreadThatAsksFirst()
{
    QThread thread;
    QObject inThread;
    inThread.moveToThread(&thread);
    std::promise<MonitorNetwork *> made; // which, unlike QSemaphore, the thread sanitizer sees
    connect(&thread, &QThread::started, &inThread,
            [&made] { made.set_value(MonitorNetwork::getInstance()); });
    thread.start();
    MonitorNetwork *const monitor = made.get_future().get();
    QVERIFY(monitor);
    QCOMPARE(monitor->thread(), &thread);

    static std::atomic<QThread *> announcedIn{nullptr};
    connect(
        monitor, &MonitorNetwork::networkStateChange, monitor,
        [] { announcedIn = QThread::currentThread(); }, Qt::DirectConnection);
    m_networkManager.emitStates({70});
    QTRY_COMPARE_WITH_TIMEOUT(announcedIn.load(), &thread, patience);
    thread.quit();
    QVERIFY(thread.wait());
}

void TestMonitorInstance::isOneForThreadsThatAskAtOnce()
{
    constexpr int count = 8;
    std::vector<MonitorNetwork *> found(count);
    LogCapture log;
    atOnce(count, [&](int i) { found[size_t(i)] = MonitorNetwork::getInstance(); });

    QVERIFY(found.front());
    QCOMPARE(std::vector<MonitorNetwork *>(count, found.front()), found);
    QCOMPARE(log.takeLines(), QStringList({primaryLine(QStringLiteral("/"))}));
}

void TestMonitorInstance::isNullOnceDestroyedInExitHandlersToo()
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

void TestMonitorInstance::metaObjectListsSignalThenSlot()
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

void TestMonitorInstance::onlyMetaObjectAndDestructorAreOverridden()
{
    const QObject plain;
    const MonitorNetwork monitor(nullptr);
    const QVector<const void *> inherited = virtualTable(plain);
    const QVector<const void *> table = virtualTable(monitor);
    // metaObject(), qt_metacast(), qt_metacall() and the two forms of the destructor come first.
    constexpr int overridden = 5;
    QVERIFY(inherited.size() > overridden);
    QCOMPARE(table.size(), inherited.size());
    for (int i = 0; i < overridden; ++i)
        QVERIFY(table.at(i) != inherited.at(i));
    QCOMPARE(table.mid(overridden), inherited.mid(overridden));
}

void TestMonitorInstance::privatePartHoldsProxyOwnerAndFlag()
{
    QVERIFY(!std::is_polymorphic_v<MonitorNetworkPrivate>);
    QVERIFY((std::is_same_v<decltype(MonitorNetworkPrivate::networkManagerInterface),
                            QScopedPointer<QDBusInterface>>));
    QVERIFY((std::is_same_v<decltype(MonitorNetworkPrivate::q_ptr), MonitorNetwork *>));
    QVERIFY((std::is_same_v<decltype(MonitorNetworkPrivate::networkState), bool>));
    QCOMPARE(offsetof(MonitorNetworkPrivate, networkManagerInterface), size_t(0));
    QCOMPARE(offsetof(MonitorNetworkPrivate, q_ptr), sizeof(void *));
    QCOMPARE(offsetof(MonitorNetworkPrivate, networkState), 2 * sizeof(void *));
    QCOMPARE(sizeof(MonitorNetworkPrivate), 3 * sizeof(void *));

    LogCapture log;
    QObject parent;
    const MonitorNetwork monitor(&parent);
    QCOMPARE(monitor.parent(), &parent);
    const auto &d = monitor.*privatePart();
    QCOMPARE(d->networkManagerInterface->service(),
             QStringLiteral("org.freedesktop.NetworkManager"));
    QCOMPARE(d->networkManagerInterface->path(), QStringLiteral("/org/freedesktop/NetworkManager"));
    QCOMPARE(d->networkManagerInterface->interface(),
             QStringLiteral("org.freedesktop.NetworkManager"));
    QCOMPARE(d->networkManagerInterface->connection().name(), QDBusConnection::systemBus().name());
    QCOMPARE(d->networkManagerInterface->parent(), nullptr);
    QCOMPARE(static_cast<const MonitorNetwork *>(d->q_ptr), &monitor);
    QVERIFY(d->networkState);
}

// The connection is of the automatic type.
void TestMonitorInstance::proxyReachesSlotAtOnceOrInItsThread()
{
    MonitorNetwork monitor(nullptr);
    static std::atomic<QThread *> announcedIn{nullptr};
    connect(
        &monitor, &MonitorNetwork::networkStateChange, &monitor,
        [] { announcedIn = QThread::currentThread(); }, Qt::DirectConnection);
    QDBusInterface *const proxy = (monitor.*privatePart())->networkManagerInterface.data();
    const auto signal = [proxy] {
        QMetaObject::invokeMethod(proxy, "StateChanged", Qt::DirectConnection, Q_ARG(uint, 70U));
    };
    signal();
    QCOMPARE(announcedIn.exchange(nullptr), QThread::currentThread());

    QThread thread;
    monitor.moveToThread(&thread);
    signal();
    QCOMPARE(announcedIn.load(), nullptr); // that thread's event loop does not run yet
    thread.start();
    QTRY_COMPARE_WITH_TIMEOUT(announcedIn.load(), &thread, patience);
    thread.quit();
    QVERIFY(thread.wait());
}

void TestMonitorInstance::constantsAreUnsigned32()
{
    using namespace syncstatus::constants;
    QVERIFY((std::is_same_v<decltype(networkConnected), const quint32>));
    QCOMPARE(networkConnected, 70U);
    QVERIFY((std::is_same_v<decltype(networkDeviceConnected), const quint32>));
    QCOMPARE(networkDeviceConnected, 100U);
}

SYNCSTATUS_ISOLATED_TEST(TestMonitorInstance)

#include "tst_monitorinstance.moc"
