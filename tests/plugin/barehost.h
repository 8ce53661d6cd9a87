// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef BAREHOST_H
#define BAREHOST_H

#include <QByteArray>
#include <QCommandLineOption>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

// A host with the framework in its own executable, exported to the libraries that it loads. It is
// written from the binary interface and includes nothing of the reference framework: when a slot or
// a symbol moves there, it does not move here. The host records every call.

namespace custompluginmanager {

/// All slots are pure, also those with a default in the plugins' interface header: each answer
/// comes from the plugin.
class Q_DECL_EXPORT PluginBase : public QObject
{
    Q_OBJECT

public:
    PluginBase();
    ~PluginBase() override;

    virtual bool initialize(QString *errorString) = 0;
    virtual void extensionsInitialized() = 0;
    virtual bool delayedInitialize() = 0;
    virtual bool verify(QByteArray &data) = 0;
    virtual QList<QCommandLineOption> commandOptions() = 0;
    virtual bool parseArgumentOptions(const QStringList &arguments) = 0;
    virtual void aboutToShutdown();

private:
    Q_DISABLE_COPY(PluginBase)
};

class Q_DECL_EXPORT CustomPluginManager
{
public:
    static CustomPluginManager *instance();
    static void addPluginImplement(QObject *object);
    static void removePluginImplement(QObject *object);
    static QObject *getPluginImpByName(const QString &name);
};

} // namespace custompluginmanager

namespace barehost {

/// Adds an entry to the record.
void record(const QString &call);

/// All calls since the last take, oldest first, with the class and the name of an object. After the
/// removal of an implementation object, its end is recorded as "destroyed".
QStringList takeCalls();

/// The implementation object that was added or removed last.
QObject *lastImplement();

/// Calls "networkMonitor" of the implementation object that was added last. Returns null when it
/// has no such operation.
QObject *askForMonitor();

/// Sets the result of getPluginImpByName("ServicePlugin"), which is null at start.
void setServicePlugin(QObject *object);

/// Whether this process has mapped a file whose name contains \a name.
bool isMapped(const char *name);

} // namespace barehost

#endif
