// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "descriptors.h"
#include "fakenetworkmanager.h"
#include "isolatedtest.h"
#include "logcapture.h"
#include "monitorlines.h"
#include "privatebus.h"

#include <syncstatus/monitornetwork.h>

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QProcess>
#include <QTest>

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<bool> areThreadsRefused{false};

// Where there is no descriptor, UndefinedBehaviorSanitizer takes good objects for bad ones. It
// comes with AddressSanitizer.
#ifdef __SANITIZE_ADDRESS__
#define SKIP_WHERE_DESCRIPTORS_ARE_NEEDED                                                          \
    QSKIP("UndefinedBehaviorSanitizer has need of descriptors itself")
#else
#define SKIP_WHERE_DESCRIPTORS_ARE_NEEDED
#endif

/// Refuses the process every new thread for a scope.
class ThreadShortage
{
public:
    ThreadShortage() { areThreadsRefused = true; }
    ~ThreadShortage() { areThreadsRefused = false; }
    Q_DISABLE_COPY(ThreadShortage)
};

// Qt's own line, about the signal that it cannot find, begins so.
QString noSignalLine()
{
    return QStringLiteral("warning default: QObject::connect: No such signal ");
}

QStringList offlineLines()
{
    return {noSignalLine(), primaryLine(QString()), errorLine(), answerLine(false)};
}

QStringList onlineLines()
{
    return {primaryLine(QStringLiteral("/")), answerLine(true)};
}

// The lines of a monitor that is made and asked.
QStringList linesOfMonitor()
{
    LogCapture log;
    QElapsedTimer time;
    time.start();
    MonitorNetwork(nullptr).getNetworkState();
    const qint64 blocked = time.elapsed();
    QStringList lines = log.takeLines();
    if (lines.first().startsWith(noSignalLine()))
        lines.first() = noSignalLine();
    if (blocked >= 10000) // nothing is waited for, but a busy machine may take its time
        lines += QStringLiteral("blocked for %1 ms").arg(blocked);
    return lines;
}

} // namespace

// Stands before the C library's own, for Qt as well. The parameters have the names of that.
extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t *newthread,
                                                                     const pthread_attr_t *attr,
                                                                     void *(*start_routine)(void *),
                                                                     void *arg) noexcept
{
    if (areThreadsRefused)
        return EAGAIN;
    static auto *const create =
        reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    return create(newthread, attr, start_routine, arg);
}

// A process that is short of what QtDBus wants when it is first used.
class tst_MonitorShortage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void descriptorsThatRunOutAreOffline();
    void refusedThreadIsOffline();
    void neitherDescriptorNorThreadIsOffline();
    void busInUseNeedsNoDescriptor();
    void busInUseNeedsNoThread();
    void monitorOfTheProcessStaysOffline();
};

void tst_MonitorShortage::descriptorsThatRunOutAreOffline()
{
    SKIP_WHERE_DESCRIPTORS_ARE_NEEDED;
    const int before = openDescriptors();
    // As many descriptors are left as you like: either the monitor works, or all is as without a
    // bus, and a later monitor may work.
    QStringList lines = offlineLines();
    int left = 0;
    for (; lines == offlineLines(); ++left) {
        QVERIFY(left < 20);
        QCOMPARE(openDescriptors(), before);
        const DescriptorShortage shortage(left);
        lines = linesOfMonitor();
    }
    QCOMPARE(lines, onlineLines());
    QVERIFY(left > 1);
}

void tst_MonitorShortage::refusedThreadIsOffline()
{
    const int before = openDescriptors();
    {
        const ThreadShortage shortage;
        QCOMPARE(linesOfMonitor(), offlineLines());
    }
    QCOMPARE(openDescriptors(), before);
    QCOMPARE(linesOfMonitor(), onlineLines());
}

void tst_MonitorShortage::neitherDescriptorNorThreadIsOffline()
{
    SKIP_WHERE_DESCRIPTORS_ARE_NEEDED;
    const int before = openDescriptors();
    {
        const DescriptorShortage descriptors;
        const ThreadShortage threads;
        QCOMPARE(linesOfMonitor(), offlineLines());
    }
    QCOMPARE(openDescriptors(), before);
    QCOMPARE(linesOfMonitor(), onlineLines());
}

void tst_MonitorShortage::busInUseNeedsNoDescriptor()
{
    SKIP_WHERE_DESCRIPTORS_ARE_NEEDED;
    QVERIFY(QDBusConnection::systemBus().isConnected());
    const int before = openDescriptors();
    for (const int left : {0, 1, 2}) {
        const DescriptorShortage shortage(left);
        QCOMPARE(linesOfMonitor(), onlineLines());
    }
    QCOMPARE(openDescriptors(), before);
}

void tst_MonitorShortage::busInUseNeedsNoThread()
{
    QVERIFY(QDBusConnection::systemBus().isConnected());
    const ThreadShortage shortage;
    QCOMPARE(linesOfMonitor(), onlineLines());
}

void tst_MonitorShortage::monitorOfTheProcessStaysOffline()
{
    MonitorNetwork *monitor = nullptr;
    {
        const ThreadShortage shortage;
        monitor = MonitorNetwork::getInstance();
    }
    QVERIFY(monitor);
    QVERIFY(QDBusConnection::systemBus().isConnected()); // the attempt is the agent's now
    LogCapture log;
    QCOMPARE(MonitorNetwork::getInstance(), monitor);
    QVERIFY(!monitor->getNetworkState());
    QCOMPARE(log.takeLines(), QStringList(answerLine(false)));
}

// QtDBus must not have been used in the tests' processes, so the bus and NetworkManager, which says
// that the machine is online, are another process's.
int main(int argc, char **argv)
{
    const char runsBesideNetworkManager[] = "SYNCSTATUS_TEST_RUNS_BESIDE_NETWORKMANAGER";
    if (qEnvironmentVariableIsSet(runsBesideNetworkManager))
        return runIsolated(tst_MonitorShortage::staticMetaObject, argc, argv,
                           [](int count, char **values) {
                               const QCoreApplication app(count, values);
                               tst_MonitorShortage test;
                               return QTest::qExec(&test, count, values);
                           });

    const QCoreApplication app(argc, argv);
    PrivateBus bus;
    FakeNetworkManager networkManager;
    if (!bus.start() || !networkManager.start())
        return 1;
    networkManager.setPrimaryConnection(QStringLiteral("/"));
    networkManager.setState(70);
    qputenv(runsBesideNetworkManager, "1");
    return QProcess::execute(QCoreApplication::applicationFilePath(),
                             QCoreApplication::arguments().mid(1));
}

#include "tst_monitorshortage.moc"
