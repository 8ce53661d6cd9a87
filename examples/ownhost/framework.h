// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// libsyncstatus.so needs these names, types and orders, and the definitions in a source file.
#pragma once
#include <QCommandLineOption>
#include <QObject>

namespace custompluginmanager {

class Q_DECL_EXPORT PluginBase : public QObject // without data members
{
    Q_OBJECT

public:
    PluginBase();
    ~PluginBase() override;
    virtual bool initialize(QString *errorString) = 0;
    virtual void extensionsInitialized() = 0;
    virtual bool delayedInitialize() = 0;
    virtual bool verify(QByteArray &) { return false; }
    virtual QList<QCommandLineOption> commandOptions() { return {}; }
    virtual bool parseArgumentOptions(const QStringList &) { return false; }
    virtual void aboutToShutdown();
};

struct Q_DECL_EXPORT CustomPluginManager
{
    static CustomPluginManager *instance();
    static void addPluginImplement(QObject *object);
    static void removePluginImplement(QObject *object);
    static QObject *getPluginImpByName(const QString &name);
};

} // namespace custompluginmanager

struct Q_DECL_EXPORT SecretkeySplit
{
    static QByteArray recoverSecretKey(const QStringList &pieces);
};
