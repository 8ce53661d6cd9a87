// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "custompluginmanager.h"

#include <QLoggingCategory>

#include <algorithm>

namespace {
Q_LOGGING_CATEGORY(log, "custompluginmanager")
}

namespace custompluginmanager {

CustomPluginManager::CustomPluginManager() = default;

CustomPluginManager::~CustomPluginManager() = default; // never called, GCOVR_EXCL_LINE

CustomPluginManager *CustomPluginManager::instance()
{
    // Never destroyed: plugins that are deleted after main() still remove their objects.
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
    const std::lock_guard locker(manager->m_mutex);
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
    bool added = true;
    bool nameTaken = false;
    {
        const std::lock_guard locker(m_mutex);
        for (const Entry &entry : qAsConst(m_entries)) {
            added = added && entry.object != object;
            nameTaken = nameTaken || entry.name == name;
        }
        if (added)
            m_entries.append({name, object});
    }
    // Not under the lock: a message handler may use the registry.
    if (!added) {
        qCWarning(log) << "not added, it is there already:" << name;
        return;
    }
    if (nameTaken)
        qCWarning(log) << "two objects have this name, the first one is found:" << name;
    connect(object, &QObject::destroyed, this, &CustomPluginManager::remove,
            Qt::ConnectionType(Qt::DirectConnection | Qt::UniqueConnection));
}

void CustomPluginManager::remove(QObject *object)
{
    // Does not use the object, not even to disconnect it: another thread may be destroying it.
    const std::lock_guard locker(m_mutex);
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&](const Entry &entry) { return entry.object == object; });
    if (found != m_entries.end())
        m_entries.erase(found);
}

} // namespace custompluginmanager
