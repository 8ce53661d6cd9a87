// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef FAKENETWORKMANAGER_H
#define FAKENETWORKMANAGER_H

#include "childprocess.h"

#include <QDBusConnection>
#include <QStringList>
#include <QVariant>
#include <QVector>

/// A scripted NetworkManager: fakenetworkmanager.py, made of python-dbusmock, as a process of its
/// own on the bus that DBUS_SYSTEM_BUS_ADDRESS names. It answers what it has been told and nothing
/// else: a property that has not been set is missing, and so is the method "state".
///
/// It is told over a D-Bus connection of its own, not the process's system bus connection. A call
/// that it refuses fails the running test.
class FakeNetworkManager
{
public:
    FakeNetworkManager();
    ~FakeNetworkManager();
    Q_DISABLE_COPY(FakeNetworkManager)

    /// Puts an empty NetworkManager on the bus, again after stop(). Returns whether it is there.
    bool start();
    /// Takes it off the bus, as when it crashes.
    void stop();
    /// Whether it answers; when not, it stays on the bus and silent, as when it hangs.
    void setResponsive(bool responsive);

    /// What the method "state" answers.
    void setState(quint32 state);
    void setPrimaryConnection(const QString &path);
    void addActiveConnection(const QString &path, const QStringList &devices);
    void addDevice(const QString &path, quint32 state);
    /// All three at once: a primary connection, at connectionPath(), with devices of these states,
    /// at devicePath(1) and so on.
    void setConnectedDevices(const QVector<quint32> &states);
    static QString connectionPath();
    static QString devicePath(int number);

    /// Sets any property of any object, of whatever type the value is.
    void setProperty(const QString &path, const QString &interface, const QString &name,
                     const QVariant &value);
    /// Gives the root object a method without arguments, with the Python code that sets its result
    /// `ret`, which is of the D-Bus type \a signature.
    void setMethod(const QString &name, const QString &signature, const QString &code);

    /// From now on runs Python code when \a call of the object at \a path arrives: a method's name,
    /// "Get NAME" for the reading of a property. When the code sets `ret`, a list, the reply has
    /// these values, as \a signature says, which may be what nobody expects; else the call is
    /// answered as usual after the code.
    void setAnswer(const QString &path, const QString &call, const QString &signature,
                   const QString &code);
    /// The code that stops the process until setResponsive(true).
    static QString hang();
    static QString rootPath();

    /// Emits StateChanged for each of \a states. Returns when all are on their way.
    void emitStates(const QVector<quint32> &states);
    /// Emits a StateChanged of any object with any values, of the D-Bus types \a signature.
    void emitSignal(const QString &path, const QString &signature, const QVariantList &values);

private:
    void call(const QString &method, const QVariantList &arguments);

    ChildProcess m_process;
    QDBusConnection m_connection;
};

#endif
