// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef SUBSCRIBER_H
#define SUBSCRIBER_H

#include <QDBusConnection>
#include <QObject>
#include <QVector>

/// Another receiver of StateChanged in this process: from \a sender or, when that is empty, from
/// any client on the bus of \a connection. A monitor has received what this object has received.
class Subscriber : public QObject
{
    Q_OBJECT

public:
    explicit Subscriber(const QString &sender = QString(),
                        QDBusConnection connection = QDBusConnection::systemBus())
    {
        connection.connect(sender, QStringLiteral("/org/freedesktop/NetworkManager"),
                           QStringLiteral("org.freedesktop.NetworkManager"),
                           QStringLiteral("StateChanged"), this,
                           SLOT(onStateChanged(quint32))); // clazy:exclude=old-style-connect
    }

    QVector<quint32> states;

public Q_SLOTS:
    void onStateChanged(quint32 state) { states += state; }
};

#endif
