// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef DELIVERY_H
#define DELIVERY_H

#include "patience.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QTest>

/// Receives a signal that this process sends to itself by the bus.
class Delivery : public QObject
{
    Q_OBJECT

public:
    /// Returns when QtDBus delivers the system bus's messages as they come. After a process's first
    /// systemBus() it holds them back until the event loop runs, and then may deal with later ones
    /// first.
    static bool wait()
    {
        const QString interface = QStringLiteral("test.Delivery");
        const QString member = QStringLiteral("Signal");
        Delivery delivery;
        QDBusConnection system = QDBusConnection::systemBus();
        system.connect(QString(), QStringLiteral("/"), interface, member, &delivery,
                       SLOT(onSignal())); // clazy:exclude=old-style-connect
        const QString name = QStringLiteral("delivery");
        // Over another connection: QtDBus does not hold back what a connection sends to itself.
        QDBusConnection::connectToBus(QString::fromLocal8Bit(qgetenv("DBUS_SYSTEM_BUS_ADDRESS")),
                                      name)
            .send(QDBusMessage::createTargetedSignal(system.baseService(), QStringLiteral("/"),
                                                     interface, member));
        const bool hasCome = QTest::qWaitFor([&] { return delivery.m_hasCome; }, patience);
        QDBusConnection::disconnectFromBus(name);
        return hasCome;
    }

public Q_SLOTS:
    void onSignal() { m_hasCome = true; }

private:
    bool m_hasCome = false;
};

#endif
