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

/// Shell commands, the package that owns a program, and small checks and conversions for network
/// code. Static operations only; the class keeps no state.
///
/// Threads: every operation may be called from any thread, several at once, whether or not the
/// thread runs an event loop or was started by Qt; setSocksNetworkProxy() only from the thread of
/// the socket that it is given.
///
/// Blocking: executeCmd() and getPackageNameByProcessName() wait for a child process and process no
/// events meanwhile; keep them off a thread that has to stay responsive. The others wait for
/// nothing.
///
/// Logging: lines are warnings of the category "org.corvel.license.agent", without a prefix.
/// executeCmd() and setSocksNetworkProxy() write some, the others write none of their own.
class SYNCSTATUS_EXPORT Utils
{
public:
    Utils() = delete;

    /// Runs \a command with `bash -c` and puts what it prints on its standard output into
    /// \a output, in place of what that held. Returns whether it printed anything: **neither the
    /// exit code nor a failure plays a part**, so a command that fails after printing gives true
    /// and a command that succeeds silently gives false.
    ///
    /// bash is looked up on PATH. \a command reaches it whole, as one argument in the local 8-bit
    /// encoding: pipes, redirections and quotes work as in a shell, and text from elsewhere that is
    /// put into it can run anything. The child has this process's environment and working
    /// directory. Its standard input is a pipe that stays open and empty: a command that reads it
    /// waits for ever, so add `</dev/null` to one that might. In a host without a descriptor 0, the
    /// command's standard input is closed. Its standard error is a pipe of its own: it is emptied,
    /// so that the command is not held up, and dropped when the call ends. Add `2>&1` to have it.
    ///
    /// **The host must leave the child to this call**: no ignored SIGCHLD, no SA_NOCLDWAIT, no
    /// waitpid(-1). Otherwise Qt reports a crash, and the command runs three times.
    ///
    /// \a output has one character for each byte printed, decoded as **Latin-1**; nothing is
    /// trimmed and a NUL byte is kept. For a command that prints UTF-8 use
    /// `QString::fromUtf8(output.toLatin1())`.
    ///
    /// **Attempts.** There are up to three, and the waits for their ends are 30, 45 and 60 seconds:
    /// a caller may be blocked for 135 seconds, and only failures of the child process lead to a
    /// further attempt, never an exit code:
    /// - bash cannot be started (there is none, descriptors have run out, or the system refuses
    ///   another process), or a signal ends it (or the last command in the line, which bash becomes
    ///   by itself): it is started again, and what the attempt before printed is dropped. An
    ///   attempt that does not come to a start takes no time.
    /// - The wait times out: the command runs on, and the next attempt waits for *the same
    ///   process*; QProcess refuses to start it again with a warning of its own, "QProcess::start:
    ///   Process is already running", in the category "default". A command that ends **during the
    ///   second wait** (30 to 75 seconds after its start) leaves that time-out as the attempt's
    ///   error and is therefore **run a second time**; what the first run printed is dropped. One
    ///   that ends during the third wait runs once.
    ///
    /// A process that still runs after the third wait is killed, with what it printed until then
    /// kept; the call waits for its end, which comes at once unless it is stuck in the kernel (on a
    /// dead network file system, say). Only bash itself is killed: processes that it has started
    /// and not become (by `exec`) run on. A command that may take longer than 30 seconds, or that
    /// must not be run twice, is best given its own limit: `timeout -k 1 20 ...`.
    ///
    /// The call returns when bash ends. A background process left behind does not hold it up,
    /// even with the standard output still open; what that prints later is lost.
    ///
    /// Memory: everything printed is held until the command ends, what goes to standard error with
    /// one byte for each byte until the call ends; `2>/dev/null` avoids that. At the end there are
    /// up to four bytes for each byte of the standard output, which is twice the size of the text
    /// in \a output (two bytes a character); when the call returns, that text remains. A QString
    /// holds a little less than 2^30 characters: for a longer output, the result is false and
    /// \a output is empty.
    ///
    /// **Nothing limits how much a command prints.** `yes` fills the memory with 300 MB a second on
    /// a machine of 2020, until the waits are over or memory runs out. `| head -c 1000000` sets a
    /// limit.
    ///
    /// Writes one line after every attempt, also a good one: "cmd: " with the command,
    /// " exitStatus: ", " exitCode: ", " error: " and " errorString: " with what QProcess says of
    /// each. Before it has ended, a process counts as a normal exit with code 0. Since the command
    /// is in the line, keep secrets out of it.
    static bool executeCmd(const QString &command, QString &output) noexcept;

    /// The name of the rpm package that owns a program, without white space around it; empty when
    /// the name is empty, when the query prints nothing (no such file, no rpm), or when bash cannot
    /// be run.
    ///
    /// \a processName is an absolute path, or a bare name that is looked for in "/usr/bin/". It is
    /// what executeCmd() runs behind `rpm -qf --queryformat '%{NAME}' `, with all that is said
    /// there about time, attempts and the line written. An empty name runs and writes nothing.
    ///
    /// **The name is trusted input.** It stands unquoted in a shell command: a blank splits it,
    /// and "x; reboot" reboots. A caller that takes the name from anywhere else (another process's
    /// title, a file, the network) must first refuse every name that has anything in it but ASCII
    /// letters, digits and the characters `. _ + - /`.
    ///
    /// **Not every answer is a package.** The query's exit code is not consulted, and what it
    /// printed is the result:
    /// - For a file that exists and that no package owns, rpm prints "file PATH is not owned by any
    ///   package" on its standard output (in the language of the environment). A package name
    ///   never has a blank in it; check for one.
    /// - When several packages own the file, such as one package in two architectures, their names
    ///   follow each other with nothing in between.
    static QString getPackageNameByProcessName(const QString &processName) noexcept;

    /// Whether the whole of \a text is an IPv4 address in dotted decimal: four numbers from 0 to
    /// 255, of one to three ASCII digits each, so leading zeros are allowed (and do not mean
    /// octal). No white space, no port, no prefix length, no IPv6.
    static bool isValidIp(const QString &text) noexcept;

    /// Sets the proxy of \a socket, and nothing else in the process, from \a config:
    /// \code
    /// { "socks": { "host": "proxy.example", "port": "1080" } }
    /// \endcode
    /// "host" is a name or an address and is required. "port" is a **string** of decimal digits,
    /// 0 to 65535 (a plus sign and white space around them are let through); anything else, a JSON
    /// number included, counts as 0, which no connection can use, and is not reported. Everything
    /// else in \a config is ignored; there is no user name and no password. With this proxy
    /// (SOCKS5) it is the proxy that resolves the names that the socket connects to.
    ///
    /// When "socks" is missing, empty or not an object, or "host" is missing, empty or not a
    /// string, the socket is set to use no proxy at all: not the one it had, and not the
    /// application-wide one either.
    ///
    /// Takes effect with the socket's next connection. Does not connect to anything, nor look
    /// anything up.
    ///
    /// Then, with the proxy set, writes one line, "network: " with one of "Set network proxy
    /// success!", "Socks network proxy data is empty!" and "Socks network proxy host data is
    /// empty!".
    static void setSocksNetworkProxy(QTcpSocket &socket, const QJsonObject &config) noexcept;

    /// Whether two URLs are equal apart from "http://" against "https://", from upper and lower
    /// case **anywhere in them**, and from white space around them. Case is what QString::toLower()
    /// evens out, so that the two small sigmas differ. Nothing else is evened out: not a trailing
    /// slash, not a default port, not an escape. A text that begins with neither scheme
    /// is equal only to the very same text.
    static bool compareUrlIgnoreHttpPrefix(const QString &first, const QString &second) noexcept;

    /// The date, "yyyy-MM-dd" in ASCII digits, on which the moment that lies \a timestamp
    /// **seconds** after 1970-01-01T00:00:00 UTC (before it, if negative) falls in this machine's
    /// time zone (TZ, /etc/localtime).
    ///
    /// \a timestamp is converted as QVariant::toLongLong() does. A float or a double is rounded to
    /// the nearest second, a half up: 0.5 is 1, and 0.4 and -0.5 are zero. Text is decimal digits,
    /// with a sign or without, white space around them let through; a fraction or an exponent makes
    /// it no number. true is 1. Empty when it is null, zero, not a number, or 9e15 seconds (some
    /// 285 million years) or more away from 1970.
    ///
    /// Milliseconds given by mistake are not noticed: they give a year of five or more digits. A
    /// year before 1 has a minus sign, and there is no year 0. Daylight saving is QDateTime's: none
    /// before 1970, where the zone's standard offset of today counts.
    static QString getServerDateTime(const QVariant &timestamp) noexcept;
};

} // namespace utility

#endif
