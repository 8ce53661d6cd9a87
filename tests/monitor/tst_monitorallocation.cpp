// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "standin.h"
#include "testprogram.h"

#include <syncstatus/monitornetwork.h>

#include <QLoggingCategory>
#include <QTest>

#include <cstdlib>

namespace {

thread_local int allocations = 0; // since the start of the thread

} // namespace

// Not with NEXT: dlsym() may allocate.
extern "C" {
void *__libc_malloc(std::size_t size);                    // NOLINT(bugprone-reserved-identifier)
void *__libc_calloc(std::size_t count, std::size_t size); // NOLINT(bugprone-reserved-identifier)
void *__libc_realloc(void *memory, std::size_t size);     // NOLINT(bugprone-reserved-identifier)
}

STANDIN void *malloc(std::size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}

// The parameters have the names of the declarations.
STANDIN void *calloc(std::size_t nmemb, std::size_t size)
{
    ++allocations;
    return __libc_calloc(nmemb, size);
}

STANDIN void *realloc(void *ptr, std::size_t size)
{
    ++allocations;
    return __libc_realloc(ptr, size);
}

class TestMonitorAllocation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesThatAreSwitchedOffAllocateNothing();
};

void TestMonitorAllocation::linesThatAreSwitchedOffAllocateNothing()
{
    // No bus is needed: the allocations after the construction count.
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/system_bus_socket");
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    MonitorNetwork monitor(nullptr);
    const int slot = MonitorNetwork::staticMetaObject.indexOfSlot("onStateChanged(quint32)");
    const auto allocationsOfLines = [&] {
        const int before = allocations;
        for (quint32 state : {20U, 70U}) {
            void *arguments[] = {nullptr, &state};
            monitor.qt_metacall(QMetaObject::InvokeMetaMethod, slot, arguments);
            monitor.getNetworkState();
        }
        return allocations - before;
    };
    QCOMPARE(allocationsOfLines(), 0);
    QVERIFY(monitor.getNetworkState());

    const QtMessageHandler discard = [](QtMsgType, const QMessageLogContext &, const QString &) {};
    const QtMessageHandler previous = qInstallMessageHandler(discard);
    QLoggingCategory::setFilterRules(QString());
    const int switchedOn = allocationsOfLines();
    qInstallMessageHandler(previous);
    QVERIFY(switchedOn >= 4); // so allocations are counted
}

SYNCSTATUS_TEST(TestMonitorAllocation)

#include "tst_monitorallocation.moc"
