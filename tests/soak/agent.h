// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef AGENT_H
#define AGENT_H

#include "fakenetworkmanager.h"
#include "privatebus.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPluginLoader>
#include <QTimer>

#include <string>
#include <thread>
#include <vector>

namespace custompluginmanager {
class PluginBase;
}
struct Progress;

/// The work of an agent's main thread, on a private bus with a scripted NetworkManager: ten rounds
/// a second, or fewer on a busy machine. The run fails when a result is wrong.
class Agent : public QObject
{
    Q_OBJECT

public:
    /// With \a leak, each round leaks memory, a descriptor and a thread.
    Agent(Progress &progress, bool leak);
    /// Call it when the run has ended.
    ~Agent() override;

    /// Starts the bus and NetworkManager, loads the plugin and makes the monitor. Returns whether
    /// all this worked. The rounds begin with the event loop.
    bool start();
    /// Kills the bus and starts another at the same address, with another NetworkManager, as an
    /// update of the distribution does. From then on a monitor keeps its answer for good.
    /// Everything else must go on.
    void loseBus();

private:
    bool makePlugin();
    bool startNetworkManager();
    void restartNetworkManager();
    void round();
    void emitStates();
    void makeMonitor(bool online);
    void useHelpers();
    void writeRecord();
    void leak();

    Progress &m_progress;
    const bool m_leak;
    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
    QPluginLoader m_loader;
    custompluginmanager::PluginBase *m_plugin = nullptr;
    QTimer m_timer;
    QElapsedTimer m_sinceSignals; // since the last were sent
    qint64 m_rounds = 0;
    qint64 m_announcementsDue = 0;
    bool m_busLost = false;
    std::vector<std::string> m_leakedMemory;
    std::vector<std::thread> m_leakedThreads;
};

#endif
