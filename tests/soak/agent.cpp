// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "agent.h"

#include "patience.h"
#include "progress.h"

#include <custompluginmanager/custompluginmanager.h>
#include <custompluginmanager/pluginbase.h>
#include <syncstatus/eventlogutils.h>
#include <syncstatus/monitornetwork.h>
#include <syncstatus/utils.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDateTime>
#include <QJsonObject>
#include <QNetworkProxy>
#include <QTcpSocket>

#include <fcntl.h>

#include <string>

using custompluginmanager::CustomPluginManager;
using custompluginmanager::PluginBase;
using utility::Utils;

namespace {

constexpr quint32 globalConnectivity = 70;

/// NetworkManager's global states in an order in which they could come; some come twice.
const QVector<quint32> &states()
{
    static const QVector<quint32> states =
        QVector<quint32>({20, 40, 50, 60, 70, 70, 30, 20, 40, 70});
    return states;
}

} // namespace

Agent::Agent(Progress &progress, bool leak)
    : m_progress(progress), m_leak(leak), m_loader(QStringLiteral(PLUGIN_FILE))
{
    m_timer.setInterval(100);
    connect(&m_timer, &QTimer::timeout, this, &Agent::round);
}

Agent::~Agent()
{
    delete m_plugin;
    for (std::thread &thread : m_leakedThreads)
        thread.join();
}

bool Agent::start()
{
    if (!m_bus.start() || !startNetworkManager() || !makePlugin())
        return false;
    connect(MonitorNetwork::getInstance(), &MonitorNetwork::networkStateChange, this,
            [this](bool connected) {
                if (!connected)
                    m_progress.fail(QStringLiteral("a loss of connectivity was announced"));
                ++m_progress.announced;
            });
    m_timer.start();
    return true;
}

bool Agent::makePlugin()
{
    m_plugin = qobject_cast<PluginBase *>(m_loader.instance());
    if (!m_plugin) {
        m_progress.fail(m_loader.errorString());
        return false;
    }
    m_plugin->initialize(nullptr);
    m_plugin->extensionsInitialized();
    m_plugin->delayedInitialize();
    return true;
}

bool Agent::startNetworkManager()
{
    if (!m_networkManager.start()) {
        m_progress.fail(QStringLiteral("NetworkManager does not start"));
        return false;
    }
    m_networkManager.setState(20);
    m_networkManager.setConnectedDevices({30, 100});
    return true;
}

void Agent::restartNetworkManager()
{
    m_networkManager.stop();
    makeMonitor(false);
    startNetworkManager();
    ++m_progress.restarts;
}

void Agent::loseBus()
{
    const auto waitUntil = [](const auto &condition) {
        QElapsedTimer time;
        time.start();
        while (!condition() && time.elapsed() < patience)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 100);
        return condition();
    };
    m_timer.stop();
    if (!waitUntil([this] { return m_progress.signalsSeen == m_progress.signalsSent; }))
        return m_progress.fail(QStringLiteral("signals are lost"));
    m_bus.kill();
    if (!waitUntil([] { return !QDBusConnection::systemBus().isConnected(); }))
        return m_progress.fail(QStringLiteral("the end of the bus goes unnoticed"));
    m_busLost = true;
    if (!m_bus.start())
        return m_progress.fail(QStringLiteral("there is no other bus"));
    startNetworkManager();
    m_timer.start();
}

void Agent::round()
{
    // A busy machine waits here for all signals of a round, so they do not pile up.
    if (m_progress.signalsSeen < m_progress.signalsSent) {
        if (m_sinceSignals.elapsed() > patience) {
            m_progress.fail(QStringLiteral("signals are lost: %1 sent, %2 seen")
                                .arg(m_progress.signalsSent)
                                .arg(m_progress.signalsSeen));
        }
        return;
    }
    if (m_progress.signalsSeen > m_progress.signalsSent ||
        m_progress.announced != m_announcementsDue)
        return m_progress.fail(QStringLiteral("signals and announcements differ: %1 and %2")
                                   .arg(m_progress.signalsSeen)
                                   .arg(m_progress.announced));
    if (!MonitorNetwork::getInstance()->getNetworkState())
        return m_progress.fail(QStringLiteral("the monitor has turned its answer back"));

    ++m_rounds;
    useHelpers();
    writeRecord();
    if (m_rounds % 10 == 0)
        makeMonitor(!m_busLost);
    if (m_rounds % 50 == 0) {
        delete m_plugin;
        if (!makePlugin())
            return;
    }
    if (m_rounds % 150 == 0)
        restartNetworkManager();
    if (m_leak)
        leak();
    emitStates();
}

void Agent::emitStates()
{
    QVector<quint32> sent;
    for (int i = 0; i < 20; ++i)
        sent += states();
    m_networkManager.emitStates(sent);
    m_sinceSignals.start();
    if (m_busLost)
        return; // the monitor had another bus
    m_progress.signalsSent += sent.size();
    m_announcementsDue += sent.count(globalConnectivity);
}

// Evaluates connectivity anew, beside the one monitor of the process.
void Agent::makeMonitor(bool online)
{
    MonitorNetwork monitor(nullptr);
    if (monitor.getNetworkState() != online)
        m_progress.fail(QStringLiteral("a new monitor has the wrong answer"));
    ++m_progress.monitors;
}

void Agent::useHelpers()
{
    QObject *const found = CustomPluginManager::getPluginImpByName(QStringLiteral("SyncStatus"));
    if (!found || CustomPluginManager::getPluginImpByName(QStringLiteral("ServicePlugin")))
        m_progress.fail(QStringLiteral("the registry has something else"));

    const QString address = QStringLiteral("10.0.%1.1").arg(m_rounds % 256);
    const QString url = QStringLiteral("http://example.com/%1").arg(m_rounds);
    const qint64 day = m_rounds % 20000 + 1;
    const QString date = QDateTime::fromMSecsSinceEpoch(day * 86400000, Qt::UTC)
                             .date()
                             .toString(QStringLiteral("yyyy-MM-dd"));
    if (!Utils::isValidIp(address) || Utils::isValidIp(address + QLatin1String(":80")) ||
        !Utils::compareUrlIgnoreHttpPrefix(
            url, QStringLiteral("HTTPS://Example.com/%1").arg(m_rounds)) ||
        Utils::compareUrlIgnoreHttpPrefix(url, url + QLatin1Char('/')) ||
        Utils::getServerDateTime(day * 86400) != date)
        m_progress.fail(QStringLiteral("an address, URL or date is another"));

    QTcpSocket socket;
    Utils::setSocksNetworkProxy(
        socket,
        {{QStringLiteral("socks"), QJsonObject{{QStringLiteral("host"), address},
                                               {QStringLiteral("port"), QStringLiteral("1080")}}}});
    if (socket.proxy().hostName() != address || socket.proxy().port() != 1080)
        m_progress.fail(QStringLiteral("a socket has another proxy"));
    Utils::setSocksNetworkProxy(socket, {});
    if (socket.proxy().type() != QNetworkProxy::NoProxy)
        m_progress.fail(QStringLiteral("a socket still has a proxy"));
}

void Agent::writeRecord()
{
    EventLogUtils::get()->writeLogs(R"({"tid":)" + std::to_string(m_rounds) +
                                    R"(,"version":"1.0"})");
    ++m_progress.records;
}

void Agent::leak()
{
    m_leakedMemory.emplace_back(200 * 1000, 'x');
    open("/dev/null", O_RDONLY | O_CLOEXEC); // NOLINT(cppcoreguidelines-pro-type-vararg)
    m_leakedThreads.emplace_back([this] {
        while (m_progress.wait(1000)) {
        }
    });
}

#include "moc_agent.cpp"
