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

// A host that brings the framework in its own executable, exported to the libraries that it loads.
// It is written from the binary interface alone and includes nothing of the reference framework, so
// that a slot or a symbol that moved there does not move here with it. Every call is recorded.

namespace custompluginmanager {

/// All slots are pure, also those that have a default in the interface header of plugins: what
/// answers here is what the plugin brought with it.
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

/// Adds an entry to what takeCalls() gives.
void record(const QString &call);

/// Everything that was called since the last take, oldest first; an object is given by its class
/// and its name. After its removal an implementation object's end is recorded as "destroyed".
QStringList takeCalls();

/// The implementation object that was added or removed last.
QObject *lastImplement();

/// What the implementation object that was added last answers to "networkMonitor"; null when it has
/// no such operation.
QObject *askForMonitor();

/// What getPluginImpByName("ServicePlugin") answers; null at start.
void setServicePlugin(QObject *object);

/// Whether a file whose name contains \a name is mapped into this process.
bool isMapped(const char *name);

} // namespace barehost

#endif
