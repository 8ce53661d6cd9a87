// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef CUSTOMPLUGINMANAGER_H
#define CUSTOMPLUGINMANAGER_H

#include <custompluginmanager/custompluginmanager_export.h>

#include <QList>
#include <QObject>
#include <QString>

#include <mutex>

namespace custompluginmanager {

/// The registry of implementation objects. Plugins find one another's objects in it by name.
///
/// \code
/// static QObject service;
/// service.setObjectName("Service");
/// custompluginmanager::CustomPluginManager::addPluginImplement(&service);
/// QObject *found = custompluginmanager::CustomPluginManager::getPluginImpByName("Service");
/// \endcode
///
/// - Threads: any. The owner of an object may delete it while another thread uses it; the registry
///   does not protect against that.
/// - Blocking: none.
/// - Failure: a null pointer, or a warning.
/// - Logging: warnings of the category "custompluginmanager".
///
/// The registry owns nothing. An object leaves it when it is removed or destroyed.
class CUSTOMPLUGINMANAGER_EXPORT CustomPluginManager : public QObject
{
    Q_OBJECT

public:
    /// The registry, made by the first call. It lives until the process ends.
    static CustomPluginManager *instance();

    /// Adds \a object under its present object name. A null pointer, or an object without a name,
    /// is not added. An object that is there already stays there once. If two objects have one
    /// name, the first one is found. Each of these cases logs a warning.
    static void addPluginImplement(QObject *object);
    /// Removes \a object. Does nothing if the registry does not have it.
    static void removePluginImplement(QObject *object);
    /// The object that was added under \a name (case-sensitive), or null.
    static QObject *getPluginImpByName(const QString &name);

private:
    struct Entry
    {
        QString name;
        QObject *object;
    };

    CustomPluginManager();
    ~CustomPluginManager() override;
    Q_DISABLE_COPY(CustomPluginManager)

    void add(QObject *object);
    void remove(QObject *object);

    std::mutex m_mutex;     // not QMutex, which the thread sanitizer does not see
    QList<Entry> m_entries; // in the order of adding
};

} // namespace custompluginmanager

#endif
