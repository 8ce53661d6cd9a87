// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "barehost.h"

#include <QFile>

#include <utility>

namespace {

struct Host
{
    QStringList calls;
    QObject *lastImplement = nullptr;
    QObject *servicePlugin = nullptr;
};

Host &host()
{
    static Host theHost;
    return theHost;
}

// A sanitizer reports it when the object has been destroyed already.
QString describe(const QObject *object)
{
    return QLatin1String(object->metaObject()->className()) + QLatin1String(" \"") +
           object->objectName() + QLatin1Char('"');
}

} // namespace

using barehost::record;

namespace custompluginmanager {

PluginBase::PluginBase()
{
    record(QLatin1String("PluginBase"));
}

PluginBase::~PluginBase()
{
    record(QLatin1String("~PluginBase"));
}

void PluginBase::aboutToShutdown()
{
    record(QLatin1String("aboutToShutdown"));
}

CustomPluginManager *CustomPluginManager::instance()
{
    static CustomPluginManager manager;
    record(QLatin1String("instance"));
    return &manager;
}

void CustomPluginManager::addPluginImplement(QObject *object)
{
    record(QLatin1String("add ") + describe(object));
    host().lastImplement = object;
}

void CustomPluginManager::removePluginImplement(QObject *object)
{
    record(QLatin1String("remove ") + describe(object));
    host().lastImplement = object;
    QObject::connect(object, &QObject::destroyed, [] { record(QLatin1String("destroyed")); });
}

QObject *CustomPluginManager::getPluginImpByName(const QString &name)
{
    record(QLatin1String("find \"") + name + QLatin1Char('"'));
    return name == QLatin1String("ServicePlugin") ? host().servicePlugin : nullptr;
}

} // namespace custompluginmanager

namespace barehost {

void record(const QString &call)
{
    host().calls += call;
}

QStringList takeCalls()
{
    return std::exchange(host().calls, {});
}

QObject *lastImplement()
{
    return host().lastImplement;
}

QObject *askForMonitor()
{
    QObject *monitor = nullptr;
    QMetaObject::invokeMethod(
        host().lastImplement, "networkMonitor", Qt::DirectConnection,
        Q_RETURN_ARG(QObject *, monitor)); // clazy:exclude=connect-not-normalized
    return monitor;
}

void setServicePlugin(QObject *object)
{
    host().servicePlugin = object;
}

bool isMapped(const char *name)
{
    QFile maps(QStringLiteral("/proc/self/maps"));
    if (!maps.open(QIODevice::ReadOnly))
        qFatal("/proc/self/maps cannot be read");
    return maps.readAll().contains(name);
}

} // namespace barehost

#include "moc_barehost.cpp"
