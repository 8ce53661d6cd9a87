// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "utils.h"

#include "agentlog.h"

#include <QByteArray>
#if QT_VERSION >= QT_VERSION_CHECK(5, 14, 0)
#include <QCalendar>
#endif
#include <QDateTime>
#include <QJsonObject>
#include <QJsonValue>
#include <QLocale>
#include <QNetworkProxy>
#include <QProcess>
#include <QRegExp>
#include <QStringList>
#include <QTcpSocket>
#include <QVariant>

#include <cmath>
#include <limits>
#include <optional>

namespace {

// Not a QStringLiteral, whose text lies in this library: QRegExp keeps patterns in a cache, also
// after the library has been unloaded.
const QString ipRegex = QLatin1String( // clazy:exclude=non-pod-global-static
    "((2[0-4][0-9]|25[0-5]|[01]?[0-9][0-9]?)\\.){3}(2[0-4][0-9]|25[0-5]|[01]?[0-9][0-9]?)");

void setNoProxy(QTcpSocket &socket, const char *reason)
{
    // Explicitly, because a socket without a proxy setting uses the application's proxy.
    socket.setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    qCWarning(ll_agent) << "network: " << reason;
}

/// Sets \a rest to \a url without its scheme. Returns false if the scheme is not http or https.
bool stripHttpPrefix(const QString &url, QString &rest)
{
    const QString text = url.trimmed().toLower();
    for (const QLatin1String prefix : {QLatin1String("http://"), QLatin1String("https://")}) {
        if (text.startsWith(prefix)) {
            rest = text.mid(prefix.size());
            return true;
        }
    }
    return false;
}

// Gives access to a protected member. No object of this class is made: for a derived class Qt 5.15
// takes over SIGCHLD, which the host may need.
struct ProcessState : QProcess // clazy:exclude=missing-qobject-macro
{
    static constexpr auto set = &ProcessState::setProcessState;
};

} // namespace

namespace utility {

bool Utils::executeCmd(const QString &command, QString &output) noexcept
{
    constexpr int attempts = 3;
    constexpr int baseWait = 15000; // milliseconds

    // Deliberately one process for all attempts, neither killed nor reset between them: the next
    // attempt goes on waiting for a slow command.
    std::optional<QProcess> process(std::in_place);
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        process->start(QLatin1String("bash"), {QLatin1String("-c"), command});
        QProcess::ProcessError error = QProcess::FailedToStart;
        QString errorString;
        if (process->processId() == -1) {
            // Qt 5.15 does not notice that fork() failed, but errno still says why. close() and the
            // destructor would kill the process id -1, which signals every process.
            errorString = QLatin1String("Resource error (fork failure): ") + qt_error_string();
            (*process.*ProcessState::set)(QProcess::NotRunning);
            process.emplace(); // nothing was started; this closes the pipes
        } else {
            process->waitForFinished((attempt + 1) * baseWait);
            error = process->error();
            errorString = process->errorString();
        }
        qCWarning(ll_agent) << "cmd: " << command << " exitStatus: " << process->exitStatus()
                            << " exitCode: " << process->exitCode() << " error: " << error
                            << " errorString: " << errorString;
        if (error == QProcess::UnknownError) // QProcess's "no error"
            break;
    }

    const QByteArray printed = process->isOpen() ? process->readAllStandardOutput() : QByteArray();
    // The longest QString of Qt 5, which needs room for its header and final NUL.
    constexpr int longestText = (std::numeric_limits<int>::max() - 32) / 2;
    // Passes the size: the overload for a QByteArray ends at the first NUL.
    output = printed.size() <= longestText
                 ? QString::fromLatin1(printed.constData(), printed.size())
                 : QString();
    process->close();
    return !output.isEmpty();
}

QString Utils::getPackageNameByProcessName(const QString &processName) noexcept
{
    if (processName.isEmpty())
        return {};

    const QString path = processName.startsWith(QLatin1Char('/'))
                             ? processName
                             : QLatin1String("/usr/bin/") + processName;
    QString output;
    if (!executeCmd(QLatin1String("rpm -qf --queryformat '%{NAME}' ") + path, output))
        return {};
    return output.trimmed();
}

bool Utils::isValidIp(const QString &text) noexcept
{
    return QRegExp(ipRegex, Qt::CaseSensitive, QRegExp::RegExp).exactMatch(text);
}

void Utils::setSocksNetworkProxy(QTcpSocket &socket, const QJsonObject &config) noexcept
{
    const QJsonObject socks = config.value(QLatin1String("socks")).toObject();
    if (socks.isEmpty()) {
        setNoProxy(socket, "Socks network proxy data is empty!");
        return;
    }
    const QString host = socks.value(QLatin1String("host")).toString();
    if (host.isEmpty()) {
        setNoProxy(socket, "Socks network proxy host data is empty!");
        return;
    }
    // The format has the port as a string. A JSON number gives 0.
    const quint16 port = socks.value(QLatin1String("port")).toString().toUShort();
    socket.setProxy(QNetworkProxy(QNetworkProxy::Socks5Proxy, host, port));
    qCWarning(ll_agent) << "network: "
                        << "Set network proxy success!";
}

bool Utils::compareUrlIgnoreHttpPrefix(const QString &first, const QString &second) noexcept
{
    if (first == second)
        return true;
    QString firstRest, secondRest;
    return stripHttpPrefix(first, firstRest) && stripHttpPrefix(second, secondRest) &&
           firstRest == secondRest;
}

QString Utils::getServerDateTime(const QVariant &timestamp) noexcept
{
    if (timestamp.isNull())
        return {};

    // QDateTime counts milliseconds in 64 bits and does not check for overflow. The margin is wider
    // than any time zone's offset. The comparison is false for NaN.
    constexpr double furthest = 9e15;
    if (!(std::fabs(timestamp.toDouble()) < furthest))
        return {};
    const qint64 seconds = timestamp.toLongLong();
    // Tests again: a byte array with a NUL is no double, but its first part is an integer.
    if (seconds == 0 || std::fabs(double(seconds)) >= furthest)
        return {};
#if QT_VERSION >= QT_VERSION_CHECK(5, 14, 0)
    // Qt makes its calendar at the first use, and not safely if several threads use it at once.
    static const QCalendar calendar;
#endif
    const QDateTime moment = QDateTime::fromSecsSinceEpoch(seconds);
    // QDateTime::toString() would use the digits of the system's language.
    return moment.isValid() ? QLocale::c().toString(moment, QLatin1String("yyyy-MM-dd"))
                            : QString();
}

} // namespace utility
