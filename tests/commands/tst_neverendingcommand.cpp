// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "commandline.h"
#include "descriptors.h"
#include "logcapture.h"
#include "testprogram.h"

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

// The milliseconds after which each line of the command came. A message handler has no arguments of
// ours.
QElapsedTimer timer;       // clazy:exclude=non-pod-global-static
QVector<qint64> lineTimes; // clazy:exclude=non-pod-global-static
QtMessageHandler capture = nullptr;

void noteTime(QtMsgType level, const QMessageLogContext &context, const QString &text)
{
    if (text.startsWith("cmd:  \"sleep "))
        lineTimes.append(timer.elapsed());
    capture(level, context, text);
}

/// A bash that hangs before it runs an rpm command, and that ignores all signals but SIGKILL.
bool makeBash(const QString &path)
{
    QFile bash(path);
    return bash.open(QIODevice::WriteOnly) &&
           bash.write("#!/bin/sh\n"
                      "case $2 in rpm*) trap '' HUP INT TERM; exec sleep 1000;; esac\n"
                      "exec " +
                      QFile::encodeName(QStandardPaths::findExecutable("bash")) + " \"$@\"\n") >
               0 &&
           bash.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
}

} // namespace

/// Waits once in real time, for two calls at once. Each function checks a part of the outcome.
class TestNeverEndingCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void whatWasPrintedIsKept();
    void onlyBashItselfIsKilled();
    void eachWaitEndsWithALine();
    void theWaitsAre30And45And60Seconds();
    void aBashThatHangsNamesNoPackage();
    void nothingIsLeft();

private:
    const QString m_command = QStringLiteral("sleep 1000 & echo $$ $!; printf '%0200000d' 7; wait");
    bool m_result = false;
    QStringList m_output;
    QString m_package = QStringLiteral("before");
    QStringList m_log;
    qint64 m_elapsed = 0;
    qint64 m_elapsedWithoutBash = 0;
    int m_descriptors = 0;
};

void TestNeverEndingCommand::initTestCase()
{
    const QTemporaryDir bin;
    QVERIFY(makeBash(bin.filePath("bash")));
    const ScopedVariable path("PATH", QFile::encodeName(bin.path()) + ':' + qgetenv("PATH"));
    QString output;
    QVERIFY(Utils::executeCmd("echo word", output)); // Qt opens some to keep
    m_descriptors = openDescriptors();

    LogCapture log;
    capture = qInstallMessageHandler(noteTime);
    timer.start();
    std::thread other([this] {
        m_package = Utils::getPackageNameByProcessName("x");
        m_elapsedWithoutBash = timer.elapsed();
    });
    m_result = Utils::executeCmd(m_command, output);
    m_elapsed = timer.elapsed();
    other.join();
    qInstallMessageHandler(capture);
    m_output = output.split(QLatin1Char('\n'));
    m_log = log.takeLines();
}

void TestNeverEndingCommand::whatWasPrintedIsKept()
{
    QVERIFY(m_result);
    QCOMPARE(m_output.size(), 2);
    // More than a pipe holds (64 KiB).
    QVERIFY(m_output.at(1) == QString(199999, QLatin1Char('0')) + QLatin1Char('7'));
}

void TestNeverEndingCommand::onlyBashItselfIsKilled()
{
    const QStringList processes = m_output.value(0).split(QLatin1Char(' '));
    QCOMPARE(processes.size(), 2);
    const pid_t shell = processes.at(0).toInt();
    const pid_t child = processes.at(1).toInt();
    QVERIFY(shell > 1 && child > 1);
    const int childIsThere = kill(child, 0);
    kill(child, SIGKILL);

    errno = 0;
    QCOMPARE(kill(shell, 0), -1);
    QCOMPARE(errno, ESRCH);
    QCOMPARE(childIsThere, 0);
}

void TestNeverEndingCommand::eachWaitEndsWithALine()
{
    const QString line = timedOutLine(m_command);
    const QString hanging =
        timedOutLine(QStringLiteral("rpm -qf --queryformat '%{NAME}' /usr/bin/x"));
    QStringList written = m_log;
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
}

void TestNeverEndingCommand::theWaitsAre30And45And60Seconds()
{
    QCOMPARE(lineTimes.size(), 3);
    QVERIFY2(lineTimes[0] >= 30000 && lineTimes[0] < 44000,
             qPrintable(QString::number(lineTimes[0])));
    QVERIFY2(lineTimes[1] >= 75000 && lineTimes[1] < 89000,
             qPrintable(QString::number(lineTimes[1])));
    for (const qint64 time : {m_elapsed, m_elapsedWithoutBash})
        QVERIFY2(time >= 135000 && time < 150000, qPrintable(QString::number(time)));
}

void TestNeverEndingCommand::aBashThatHangsNamesNoPackage()
{
    QCOMPARE(m_package, QString());
}

void TestNeverEndingCommand::nothingIsLeft()
{
    QCOMPARE(openDescriptors(), m_descriptors);
    errno = 0;
    QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1);
    QCOMPARE(errno, ECHILD);
}

SYNCSTATUS_TEST(TestNeverEndingCommand)
#include "tst_neverendingcommand.moc"
