// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// An agent on the reference framework: `agent PLUGIN INI-FILE`. Press Enter to stop it.

#include <custompluginmanager/pluginbase.h>
#include <syncstatus/filemanager.h>
#include <syncstatus/monitornetwork.h>
#include <syncstatus/rsacrypt.h>

#include <QCoreApplication>
#include <QDebug>
#include <QFileInfo>
#include <QPluginLoader>
#include <QSocketNotifier>
#include <QTimer>

using custompluginmanager::PluginBase;
using systemFileManager::FileManager;

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3)
        qFatal("usage: agent PLUGIN INI-FILE");

    QPluginLoader loader(QFileInfo(arguments[1]).absoluteFilePath());
    auto *plugin = qobject_cast<PluginBase *>(loader.instance());
    if (!plugin)
        qFatal("%s", qPrintable(loader.errorString()));
    QString error;
    if (!plugin->initialize(&error))
        qFatal("%s", qPrintable(error));
    plugin->extensionsInitialized();

    // The rest may take time, so it waits until the event loop runs.
    QTimer::singleShot(custompluginmanager::DELAYED_INITIALIZE_INTERVAL, plugin, [&] {
        plugin->delayedInitialize();

        MonitorNetwork *monitor = MonitorNetwork::getInstance();
        QObject::connect(monitor, &MonitorNetwork::networkStateChange, &application,
                         [] { qInfo("gained connectivity"); });
        qInfo() << "online:" << monitor->getNetworkState();

        FileManager::writeIniConfigFile({{"agent", {{"user", "Jane"}}}}, arguments[2]);
        const QString user = FileManager::readSettingFile(arguments[2], "agent").value("user");

        const QByteArray text = user.toLocal8Bit();
        qInfo() << "signed in:" << logEncryption::RsaCrypt::logEncryptToBase64(text).constData();
    });

    QSocketNotifier input(0, QSocketNotifier::Read);
    QObject::connect(&input, SIGNAL(activated(int)), &application, SLOT(quit()));
    const int status = QCoreApplication::exec();
    plugin->aboutToShutdown();
    delete plugin;
    return status;
}
