// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Uses each public class once, as an agent's code does. Prints what it got.

#include <custompluginmanager/custompluginmanager.h>
#include <custompluginmanager/pluginbase.h>
#include <custompluginmanager/secretkeysplit.h>
#include <syncstatus/eventlogutils.h>
#include <syncstatus/filemanager.h>
#include <syncstatus/monitornetwork.h>
#include <syncstatus/rsacrypt.h>
#include <syncstatus/utils.h>

#include <QCoreApplication>
#include <QPluginLoader>

#include <cstdio>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);

    MonitorNetwork *monitor = MonitorNetwork::getInstance();
    QObject::connect(monitor, &MonitorNetwork::networkStateChange, &application, [] {});
    std::printf("online: %d\n", monitor->getNetworkState());

    QJsonDocument document;
    std::printf("json: %d\n", systemFileManager::FileManager::parseJson("[1]", document));
    std::printf("address: %d\n", utility::Utils::isValidIp(QStringLiteral("192.0.2.1")));
    EventLogUtils::get()->writeLogs("{}");
    // Needs no libcrypto, which this program has none of: no operation of RsaCrypt is called.
    std::printf("encryption: %d\n", &logEncryption::RsaCrypt::logEncryptToBase64 != nullptr);
    const QStringList pieces = SecretkeySplit::splitSecretKey("secret", 3);
    std::printf("pieces: %s\n", SecretkeySplit::recoverSecretKey(pieces).constData());

    // The plugin is the library that is linked: one copy, one monitor.
    QPluginLoader loader(QString::fromLocal8Bit(argv[1]));
    QObject *plugin = loader.instance();
    if (!plugin) {
        std::printf("%s\n", qPrintable(loader.errorString()));
        return 1;
    }
    static_cast<custompluginmanager::PluginBase *>(plugin)->initialize(nullptr);
    QObject *found = nullptr;
    QMetaObject::invokeMethod(
        custompluginmanager::CustomPluginManager::getPluginImpByName(QStringLiteral("SyncStatus")),
        "networkMonitor", Q_RETURN_ARG(QObject *, found));
    std::printf("one copy: %d\n", found == monitor);
    delete plugin;
    return 0;
}
