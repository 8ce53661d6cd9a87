// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "serviceplugin.h"

#include <custompluginmanager/custompluginmanager.h>

#include <QCommandLineParser>
#include <QMetaObject>

#include <cstdio>

using custompluginmanager::CustomPluginManager;

namespace {

QCommandLineOption quietOption()
{
    return {QLatin1String("service-quiet"), QLatin1String("ServicePlugin: print nothing.")};
}

} // namespace

Service::Service()
{
    // The registry knows an object by its object name.
    setObjectName(QLatin1String("ServicePlugin"));
}

void Service::follow(QObject *syncStatus)
{
    // By name, through the meta-object. It stays null if SyncStatus has no such operation.
    QObject *monitor = nullptr;
    QMetaObject::invokeMethod(
        syncStatus, "networkMonitor", Qt::DirectConnection,
        Q_RETURN_ARG(QObject *, monitor)); // clazy:exclude=connect-not-normalized
    if (!monitor) {
        say("this SyncStatus has no network monitor");
        return;
    }
    // By signature, for the same reason. Connects before it asks, so that no change between is
    // lost.
    connect(monitor, SIGNAL(networkStateChange(bool)), // clazy:exclude=old-style-connect
            this, SLOT(onNetworkStateChange(bool)));

    bool online = false;
    QMetaObject::invokeMethod(syncStatus, "getNetworkState", Qt::DirectConnection,
                              Q_RETURN_ARG(bool, online));
    // False does not mean "offline": SyncStatus reports gains, never losses.
    say(online ? "online: yes" : "online: not seen so far");
}

void Service::onNetworkStateChange(bool isConnected) const
{
    if (isConnected)
        say("gained connectivity");
}

void Service::say(const char *line) const
{
    if (m_quiet)
        return;
    std::printf("ServicePlugin: %s\n", line);
    std::fflush(stdout); // for readers of a pipe
}

ServicePlugin::~ServicePlugin()
{
    CustomPluginManager::removePluginImplement(&m_service);
}

QList<QCommandLineOption> ServicePlugin::commandOptions()
{
    return {quietOption()};
}

bool ServicePlugin::parseArgumentOptions(const QStringList &arguments)
{
    // The agent has checked the command line. It may contain options of others.
    QCommandLineParser parser;
    const QCommandLineOption quiet = quietOption();
    parser.addOption(quiet);
    parser.parse(arguments);
    m_service.setQuiet(parser.isSet(quiet));
    return parser.isSet(quiet);
}

bool ServicePlugin::initialize(QString *errorString)
{
    Q_UNUSED(errorString) // gets the reason if this returns false
    CustomPluginManager::addPluginImplement(&m_service);
    return true;
}

void ServicePlugin::extensionsInitialized()
{
    m_syncStatus = CustomPluginManager::getPluginImpByName(QLatin1String("SyncStatus"));
    m_service.say(m_syncStatus ? "found SyncStatus" : "no SyncStatus here, nothing to follow");
}

bool ServicePlugin::delayedInitialize()
{
    if (!m_syncStatus)
        return false; // did no work that takes time
    m_service.follow(m_syncStatus);
    return true;
}

void ServicePlugin::aboutToShutdown()
{
    m_syncStatus.clear();
}
