// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "busmonitor.h"

#include <QDBusMessage>
#include <QDebug>
#include <QRegularExpression>
#include <QTest>

namespace {

QString connectionName()
{
    return QStringLiteral("bus monitor");
}

} // namespace

BusMonitor::BusMonitor() : m_connection(QString()) {}

BusMonitor::~BusMonitor()
{
    m_process.stop();
    QDBusConnection::disconnectFromBus(connectionName());
}

bool BusMonitor::start()
{
    const QString address = QString::fromLocal8Bit(qgetenv("DBUS_SYSTEM_BUS_ADDRESS"));
    m_connection = QDBusConnection::connectToBus(address, connectionName());
    if (!m_connection.isConnected()) {
        qWarning() << m_connection.lastError();
        return false;
    }
    if (!m_process.startServer(
            QStringLiteral("dbus-monitor"),
            {QStringLiteral("--address"), address, QStringLiteral("type='method_call'")}))
        return false;
    // A client loses its name when the bus makes it a monitor.
    QByteArray line;
    do {
        line = m_process.waitForLine();
    } while (!line.isNull() && !line.endsWith("member=NameLost"));
    return !line.isNull();
}

QStringList BusMonitor::takeCalls(const QString &sender)
{
    // A call of one's own, which the bus passes after all that have been made: it has been read
    // when everything has.
    const QString end = QStringLiteral("/end/of/take");
    m_connection.send(QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), end,
                                                     QStringLiteral("org.freedesktop.DBus.Peer"),
                                                     QStringLiteral("Ping")));

    static const QRegularExpression header(
        QStringLiteral("^method call time=\\S+ sender=(\\S+) -> destination=(\\S+) serial=\\d+ "
                       "path=(\\S+); interface=(\\S+); member=(\\S+)$"));
    static const QRegularExpression argument(QStringLiteral("^   string \"(.*)\"$"));
    QStringList calls;
    bool wanted = false;
    for (;;) {
        const QByteArray line = m_process.waitForLine();
        if (line.isNull()) {
            QTest::qFail("dbus-monitor has stopped", __FILE__, __LINE__);
            return calls;
        }
        const QString text = QString::fromUtf8(line);
        const QRegularExpressionMatch call = header.match(text);
        if (call.hasMatch()) {
            if (call.captured(3) == end)
                return calls;
            wanted = call.captured(1) == sender;
            if (wanted)
                calls += QStringLiteral("%1 %2 %3.%4")
                             .arg(call.captured(2), call.captured(3), call.captured(4),
                                  call.captured(5));
        } else if (wanted) {
            const QRegularExpressionMatch value = argument.match(text);
            if (value.hasMatch())
                calls.last() += QLatin1Char(' ') + value.captured(1);
        }
    }
}
