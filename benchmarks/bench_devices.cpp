// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// The construction of a monitor. A scripted NetworkManager has a connection with many devices, of
// which none is activated.

// BENCHMARK makes a static object.
// clazy:excludeall=non-pod-global-static

#include "fakenetworkmanager.h"
#include "privatebus.h"

#include <syncstatus/monitornetwork.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QLoggingCategory>

#include <benchmark/benchmark.h>

namespace {

constexpr int mostDevices = 1000;

QString service()
{
    return QStringLiteral("org.freedesktop.NetworkManager");
}

QString rootPath()
{
    return QStringLiteral("/org/freedesktop/NetworkManager");
}

void discard(QtMsgType, const QMessageLogContext &, const QString &) {}

/// Gives the connection of the scripted NetworkManager this many devices.
void haveDevices(benchmark::State &state)
{
    static PrivateBus bus;
    static FakeNetworkManager networkManager;
    static const bool started = [] {
        if (!bus.start() || !networkManager.start())
            return false;
        networkManager.setConnectedDevices(QVector<quint32>(mostDevices, 30));
        networkManager.setState(70);
        return true;
    }();
    if (!started) {
        state.SkipWithError("the scripted NetworkManager does not start");
        return;
    }
    QStringList paths;
    for (int number = 1; number <= state.range(0); ++number)
        paths += FakeNetworkManager::devicePath(number);
    networkManager.addActiveConnection(FakeNetworkManager::connectionPath(), paths);
}

void library(benchmark::State &state, const char *rules)
{
    haveDevices(state);
    qInstallMessageHandler(discard);
    QLoggingCategory::setFilterRules(QLatin1String(rules));
    for (auto _ : state) {
        MonitorNetwork monitor(nullptr);
        if (!monitor.getNetworkState())
            state.SkipWithError("the monitor is not online");
    }
}

void libraryLinesOff(benchmark::State &state)
{
    library(state, "org.corvel.license.agent=false");
}

void libraryLinesOn(benchmark::State &state)
{
    library(state, "org.corvel.license.agent=true");
}

void call(const QString &path, const char *interface, const char *method,
          const QVariantList &arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(service(), path, QLatin1String(interface),
                                                          QLatin1String(method));
    message.setArguments(arguments);
    benchmark::DoNotOptimize(QDBusConnection::systemBus().call(message));
}

/// The D-Bus calls of a monitor, and nothing else. (Qt introspects once in a process.)
void plain(benchmark::State &state, int readsPerDevice)
{
    haveDevices(state);
    const char *const properties = "org.freedesktop.DBus.Properties";
    const auto read = [&](const QString &path, const char *interface, const char *property) {
        call(path, properties, "Get", {QLatin1String(interface), QLatin1String(property)});
    };
    for (auto _ : state) {
        read(rootPath(), "org.freedesktop.NetworkManager", "PrimaryConnection");
        read(FakeNetworkManager::connectionPath(),
             "org.freedesktop.NetworkManager.Connection.Active", "Devices");
        for (int number = 1; number <= state.range(0); ++number) {
            for (int i = 0; i < readsPerDevice; ++i) {
                read(FakeNetworkManager::devicePath(number),
                     "org.freedesktop.NetworkManager.Device", "State");
            }
        }
        call(rootPath(), "org.freedesktop.NetworkManager", "state");
    }
}

void plainOneRead(benchmark::State &state)
{
    plain(state, 1);
}

void plainTwoReads(benchmark::State &state)
{
    plain(state, 2);
}

void sizes(benchmark::internal::Benchmark *benchmark)
{
    benchmark->RangeMultiplier(10)->Range(1, mostDevices)->UseRealTime();
}

BENCHMARK(libraryLinesOff)->Name("devices/library")->Apply(sizes);
BENCHMARK(plainOneRead)->Name("devices/plain")->Apply(sizes);
BENCHMARK(libraryLinesOn)->Name("devicesLinesOn/library")->Apply(sizes);
BENCHMARK(plainTwoReads)->Name("devicesLinesOn/plain")->Apply(sizes);

} // namespace
