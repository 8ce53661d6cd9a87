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

/// What an agent does in its main thread, on a bus of its own with a scripted NetworkManager. It
/// works in rounds, ten a second or fewer on a busy machine, and has the run fail when anything
/// comes out wrong.
class Agent : public QObject
{
    Q_OBJECT

public:
    /// What is leaked in each round when \a leak is true: memory, a descriptor and a thread.
    Agent(Progress &progress, bool leak);
    /// To be destroyed when the run has ended.
    ~Agent() override;

    /// Brings up the bus and NetworkManager, loads the plugin and makes the monitor. Returns
    /// whether all are there; the rounds begin with the event loop.
    bool start();
    /// Takes the bus away and brings up another at the same address, with another NetworkManager,
    /// as when a distribution's update restarts it. A monitor does not come back from that; it is
    /// to answer as before, and everything else is to go on.
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
