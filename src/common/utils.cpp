// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "utils.h"

#include "agentlog.h"

#include <QByteArray>
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

#include <array>
#include <cmath>
#include <limits>
#include <new>
#include <optional>

namespace {

// QRegExp keeps patterns in a cache that outlives this library when it is unloaded, so the text
// must not lie in the library: QStringLiteral's would.
const QString ipRegex = QLatin1String( // clazy:exclude=non-pod-global-static
    "((2[0-4][0-9]|25[0-5]|[01]?[0-9][0-9]?)\\.){3}(2[0-4][0-9]|25[0-5]|[01]?[0-9][0-9]?)");

void setNoProxy(QTcpSocket &socket, const char *reason)
{
    // Said outright: a socket without a proxy of its own follows the application-wide one.
    socket.setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    qCWarning(ll_agent) << "network: " << reason;
}

/// Puts what is left of \a url without its scheme into \a rest.
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

// Access to a protected member, of a plain QProcess: for a derived class Qt 5.15 does without
// pidfds (Linux 5.4) and takes over the process's SIGCHLD, which the host may want for itself.
struct ProcessState : QProcess // clazy:exclude=missing-qobject-macro
{
    static constexpr auto set = &ProcessState::setProcessState;
};

// Returns whether the kernel has let this process fork. With pidfds, Qt 5.15 does not look and
// takes -1 for a child that is starting: to wait for that one may never end, and to kill it would
// end every process that this one may send a signal to. Such an object can only be thrown away.
bool startBash(QProcess &process, const QString &command)
{
    process.start(QLatin1String("bash"), {QLatin1String("-c"), command});
    if (process.processId() != -1)
        return true;
    (process.*ProcessState::set)(QProcess::NotRunning); // so that its destructor does neither
    return false;
}

void dropOutput(QProcess &process)
{
    std::array<char, 4096> scrap;
    for (const auto channel : {QProcess::StandardError, QProcess::StandardOutput}) {
        process.setReadChannel(channel);
        while (process.read(scrap.data(), scrap.size()) > 0)
            ;
    }
}

// Waits until the process has ended. One that prints more than there is memory for is killed, and
// what it has printed is dropped, again and again until it is gone: its children may go on.
void waitForFinished(QProcess &process, int milliseconds)
{
    for (bool isKilled = false;; isKilled = true) {
        try {
            process.waitForFinished(isKilled ? -1 : milliseconds);
            if (isKilled)
                dropOutput(process);
            return;
        } catch (const std::bad_alloc &) {
            process.kill();
            dropOutput(process);
        }
    }
}

} // namespace

namespace utility {

bool Utils::executeCmd(const QString &command, QString &output)
try {
    constexpr int attempts = 3;
    constexpr int baseWait = 15000; // milliseconds

    // One process for all attempts, neither killed nor reset in between: a command that is slow is
    // waited for, not started again beside itself.
    std::optional<QProcess> process(std::in_place);
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        const bool isForked = startBash(*process, command);
        if (isForked)
            waitForFinished(*process, (attempt + 1) * baseWait);
        else
            process.emplace(); // nothing has come of it, so that this is the same
        const QProcess::ProcessError error = isForked ? process->error() : QProcess::FailedToStart;
        qCWarning(ll_agent) << "cmd: " << command << " exitStatus: " << process->exitStatus()
                            << " exitCode: " << process->exitCode() << " error: " << error
                            << " errorString: "
                            << (isForked ? process->errorString()
                                         : QStringLiteral("Resource error (fork failure)"));
        if (error == QProcess::UnknownError) // QProcess's word for "none"
            break;
    }

    const QByteArray printed = process->isOpen() ? process->readAllStandardOutput() : QByteArray();
    // With its size: the overload for a byte array ends at the first NUL.
    output = QString::fromLatin1(printed.constData(), printed.size());
    process->close();
    return !output.isEmpty();
} catch (const std::bad_alloc &) { // callers are told of no failure by an exception
    output.clear();
    return false;
}

QString Utils::getPackageNameByProcessName(const QString &processName)
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

bool Utils::isValidIp(const QString &text)
{
    return QRegExp(ipRegex, Qt::CaseSensitive, QRegExp::RegExp).exactMatch(text);
}

void Utils::setSocksNetworkProxy(QTcpSocket &socket, const QJsonObject &config)
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
    // The port is a string in this format; a number is no string and gives 0.
    const quint16 port = socks.value(QLatin1String("port")).toString().toUShort();
    socket.setProxy(QNetworkProxy(QNetworkProxy::Socks5Proxy, host, port));
    qCWarning(ll_agent) << "network: "
                        << "Set network proxy success!";
}

bool Utils::compareUrlIgnoreHttpPrefix(const QString &first, const QString &second)
{
    if (first == second)
        return true;
    QString firstRest, secondRest;
    return stripHttpPrefix(first, firstRest) && stripHttpPrefix(second, secondRest) &&
           firstRest == secondRest;
}

QString Utils::getServerDateTime(const QVariant &timestamp)
{
    if (timestamp.isNull())
        return {};

    // QDateTime counts milliseconds in 64 bits and checks neither the multiplication by 1000 nor
    // its sums with the zone's offset; and QVariant does not check what it makes an integer of.
    constexpr qint64 furthest = std::numeric_limits<qint64>::max() / 1000;
    if (!(std::fabs(timestamp.toDouble()) < 1e16)) // false for NaN, too; finer below
        return {};
    const qint64 seconds = timestamp.toLongLong();
    if (seconds == 0 || seconds < -furthest || seconds > furthest)
        return {};

    // So QDateTime is asked for the local time of a moment well inside its range, a zone's offset
    // being a little over a day at most; what is missing to the moment itself, if anything, is
    // added to that.
    constexpr qint64 threeDays = qint64(3) * 24 * 60 * 60;
    const qint64 safe = qBound(-furthest + threeDays, seconds, furthest - threeDays);
    const QDateTime moment = QDateTime::fromSecsSinceEpoch(safe);
    if (!moment.isValid())
        return {}; // GCOVR_EXCL_LINE: Qt 5 has a local time for every moment within these bounds
    const QDateTime wallClock(moment.date(), moment.time(), Qt::UTC);
    const qint64 local = wallClock.toSecsSinceEpoch() + (seconds - safe);
    if (local < -furthest || local > furthest)
        return {};
    // QDateTime::toString() would write the digits of the system's language.
    return QLocale::c().toString(QDateTime::fromSecsSinceEpoch(local, Qt::UTC),
                                 QLatin1String("yyyy-MM-dd"));
}

} // namespace utility
