// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef UTILS_H
#define UTILS_H

#include <syncstatus/syncstatus_export.h>

#include <QString>

class QJsonObject;
class QTcpSocket;
class QVariant;

namespace utility {

/// Runs shell commands, finds the rpm package of a program, and has small helpers for network code.
///
/// \code
/// using utility::Utils;
/// QString output;
/// if (Utils::executeCmd("timeout 20 lsblk --json </dev/null", output))
///     qDebug() << QString::fromUtf8(output.toLatin1());
///
/// const QString package = Utils::getPackageNameByProcessName("bash");
/// const bool isAddress = Utils::isValidIp("192.0.2.1");
/// \endcode
///
/// - Threads: any, several at once; setSocksNetworkProxy() only in the thread of its socket.
/// - Blocking: executeCmd() and getPackageNameByProcessName() for up to 135 seconds, without
///   processing events. The others do not block.
/// - Failure: the result that each operation names.
/// - Logging: executeCmd() and setSocksNetworkProxy() write warnings of the category
///   "org.corvel.license.agent". The others add none.
class SYNCSTATUS_EXPORT Utils
{
public:
    Utils() = delete;

    /// Runs `bash -c` with \a command. \a output becomes its standard output **as Latin-1**, one
    /// character a byte. Returns whether it printed anything, **whatever its exit code**. An output
    /// of 1 GiB or more counts as none. Logs each attempt: "cmd: ", " exitStatus: ", " exitCode: ",
    /// " error: " and " errorString: ", each with its value.
    ///
    /// **Runs a command up to three times**: again if it did not start, a signal ended it, or it
    /// ran for 30 to 75 seconds. Limit it with `timeout 20`. Its standard input stays open. The
    /// host must not ignore SIGCHLD nor reap this child: every command would run three times.
    /// Attempts, memory and safety: docs/commands.md.
    static bool executeCmd(const QString &command, QString &output) noexcept;

    /// The name of the rpm package that owns the program \a processName, an absolute path or a name
    /// in "/usr/bin/". Runs `rpm -qf` with executeCmd(). Empty if there is no answer.
    ///
    /// **The name becomes a part of a shell command, unquoted.** For a name from elsewhere, allow
    /// only ASCII letters, digits and `. _ + - /`.
    ///
    /// **Not every answer is a package**: for a file without a package it is rpm's message, which
    /// has blanks. Several packages come without a separator.
    static QString getPackageNameByProcessName(const QString &processName) noexcept;

    /// Whether \a text is an IPv4 address: four decimal numbers from 0 to 255 with dots between
    /// them. Leading zeros are allowed, up to three digits. White space, ports and IPv6 are not.
    static bool isValidIp(const QString &text) noexcept;

    /// Sets the proxy of \a socket to the SOCKS5 proxy in \a config, for its next connection:
    /// `{"socks": {"host": "proxy.example", "port": "1080"}}`. **The port is a string**, with a
    /// number from 0 to 65535. Anything else, also a JSON number, gives port 0, which cannot
    /// connect. The proxy resolves the names that the socket connects to.
    ///
    /// Without a "host" the socket gets no proxy at all, not even the application's. Logs "network:
    /// " with "Set network proxy success!", "Socks network proxy data is empty!" or "Socks network
    /// proxy host data is empty!".
    static void setSocksNetworkProxy(QTcpSocket &socket, const QJsonObject &config) noexcept;

    /// Whether two URLs are equal, apart from "http://" or "https://", upper and lower case
    /// anywhere in them, and white space around them. Nothing else is normalised: a trailing slash
    /// or a port makes a difference. A text with another scheme, or none, is equal only to the
    /// identical text.
    static bool compareUrlIgnoreHttpPrefix(const QString &first, const QString &second) noexcept;

    /// The local date, "yyyy-MM-dd", of \a timestamp in **seconds** since 1970-01-01T00:00:00 UTC.
    /// Converts it as QVariant::toLongLong() does, which rounds a double. Empty if it is null, 0,
    /// no number, or 9e15 or more away from 1970. Milliseconds give a year of five or more digits.
    static QString getServerDateTime(const QVariant &timestamp) noexcept;
};

} // namespace utility

#endif
