// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "commandline.h"
#include "descriptors.h"
#include "logcapture.h"

#include <syncstatus/utils.h>

#include <QElapsedTimer>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <signal.h> // NOLINT(modernize-deprecated-headers): kill is POSIX's
#include <sys/wait.h>

#include <cerrno>
#include <thread>

using utility::Utils;

namespace {

// When each line of an attempt of the first came, in milliseconds; for a handler, which has no
// arguments of ours.
QElapsedTimer timer;       // clazy:exclude=non-pod-global-static
QVector<qint64> lineTimes; // clazy:exclude=non-pod-global-static
QtMessageHandler capture = nullptr;

void noteTime(QtMsgType level, const QMessageLogContext &context, const QString &text)
{
    if (text.startsWith(QLatin1String("cmd:  \"sleep ")))
        lineTimes.append(timer.elapsed());
    capture(level, context, text);
}

} // namespace

/// Waits in real time, for two things at once.
class NeverEnding : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isWaitedForThreeTimesAndThenKilled();
};

void NeverEnding::isWaitedForThreeTimesAndThenKilled()
{
    // In another thread, a bash that hangs before it comes to its command and heeds no signal.
    const QTemporaryDir bin;
    QFile bash(bin.filePath(QStringLiteral("bash")));
    QVERIFY(bash.open(QIODevice::WriteOnly));
    bash.write("#!/bin/sh\ncase $2 in rpm*) trap '' HUP INT TERM; exec sleep 1000;; esac\nexec " +
               QFile::encodeName(QStandardPaths::findExecutable(QStringLiteral("bash"))) +
               " \"$@\"\n");
    bash.close();
    QVERIFY(bash.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
    const ScopedVariable path("PATH", QFile::encodeName(bin.path()) + ':' + qgetenv("PATH"));
    QString output;
    QVERIFY(Utils::executeCmd(QStringLiteral("echo word"), output)); // Qt opens some to keep
    const int descriptors = openDescriptors();

    const QString command = QStringLiteral("sleep 1000 & echo $$ $!; printf '%0200000d' 7; wait");
    LogCapture log;
    capture = qInstallMessageHandler(noteTime);
    timer.start();
    QString package = QStringLiteral("before");
    qint64 elapsedWithoutBash = 0;
    std::thread other([&] {
        package = Utils::getPackageNameByProcessName(QStringLiteral("x"));
        elapsedWithoutBash = timer.elapsed();
    });
    const bool result = Utils::executeCmd(command, output);
    const qint64 elapsed = timer.elapsed();
    other.join();
    qInstallMessageHandler(capture);

    const QStringList lines = output.split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), 2);
    const QStringList processes = lines.at(0).split(QLatin1Char(' '));
    QCOMPARE(processes.size(), 2);
    const pid_t shell = processes.at(0).toInt();
    const pid_t child = processes.at(1).toInt();
    QVERIFY(shell > 1 && child > 1);
    const int childIsThere = kill(child, 0);
    kill(child, SIGKILL);

    // What was printed is kept, more than a pipe holds (64 KiB).
    QVERIFY(result);
    QVERIFY(lines.at(1) == QString(199999, QLatin1Char('0')) + QLatin1Char('7'));
    errno = 0;
    QCOMPARE(kill(shell, 0), -1);
    QCOMPARE(errno, ESRCH);
    QCOMPARE(childIsThere, 0); // only bash itself was killed
    const QString line = timedOutLine(command);
    const QString hanging =
        timedOutLine(QStringLiteral("rpm -qf --queryformat '%{NAME}' /usr/bin/x"));
    QStringList written = log.takeLines();
    QStringList expected{line,
                         line,
                         line,
                         hanging,
                         hanging,
                         hanging,
                         alreadyRunningLine(),
                         alreadyRunningLine(),
                         alreadyRunningLine(),
                         alreadyRunningLine()};
    written.sort();
    expected.sort();
    QCOMPARE(written, expected);
    QCOMPARE(package, QString());
    QCOMPARE(openDescriptors(), descriptors);
    errno = 0;
    QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1);
    QCOMPARE(errno, ECHILD);
    // Waits of 30, 45 and 60 seconds.
    QCOMPARE(lineTimes.size(), 3);
    QVERIFY2(lineTimes[0] >= 30000 && lineTimes[0] < 44000,
             qPrintable(QString::number(lineTimes[0])));
    QVERIFY2(lineTimes[1] >= 75000 && lineTimes[1] < 89000,
             qPrintable(QString::number(lineTimes[1])));
    for (const qint64 time : {elapsed, elapsedWithoutBash})
        QVERIFY2(time >= 135000 && time < 150000, qPrintable(QString::number(time)));
}

QTEST_GUILESS_MAIN(NeverEnding)
#include "tst_neverending.moc"
