// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// An agent with the framework in its executable: `ownhost PLUGIN` drives one plugin.

#include "framework.h"

#include <syncstatus/rsacrypt.h>

#include <QCoreApplication>
#include <QDebug>
#include <QFileInfo>
#include <QPluginLoader>
#include <QTimer>

using namespace custompluginmanager;
static_assert(sizeof(PluginBase) == sizeof(QObject), "the library's members follow directly");

PluginBase::PluginBase() = default;
PluginBase::~PluginBase() = default;
void PluginBase::aboutToShutdown() {}

static QMap<QString, QObject *> objects; // the registry

CustomPluginManager *CustomPluginManager::instance()
{
    static CustomPluginManager registry;
    return &registry;
}

void CustomPluginManager::addPluginImplement(QObject *object)
{
    objects.insert(object->objectName(), object);
}

void CustomPluginManager::removePluginImplement(QObject *object)
{
    objects.remove(objects.key(object));
}

QObject *CustomPluginManager::getPluginImpByName(const QString &name)
{
    return objects.value(name);
}

// Joins the pieces of the library's key, "3-1-payload", "3-2-payload" and "3-3-payload". The
// exclusive or of the payloads is a digest of 32 bytes, followed by the key.
QByteArray SecretkeySplit::recoverSecretKey(const QStringList &pieces)
{
    QByteArray joined;
    for (const QString &piece : pieces) {
        const QByteArray payload = QByteArray::fromHex(piece.section('-', 2).toLatin1());
        joined.append(QByteArray(qMax(0, payload.size() - joined.size()), '\0'));
        for (int i = 0; i < payload.size(); ++i)
            joined[i] = char(joined.at(i) ^ payload.at(i));
    }
    return joined.mid(32);
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QPluginLoader loader(QFileInfo(QCoreApplication::arguments().value(1)).absoluteFilePath());
    auto *plugin = qobject_cast<PluginBase *>(loader.instance());
    if (!plugin)
        qFatal("%s", qPrintable(loader.errorString()));
    plugin->initialize(nullptr); // takes an error text, or null
    plugin->extensionsInitialized();
    QTimer::singleShot(0, plugin, [plugin] {
        plugin->delayedInitialize();
        qInfo() << "registered:" << objects.keys();
        qInfo() << "signed in:" << logEncryption::RsaCrypt::logEncryptToBase64("Jane").constData();
        QCoreApplication::quit(); // a real agent runs on
    });
    QCoreApplication::exec();
    plugin->aboutToShutdown();
    delete plugin;
    qInfo() << "registered:" << objects.keys();
}
