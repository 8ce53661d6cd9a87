// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "commandline.h"
#include "logcapture.h"

#include <syncstatus/utils.h>

#include <QElapsedTimer>
#include <QtTest>

#include <signal.h> // NOLINT(modernize-deprecated-headers): kill is POSIX's

#include <cerrno>

using utility::Utils;

namespace {

// When each attempt's line came, in milliseconds; for a handler, which has no arguments of ours.
QElapsedTimer timer;       // clazy:exclude=non-pod-global-static
QVector<qint64> lineTimes; // clazy:exclude=non-pod-global-static
QtMessageHandler capture = nullptr;

void noteTime(QtMsgType level, const QMessageLogContext &context, const QString &text)
{
    if (text.startsWith(QLatin1String("cmd: ")))
        lineTimes.append(timer.elapsed());
    capture(level, context, text);
}

} // namespace

class NeverEnding : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isWaitedForThreeTimesAndThenKilled();
};

void NeverEnding::isWaitedForThreeTimesAndThenKilled()
{
    const QString command = QStringLiteral("sleep 1000 & echo $$ $!; printf '%0200000d' 7; wait");
    LogCapture log;
    capture = qInstallMessageHandler(noteTime);
    timer.start();
    QString output;
    const bool result = Utils::executeCmd(command, output);
    const qint64 elapsed = timer.elapsed();
    qInstallMessageHandler(capture);

    const QStringList lines = output.split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), 2);
    const QStringList processes = lines.at(0).split(QLatin1Char(' '));
    QCOMPARE(processes.size(), 2);
    const pid_t bash = processes.at(0).toInt();
    const pid_t child = processes.at(1).toInt();
    QVERIFY(bash > 1 && child > 1);
    const int childIsThere = kill(child, 0);
    kill(child, SIGKILL);

    // What was printed is kept, more than a pipe holds (64 KiB).
    QVERIFY(result);
    QVERIFY(lines.at(1) == QString(199999, QLatin1Char('0')) + QLatin1Char('7'));
    errno = 0;
    QCOMPARE(kill(bash, 0), -1);
    QCOMPARE(errno, ESRCH);
    QCOMPARE(childIsThere, 0); // only bash itself was killed
    const QString line = timedOutLine(command);
    QCOMPARE(log.takeLines(),
             (QStringList{line, alreadyRunningLine(), line, alreadyRunningLine(), line}));
    // Waits of 30, 45 and 60 seconds.
    QCOMPARE(lineTimes.size(), 3);
    QVERIFY2(lineTimes[0] >= 30000 && lineTimes[0] < 44000,
             qPrintable(QString::number(lineTimes[0])));
    QVERIFY2(lineTimes[1] >= 75000 && lineTimes[1] < 89000,
             qPrintable(QString::number(lineTimes[1])));
    QVERIFY2(elapsed >= 135000 && elapsed < 150000, qPrintable(QString::number(elapsed)));
}

QTEST_GUILESS_MAIN(NeverEnding)
#include "tst_neverending.moc"
