// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "privatebus.h"

#include <QDebug>
#include <QFile>

namespace {

const char configuration[] = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>%1</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
    <allow user="*"/>
  </policy>
</busconfig>
)";

} // namespace

bool PrivateBus::start()
{
    QFile file(m_directory.filePath(QStringLiteral("bus.conf")));
    const QByteArray text = QString::fromLatin1(configuration).arg(address()).toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.flush()) {
        qWarning() << file.fileName() << file.errorString();
        return false;
    }
    // A killed daemon leaves its socket behind.
    QFile::remove(m_directory.filePath(QStringLiteral("socket")));
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", address().toUtf8());
    return m_daemon.startServer(QStringLiteral("dbus-daemon"),
                                {QStringLiteral("--config-file=") + file.fileName(),
                                 QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
                                 QStringLiteral("--nosyslog"), QStringLiteral("--print-address")});
}

void PrivateBus::kill()
{
    m_daemon.stop();
}

QString PrivateBus::address() const
{
    // An address has an escape for most characters, "~" among them, and what is left of the others
    // means nothing to XML.
    const QByteArray path = QFile::encodeName(m_directory.filePath(QStringLiteral("socket")))
                                .toPercentEncoding("/", "~");
    return QStringLiteral("unix:path=") + QString::fromLatin1(path);
}

qint64 PrivateBus::processId() const
{
    return m_daemon.processId();
}
