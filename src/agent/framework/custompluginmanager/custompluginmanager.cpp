// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "custompluginmanager.h"

#include <QLoggingCategory>
#include <QMutexLocker>

#include <algorithm>

namespace {
Q_LOGGING_CATEGORY(log, "custompluginmanager")
}

namespace custompluginmanager {

CustomPluginManager::CustomPluginManager() = default;

CustomPluginManager::~CustomPluginManager() = default;

CustomPluginManager *CustomPluginManager::instance()
{
    // Never destroyed: plugins that outlive the end of main() still take their objects out.
    static auto *const manager = new CustomPluginManager;
    return manager;
}

void CustomPluginManager::addPluginImplement(QObject *object)
{
    instance()->add(object);
}

void CustomPluginManager::removePluginImplement(QObject *object)
{
    instance()->remove(object);
}

QObject *CustomPluginManager::getPluginImpByName(const QString &name)
{
    CustomPluginManager *manager = instance();
    const QMutexLocker locker(&manager->m_mutex);
    const auto &entries = qAsConst(manager->m_entries);
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&](const Entry &entry) { return entry.name == name; });
    return found == entries.end() ? nullptr : found->object;
}

void CustomPluginManager::add(QObject *object)
{
    if (!object || object->objectName().isEmpty()) {
        qCWarning(log) << "not added, it has no name:" << object;
        return;
    }
    const QString name = object->objectName();
    bool nameTaken = false;
    {
        const QMutexLocker locker(&m_mutex);
        for (const Entry &entry : qAsConst(m_entries)) {
            if (entry.object == object) {
                qCWarning(log) << "added already, held once:" << name;
                return;
            }
            nameTaken = nameTaken || entry.name == name;
        }
        m_entries.append({name, object});
    }
    if (nameTaken)
        qCWarning(log) << "two objects of one name, the first is the one found:" << name;
    connect(object, &QObject::destroyed, this, &CustomPluginManager::remove, Qt::DirectConnection);
}

void CustomPluginManager::remove(QObject *object)
{
    const QMutexLocker locker(&m_mutex);
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&](const Entry &entry) { return entry.object == object; });
    if (found == m_entries.end())
        return;
    m_entries.erase(found);
    disconnect(object, &QObject::destroyed, this, &CustomPluginManager::remove);
}

} // namespace custompluginmanager
