// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// The D-Bus calls of a monitor whose first device is activated, and nothing else.

#include "answer.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>

namespace {

QDBusMessage call(const QString &path, const char *interface, const char *method,
                  const QVariantList &arguments)
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.NetworkManager"), path,
                                       QLatin1String(interface), QLatin1String(method));
    message.setArguments(arguments);
    return QDBusConnection::systemBus().call(message);
}

QVariant read(const QString &path, const char *interface, const char *property)
{
    const QDBusReply<QDBusVariant> reply =
        call(path, "org.freedesktop.DBus.Properties", "Get",
             {QLatin1String(interface), QLatin1String(property)});
    return reply.value().variant();
}

bool isOnline()
{
    const QString root = QStringLiteral("/org/freedesktop/NetworkManager");
    call(root, "org.freedesktop.DBus.Introspectable", "Introspect", {});
    const auto connection =
        read(root, "org.freedesktop.NetworkManager", "PrimaryConnection").value<QDBusObjectPath>();
    const auto devices =
        read(connection.path(), "org.freedesktop.NetworkManager.Connection.Active", "Devices");
    const auto paths = qdbus_cast<QList<QDBusObjectPath>>(devices);
    const QVariant state =
        read(paths.value(0).path(), "org.freedesktop.NetworkManager.Device", "State");
    return state.toUInt() == 100;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    return measureAnswer(isOnline);
}
