// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// The cost of an existing monitor: answers, and announcements from the bus to a subscriber.

// BENCHMARK makes a static object.
// clazy:excludeall=non-pod-global-static

#include "privatebus.h"

#include <syncstatus/monitornetwork.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QThread>

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace {

QString service()
{
    return QStringLiteral("org.freedesktop.NetworkManager");
}

QString rootPath()
{
    return QStringLiteral("/org/freedesktop/NetworkManager");
}

} // namespace

// The part of NetworkManager that a monitor uses. It lives in another thread, because a monitor
// waits for its answers.
class Answers : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.NetworkManager")
    Q_PROPERTY(QDBusObjectPath PrimaryConnection READ primaryConnection CONSTANT)

public:
    QDBusObjectPath primaryConnection() const { return QDBusObjectPath(QStringLiteral("/")); }

public Q_SLOTS:
    uint state() const { return 20; } // clazy:exclude=const-signal-or-slot

Q_SIGNALS:
    void StateChanged(uint);
};

// A private bus on which this process owns NetworkManager's name, through a separate connection.
class NetworkManager
{
public:
    static NetworkManager &instance()
    {
        static auto *const networkManager = new NetworkManager;
        return *networkManager;
    }

    bool isReady() const { return m_ready; }

    void emitConnected()
    {
        QDBusMessage signal =
            QDBusMessage::createSignal(rootPath(), service(), QStringLiteral("StateChanged"));
        signal.setArguments({70U});
        m_connection.send(signal);
    }

private:
    NetworkManager()
        : m_ready(m_bus.start()),
          m_connection(QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("source")))
    {
        m_ready = m_ready &&
                  m_connection.registerObject(rootPath(), &m_answers,
                                              QDBusConnection::ExportAllContents) &&
                  m_connection.registerService(service());
        m_answers.moveToThread(&m_thread);
        m_thread.start();
    }

    PrivateBus m_bus;
    bool m_ready;
    QDBusConnection m_connection;
    Answers m_answers;
    QThread m_thread;
};

class Subscriber : public QObject
{
    Q_OBJECT

public:
    static int received;

public Q_SLOTS:
    void onChange(bool) { ++received; }
    void onState(uint) { ++received; }
};

int Subscriber::received = 0;

namespace {

__attribute__((noinline)) bool readFlag(const bool *flag)
{
    benchmark::ClobberMemory(); // keeps the compiler from leaving out the call
    return *flag;
}

void laterAnswerOfLibrary(benchmark::State &state)
{
    if (!NetworkManager::instance().isReady())
        state.SkipWithError("the private bus does not start");
    MonitorNetwork monitor(nullptr);
    for (auto _ : state)
        benchmark::DoNotOptimize(monitor.getNetworkState());
}

void laterAnswerPlain(benchmark::State &state)
{
    bool flag = true;
    benchmark::DoNotOptimize(&flag);
    for (auto _ : state)
        benchmark::DoNotOptimize(readFlag(&flag));
}

void announce(benchmark::State &state)
{
    const int subscribers = int(state.range(0));
    for (auto _ : state) {
        Subscriber::received = 0;
        NetworkManager::instance().emitConnected();
        while (Subscriber::received < subscribers)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

std::vector<std::unique_ptr<Subscriber>> makeSubscribers(benchmark::State &state)
{
    if (!NetworkManager::instance().isReady())
        state.SkipWithError("the private bus does not start");
    std::vector<std::unique_ptr<Subscriber>> subscribers(std::size_t(state.range(0)));
    for (auto &subscriber : subscribers)
        subscriber = std::make_unique<Subscriber>();
    return subscribers;
}

void announcementOfLibrary(benchmark::State &state)
{
    const auto subscribers = makeSubscribers(state);
    const MonitorNetwork monitor(nullptr);
    for (const auto &subscriber : subscribers) {
        QObject::connect(&monitor, &MonitorNetwork::networkStateChange, subscriber.get(),
                         &Subscriber::onChange);
    }
    announce(state);
}

void announcementPlain(benchmark::State &state)
{
    const auto subscribers = makeSubscribers(state);
    for (const auto &subscriber : subscribers) {
        QDBusConnection::systemBus().connect(service(), rootPath(), service(),
                                             QStringLiteral("StateChanged"), subscriber.get(),
                                             SLOT(onState(uint)));
    }
    announce(state);
}

void sizes(benchmark::internal::Benchmark *benchmark)
{
    benchmark->RangeMultiplier(100)->Range(1, 10000)->UseRealTime();
}

BENCHMARK(laterAnswerOfLibrary)->Name("laterAnswer/library");
BENCHMARK(laterAnswerPlain)->Name("laterAnswer/plain");
BENCHMARK(announcementOfLibrary)->Name("announcement/library")->Apply(sizes);
BENCHMARK(announcementPlain)->Name("announcement/plain")->Apply(sizes);

} // namespace

#include "bench_monitor.moc"
