// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include <syncstatus/monitornetwork.h>

#include <QLoggingCategory>
#include <QTest>

#include <cstdlib>

namespace {

thread_local int allocations = 0; // since the start of the thread

} // namespace

// Stand before the C library's own, for Qt and operator new as well.
extern "C" {
void *__libc_malloc(std::size_t size);                    // NOLINT(bugprone-reserved-identifier)
void *__libc_calloc(std::size_t count, std::size_t size); // NOLINT(bugprone-reserved-identifier)
void *__libc_realloc(void *memory, std::size_t size);     // NOLINT(bugprone-reserved-identifier)

Q_DECL_EXPORT void *malloc(std::size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}

// The parameters have the names of the declarations.
Q_DECL_EXPORT void *calloc(std::size_t nmemb, std::size_t size)
{
    ++allocations;
    return __libc_calloc(nmemb, size);
}

Q_DECL_EXPORT void *realloc(void *ptr, std::size_t size)
{
    ++allocations;
    return __libc_realloc(ptr, size);
}
}

class tst_MonitorAllocation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesThatAreSwitchedOffAllocateNothing();
};

void tst_MonitorAllocation::linesThatAreSwitchedOffAllocateNothing()
{
    // No bus: what counts here is what comes after construction.
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
    QVERIFY(switchedOn >= 4); // or nothing would have been counted above
}

QTEST_GUILESS_MAIN(tst_MonitorAllocation)

#include "tst_monitorallocation.moc"
