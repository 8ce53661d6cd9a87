// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef DELIVERY_H
#define DELIVERY_H

#include "patience.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QTest>

/// Sees a signal of this process's own that comes round by the bus.
class Delivery : public QObject
{
    Q_OBJECT

public:
    /// Returns once the system bus's messages are delivered as they come. Until the event loop has
    /// turned for the first time after a process's first systemBus(), QtDBus holds them back, and
    /// QtDBus 5 deals with later ones first then.
    static bool wait()
    {
        const QString interface = QStringLiteral("test.Delivery");
        const QString member = QStringLiteral("Signal");
        Delivery delivery;
        QDBusConnection system = QDBusConnection::systemBus();
        system.connect(QString(), QStringLiteral("/"), interface, member, &delivery,
                       SLOT(onSignal())); // clazy:exclude=old-style-connect
        const QString name = QStringLiteral("delivery");
        // Not over the same connection: what a process sends to itself is not held back.
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
