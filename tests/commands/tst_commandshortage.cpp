// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "commandline.h"
#include "descriptors.h"
#include "logcapture.h"
#include "standin.h"
#include "testprogram.h"

#include <syncstatus/utils.h>

#include <QElapsedTimer>
#include <QtTest>

#include <sched.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>

using utility::Utils;

namespace {

int failures = 0; // how many of the next forks fail
// What is left where the kernel puts the new process's descriptor, if a test sets it.
bool hasLeftover = false;
int leftover = 0;

pid_t refusal()
{
    --failures;
    errno = EAGAIN;
    return -1;
}

} // namespace

// Qt forks by fork() or by syscall().
STANDIN pid_t fork() noexcept
{
    return failures > 0 ? refusal() : NEXT(fork)();
}

STANDIN long syscall(long sysno, ...) noexcept
{
    std::va_list list;
    va_start(list, sysno);
    long arguments[6];
    for (long &argument : arguments)
        argument = va_arg(list, long);
    va_end(list);
    if (failures > 0 && sysno == SYS_clone) {
        if (hasLeftover)
            *reinterpret_cast<int *>(arguments[2]) = leftover;
        return refusal();
    }
    return NEXT(syscall)(sysno, arguments[0], arguments[1], arguments[2], arguments[3],
                         arguments[4], arguments[5]);
}

// kill(-1) would end all processes of this user.
STANDIN int kill(pid_t pid, int sig) noexcept
{
    if (pid <= 0)
        qFatal("kill(%d, %d)", pid, sig);
    return NEXT(kill)(pid, sig);
}

namespace {

/// Without Qt's own warnings about a descriptor of a fork that failed, and about pipes that it
/// cannot make.
QStringList linesButQts(LogCapture &log)
{
    QStringList lines = log.takeLines();
    for (auto line = lines.begin(); line != lines.end();) {
        if (line->contains(QStringLiteral(" QSocketNotifier: ")) ||
            line->contains(QStringLiteral("createPipe: Cannot create pipe ")))
            line = lines.erase(line);
        else
            ++line;
    }
    return lines;
}

QString forkFailureLine(const QString &command,
                        const char *reason = "Resource temporarily unavailable")
{
    return attemptLine(command, QStringLiteral("NormalExit"), 0, QStringLiteral("FailedToStart"),
                       QLatin1String("Resource error (fork failure): ") + QLatin1String(reason));
}

QString pipeFailureLine(const QString &command)
{
    return attemptLine(command, QStringLiteral("NormalExit"), 0, QStringLiteral("FailedToStart"),
                       QStringLiteral("Too many open files"));
}

/// Whether the system makes a process that cannot have the descriptor that it is asked for. Qt then
/// takes descriptor 0 for it, and closes that.
bool clonesWithoutDescriptor()
{
    const DescriptorShortage shortage;
    int descriptor = -1;
    const long child = syscall(SYS_clone, CLONE_PIDFD | SIGCHLD, 0L, &descriptor, 0L, 0L);
    if (child == 0)
        _exit(0);
    return child > 0 && waitpid(pid_t(child), nullptr, 0) == child;
}

/// Milliseconds. No call waits, but a busy machine takes its time.
constexpr qint64 atOnce = 10000;

} // namespace

class TestCommandShortage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void aForkThatFailsIsAFailureToStart_data();
    void aForkThatFailsIsAFailureToStart();
    void aLaterAttemptMaySucceed();
    void noPackageIsNamedWhenForksFail();
    void descriptorsThatRunOutAreAFailureToStart();

private:
    int m_descriptors = 0;
};

void TestCommandShortage::init()
{
    QString output;
    QVERIFY(Utils::executeCmd("echo word", output)); // Qt opens some to keep
    m_descriptors = openDescriptors();
}

void TestCommandShortage::cleanup()
{
    failures = 0;
    hasLeftover = false;
    QCOMPARE(openDescriptors(), m_descriptors);
    errno = 0;
    QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1);
    QCOMPARE(errno, ECHILD);
    QString output;
    QVERIFY(Utils::executeCmd("echo word", output));
}

void TestCommandShortage::aForkThatFailsIsAFailureToStart_data()
{
    QTest::addColumn<bool>("isSet");
    QTest::addColumn<int>("descriptor");
    // Qt 5.15 goes on with what is left in the place of the new process's descriptor.
    QTest::newRow("as it comes") << false << 0;
    QTest::newRow("never ready") << true << -3;
    QTest::newRow("not open") << true << 1'000'000;
}

void TestCommandShortage::aForkThatFailsIsAFailureToStart()
{
    QFETCH(const bool, isSet);
    QFETCH(const int, descriptor);

    const QString command = QStringLiteral("echo word");
    QString output = QStringLiteral("before");
    LogCapture log;
    QElapsedTimer timer;
    timer.start();
    hasLeftover = isSet;
    leftover = descriptor;
    failures = 4;
    const bool result = Utils::executeCmd(command, output);
    const qint64 elapsed = timer.elapsed();

    QVERIFY(!result);
    QCOMPARE(output, QString());
    QCOMPARE(failures, 1); // three attempts
    const QString line = forkFailureLine(command);
    QCOMPARE(linesButQts(log), (QStringList{line, line, line}));
    QVERIFY2(elapsed < atOnce, qPrintable(QString::number(elapsed)));
}

void TestCommandShortage::aLaterAttemptMaySucceed()
{
    const QString command = QStringLiteral("echo word; exit 3");
    QString output;
    LogCapture log;
    failures = 2;
    QVERIFY(Utils::executeCmd(command, output));
    QCOMPARE(output, QStringLiteral("word\n"));
    const QString line = forkFailureLine(command);
    QCOMPARE(linesButQts(log), (QStringList{line, line, goodLine(command, 3)}));
}

void TestCommandShortage::noPackageIsNamedWhenForksFail()
{
    LogCapture log;
    failures = 4;
    QCOMPARE(Utils::getPackageNameByProcessName("bash"), QString());
    QCOMPARE(failures, 1);
    const QString line =
        forkFailureLine(QStringLiteral("rpm -qf --queryformat '%{NAME}' /usr/bin/bash"));
    QCOMPARE(linesButQts(log), (QStringList{line, line, line}));
}

// However many descriptors are left: either bash runs, or it is a failure to start.
void TestCommandShortage::descriptorsThatRunOutAreAFailureToStart()
{
    if (clonesWithoutDescriptor())
        QSKIP("clone() makes a process for which there is no descriptor, as under qemu-user");
    const QString command = QStringLiteral("echo word");
    bool result = false;
    int left = 0;
    for (; !result; ++left) {
        QVERIFY2(left < 20, "this needs no more than three pipes and a few");
        QString output = QStringLiteral("before");
        LogCapture log;
        QElapsedTimer timer;
        timer.start();
        {
            const DescriptorShortage shortage(left);
            result = Utils::executeCmd(command, output);
        }
        const qint64 elapsed = timer.elapsed();

        QCOMPARE(openDescriptors(), m_descriptors);
        const QStringList lines = linesButQts(log);
        if (result) {
            QCOMPARE(output, QStringLiteral("word\n"));
            QCOMPARE(lines, QStringList{goodLine(command)});
        } else {
            QCOMPARE(output, QString());
            const QString fork = forkFailureLine(command, "Too many open files");
            const QString line = lines.value(0) == fork ? fork : pipeFailureLine(command);
            QCOMPARE(lines, (QStringList{line, line, line}));
        }
        QVERIFY2(elapsed < atOnce, qPrintable(QString::number(elapsed)));
    }
    QVERIFY(left > 4);
}

SYNCSTATUS_TEST(TestCommandShortage)
#include "tst_commandshortage.moc"
