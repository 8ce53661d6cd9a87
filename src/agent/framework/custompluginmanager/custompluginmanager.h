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

/// The registry of implementation objects, through which plugins find one another by name.
///
/// The registry owns nothing. An object leaves it by removePluginImplement() or by being destroyed.
/// All operations may be called from any thread; what a caller does with an object that it got here
/// is between it and the object's owner, who may delete it at any time in another thread.
///
/// Warnings go to the logging category "custompluginmanager".
class CUSTOMPLUGINMANAGER_EXPORT CustomPluginManager : public QObject
{
    Q_OBJECT

public:
    /// The registry, made by the first call. It lives until the process ends.
    static CustomPluginManager *instance();

    /// Adds \a object under the object name that it has now. An object that is in the registry
    /// already is held once and warned about, as are a null pointer and an object without a name,
    /// which are not added. When two objects have one name, the first is the one that is found, and
    /// a warning says so.
    static void addPluginImplement(QObject *object);
    /// Takes \a object out of the registry. Does nothing when it is not in it.
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

    std::mutex m_mutex;     // which, unlike QMutex, the thread sanitizer sees
    QList<Entry> m_entries; // in the order of adding
};

} // namespace custompluginmanager

#endif
