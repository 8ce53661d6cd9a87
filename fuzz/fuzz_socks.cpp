// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Utils::setSocksNetworkProxy() with any JSON object. The proxy and the log line must be those of a
// plain reader of the object, whatever proxy the socket had before. The first byte of the input
// selects that proxy, the rest is the text of the object.

#include "jsonjudge.h"
#include "target.h"

#include <syncstatus/utils.h>

#include <QJsonObject>
#include <QNetworkProxy>
#include <QTcpSocket>

#include <logcapture.h>

#include <iterator>

using utility::Utils;

namespace {

quint16 portOf(const QString &text)
{
    const QString trimmed = text.trimmed();
    int value = 0;
    const int first = trimmed.startsWith(QLatin1Char('+')) ? 1 : 0;
    for (int i = first; i < trimmed.size(); ++i) {
        const ushort c = trimmed.at(i).unicode();
        if (c < '0' || c > '9')
            return 0;
        value = value * 10 + (c - '0');
        if (value > 65535)
            return 0;
    }
    return quint16(value);
}

/// The string \a key of \a object, or null if it has none.
QString stringIn(const QVariantMap &object, const char *key)
{
    const QVariant value = object.value(QLatin1String(key));
    return value.userType() == QMetaType::QString ? value.toString() : QString();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    static LogCapture log;
    static QTcpSocket socket;
    static const QNetworkProxy::ProxyType before[] = {
        QNetworkProxy::DefaultProxy, QNetworkProxy::NoProxy, QNetworkProxy::HttpProxy,
        QNetworkProxy::Socks5Proxy};
    if (size == 0)
        return 0;
    const JsonJudgement judgement({reinterpret_cast<const char *>(bytes + 1), int(size - 1)});
    if (!judgement.isJson || judgement.value.userType() != QMetaType::QVariantMap)
        return 0;
    const QVariantMap config = judgement.value.toMap();
    const QNetworkProxy old(before[bytes[0] % std::size(before)], QStringLiteral("old"), 1,
                            QStringLiteral("user"), QStringLiteral("password"));
    socket.setProxy(old);
    Utils::setSocksNetworkProxy(socket, QJsonObject::fromVariantMap(config));

    const QVariant socks = config.value(QStringLiteral("socks"));
    const QVariantMap settings =
        socks.userType() == QMetaType::QVariantMap ? socks.toMap() : QVariantMap();
    const QString host = stringIn(settings, "host");
    const QNetworkProxy expected =
        host.isEmpty()
            ? QNetworkProxy(QNetworkProxy::NoProxy)
            : QNetworkProxy(QNetworkProxy::Socks5Proxy, host, portOf(stringIn(settings, "port")));
    require(socket.proxy() == expected, "the proxy");
    require(socket.state() == QAbstractSocket::UnconnectedState, "no connection");
    const QString line =
        settings.isEmpty() ? QStringLiteral("network:  Socks network proxy data is empty!")
        : host.isEmpty()   ? QStringLiteral("network:  Socks network proxy host data is empty!")
                           : QStringLiteral("network:  Set network proxy success!");
    require(log.takeLines() == QStringList{agentWarning(line)}, "the line");
    return 0;
}
