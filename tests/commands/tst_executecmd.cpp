// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "commandline.h"
#include "descriptors.h"
#include "logcapture.h"
#include "standin.h"
#include "testprogram.h"
#include "throwsnothing.h"

#include <syncstatus/utils.h>

#include <QDir>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QtTest>

#include <poll.h>
#include <signal.h> // NOLINT(modernize-deprecated-headers): kill is POSIX's
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <type_traits>

using utility::Utils;

namespace {

bool recordsWaits = false;
QVector<qint64> waits; // clazy:exclude=non-pod-global-static

} // namespace

// Qt waits for a process by this function. A wait with a time-out is noted, and over at once.
STANDIN int ppoll(pollfd *fds, nfds_t nfds, const timespec *timeout, const sigset_t *ss)
{
    if (recordsWaits && timeout) {
        waits += qRound64(double(timeout->tv_sec) + double(timeout->tv_nsec) / 1e9);
        return 0;
    }
    return NEXT(ppoll)(fds, nfds, timeout, ss);
}

// No test sees an attempt after QProcess::ReadError or WriteError: no command causes these.
static_assert(throwsNothing(Utils::executeCmd, Utils::getPackageNameByProcessName, Utils::isValidIp,
                            Utils::setSocksNetworkProxy, Utils::compareUrlIgnoreHttpPrefix,
                            Utils::getServerDateTime));
static_assert(!std::is_default_constructible_v<Utils>);

class TestExecuteCmd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void givesWhatTheCommandPrints_data();
    void givesWhatTheCommandPrints();
    void everyByteBecomesTheLatin1CharacterOfThatByte();
    void commandReachesBashWhole_data();
    void commandReachesBashWhole();
    void theLineIsWrittenOutInFull();
    void outputIsReplaced();
    void commandAndOutputMayBeOneString();
    void environmentAndWorkingDirectoryAreThisProcesss();
    void standardInputStaysOpenAndEmpty();
    void standardErrorIsAPipeOfItsOwn();
    void nothingPrintedAtTheLastMomentIsLost();
    void aCommandThatCrashesIsRunThreeTimes();
    void aCommandThatCrashesOnceIsRunTwice();
    void bashMissingFromThePathIsTriedThreeTimes();
    void aGrandchildThatHoldsTheOutputOpenDoesNotDelayTheCall();
    void linesAreWrittenOnlyWhenTheLevelIsOn();
    void noEventIsProcessedMeanwhile();
    void anAttemptWaitsOnce();

private:
    QTemporaryDir m_dir;
    int m_descriptors = 0;
};

void TestExecuteCmd::initTestCase()
{
    QString output;
    QVERIFY(Utils::executeCmd("echo word", output)); // Qt opens some to keep
    m_descriptors = openDescriptors();
}

void TestExecuteCmd::init()
{
    QVERIFY(m_dir.isValid());
    QFile::remove(m_dir.filePath("runs"));
}

// No child and no descriptor is left.
void TestExecuteCmd::cleanup()
{
    QCOMPARE(openDescriptors(), m_descriptors);
    errno = 0;
    QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1);
    QCOMPARE(errno, ECHILD);
}

void TestExecuteCmd::givesWhatTheCommandPrints_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("exitCode");

    const auto row = [](const char *name, const QString &command, const QString &expected,
                        int exitCode) { QTest::newRow(name) << command << expected << exitCode; };
    row("a word and a new line", "echo word", "word\n", 0);
    row("nothing, with success", "true", "", 0);
    row("nothing, with failure", "exit 3", "", 3);
    row("no command", "", "", 0);
    row("a word, with failure", "echo word; exit 1", "word\n", 1);
    row("highest exit code", "echo word; exit 255", "word\n", 255);
    row("standard error only", "echo trouble >&2", "", 0);
    row("both", "echo word; echo trouble >&2", "word\n", 0);
    row("more on standard error than a pipe holds", "head -c 200000 /dev/zero >&2; echo ok", "ok\n",
        0);
    row("standard error sent along", "(echo trouble >&2) 2>&1", "trouble\n", 0);
    row("nothing is trimmed", R"(printf ' \t a \n\n')", " \t a \n\n", 0);
    row("a blank is something", "printf ' '", " ", 0);
    row("a NUL is something", "printf '\\0'", QString(QChar(0)), 0);
    row("a NUL in the middle", "printf 'a\\0b'",
        QStringLiteral("a") + QChar(0) + QStringLiteral("b"), 0);
    row("UTF-8 comes back as Latin-1", QStringLiteral("printf '\u00e9'"),
        QStringLiteral("\u00c3\u00a9"), 0);
    row("standard input is open and says nothing", "read -t 0.2; echo $?", "142\n", 0);
    row("no such command", "/nonexistent/command", "", 127);
    row("not executable", "/dev/null", "", 126);
    row("bash cannot parse it", "if", "", 2);
    row("a child that a signal ends is an exit code", "bash -c 'kill -9 $$'; echo $?", "137\n", 0);
}

void TestExecuteCmd::givesWhatTheCommandPrints()
{
    QFETCH(QString, command);
    QFETCH(QString, expected);
    QFETCH(int, exitCode);

    LogCapture log;
    QString output;
    const bool result = Utils::executeCmd(command, output);
    QCOMPARE(log.takeLines(), QStringList{goodLine(command, exitCode)});
    QCOMPARE(output, expected);
    QCOMPARE(result, !expected.isEmpty());
}

void TestExecuteCmd::everyByteBecomesTheLatin1CharacterOfThatByte()
{
    QString expected;
    QString format;
    for (ushort byte = 0; byte < 256; ++byte) {
        expected += QChar(byte);
        format += QStringLiteral("\\x%1").arg(byte, 2, 16, QLatin1Char('0'));
    }
    QString output;
    QVERIFY(Utils::executeCmd(QStringLiteral("printf '%1'").arg(format), output));
    QCOMPARE(output, expected);
}

void TestExecuteCmd::commandReachesBashWhole_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("expected");

    const auto row = [](const char *name, const QString &command, const QString &expected) {
        QTest::newRow(name) << command << expected;
    };
    row("pipe", "printf 'b\\na\\n' | sort", "a\nb\n");
    row("redirection", "cat <<< word", "word\n");
    row("single quotes", "echo 'two  blanks' \"$HOME\" '$HOME' > /dev/null; echo '$x'", "$x\n");
    row("double quotes", "x=1; echo \"<$x  $x>\"", "<1  1>\n");
    row("backslash", "echo a\\ \\ b", "a  b\n");
    row("a quoted blank at the end", "echo a\\ ", "a \n");
    row("new line", "echo one\necho two", "one\ntwo\n");
    row("bash, not any shell", "[[ -n $BASH_VERSION ]] && echo bash", "bash\n");
    row("no further argument", "echo ${0##*/} $#", "bash 0\n");
    const QString own =
        QStringLiteral("x=$(tr '\\0' '|' < /proc/$$/cmdline); printf %s \"${x#*|}\"");
    row("its own command line", own, QStringLiteral("-c|%1|").arg(own));
}

void TestExecuteCmd::commandReachesBashWhole()
{
    QFETCH(QString, command);
    QFETCH(QString, expected);

    QString output;
    QVERIFY(Utils::executeCmd(command, output));
    QCOMPARE(output, expected);
}

void TestExecuteCmd::theLineIsWrittenOutInFull()
{
    LogCapture log;
    QString output;
    Utils::executeCmd("echo \"a\"\nexit 4", output);
    QCOMPARE(log.takeLines(),
             QStringList{QStringLiteral(
                 "warning org.corvel.license.agent: cmd:  \"echo \\\"a\\\"\\nexit 4\"  exitStatus: "
                 " QProcess::NormalExit  exitCode:  4  error:  QProcess::UnknownError  "
                 "errorString:  \"Unknown error\"")});
}

void TestExecuteCmd::outputIsReplaced()
{
    QString output = QStringLiteral("before");
    QVERIFY(Utils::executeCmd("echo after", output));
    QCOMPARE(output, QStringLiteral("after\n"));
    QVERIFY(!Utils::executeCmd("true", output));
    QCOMPARE(output, QString());

    output = QStringLiteral("before");
    const ScopedVariable path("PATH", QFile::encodeName(m_dir.path()));
    QVERIFY(!Utils::executeCmd("echo after", output));
    QCOMPARE(output, QString());
}

void TestExecuteCmd::commandAndOutputMayBeOneString()
{
    QString text = QStringLiteral("echo word");
    QVERIFY(Utils::executeCmd(text, text));
    QCOMPARE(text, QStringLiteral("word\n"));
}

void TestExecuteCmd::environmentAndWorkingDirectoryAreThisProcesss()
{
    const ScopedVariable variable("SYNCSTATUS_TEST_VARIABLE", "handed down");
    const QString previous = QDir::currentPath();
    QVERIFY(QDir::setCurrent(m_dir.path()));
    QString output;
    const bool result = Utils::executeCmd("pwd -P; echo $SYNCSTATUS_TEST_VARIABLE", output);
    QVERIFY(QDir::setCurrent(previous));
    QVERIFY(result);
    QCOMPARE(output, QDir(m_dir.path()).canonicalPath() + QStringLiteral("\nhanded down\n"));
}

void TestExecuteCmd::standardInputStaysOpenAndEmpty()
{
    // read's status is 1 at the end of the input and over 128 when the time is up.
    QString output;
    QVERIFY(Utils::executeCmd("read -t 0.2; [ $? -gt 128 ] && echo waited", output));
    QCOMPARE(output, QStringLiteral("waited\n"));
}

void TestExecuteCmd::standardErrorIsAPipeOfItsOwn()
{
    QString output;
    QVERIFY(Utils::executeCmd("readlink /proc/$$/fd/1 /proc/$$/fd/2", output));
    const QStringList channels = output.split(QLatin1Char('\n'));
    QCOMPARE(channels.size(), 3); // the third is what follows the last new line
    const QString pipe = QStringLiteral("pipe:[");
    QVERIFY2(channels.at(0).startsWith(pipe), qPrintable(channels.at(0)));
    QVERIFY2(channels.at(1).startsWith(pipe), qPrintable(channels.at(1)));
    QVERIFY(channels.at(0) != channels.at(1));
    // It is not this process's either, which may be a pipe as well.
    std::array<char, 100> own = {};
    QVERIFY(::readlink("/proc/self/fd/2", own.data(), own.size() - 1) > 0);
    QVERIFY(channels.at(1) != QFile::decodeName(own.data()));
}

void TestExecuteCmd::nothingPrintedAtTheLastMomentIsLost()
{
    for (int i = 0; i < 50; ++i) {
        QString output;
        QVERIFY(Utils::executeCmd("printf '%0200000d' 7", output));
        QCOMPARE(output.size(), 200000);
        QVERIFY(output.endsWith(QLatin1Char('7')));
    }
}

void TestExecuteCmd::aCommandThatCrashesIsRunThreeTimes()
{
    const QString command =
        QStringLiteral("echo x >> %1/runs; echo run $(wc -l < %1/runs); kill -SEGV $$")
            .arg(m_dir.path());
    LogCapture log;
    QString output;
    QVERIFY(Utils::executeCmd(command, output));
    const QString line = crashLine(command, SIGSEGV);
    QCOMPARE(log.takeLines(), (QStringList{line, line, line}));
    // A new start drops what was printed before.
    QCOMPARE(output, QStringLiteral("run 3\n"));

    const QString silent = QStringLiteral("kill -9 $$");
    QVERIFY(!Utils::executeCmd(silent, output));
    const QString silentLine = crashLine(silent, SIGKILL);
    QCOMPARE(log.takeLines(), (QStringList{silentLine, silentLine, silentLine}));
    QCOMPARE(output, QString());
}

void TestExecuteCmd::aCommandThatCrashesOnceIsRunTwice()
{
    const QString command = QStringLiteral("echo x >> %1/runs; n=$(wc -l < %1/runs); echo run $n; "
                                           "[ $n -gt 1 ] || kill -SEGV $$; exit 6")
                                .arg(m_dir.path());
    LogCapture log;
    QString output;
    QVERIFY(Utils::executeCmd(command, output));
    QCOMPARE(log.takeLines(), (QStringList{crashLine(command, SIGSEGV), goodLine(command, 6)}));
    QCOMPARE(output, QStringLiteral("run 2\n"));
}

void TestExecuteCmd::bashMissingFromThePathIsTriedThreeTimes()
{
    const ScopedVariable path("PATH", QFile::encodeName(m_dir.path()));
    const QString command = QStringLiteral("echo word");
    LogCapture log;
    QElapsedTimer timer;
    timer.start();
    QString output;
    QVERIFY(!Utils::executeCmd(command, output));
    QVERIFY(timer.elapsed() < 10000); // at once, on however busy a machine
    const QString line = failedToStartLine(command);
    QCOMPARE(log.takeLines(), (QStringList{line, line, line}));
    QCOMPARE(output, QString());
}

void TestExecuteCmd::aGrandchildThatHoldsTheOutputOpenDoesNotDelayTheCall()
{
    const QString command = QStringLiteral("sleep 1000 & echo $!");
    LogCapture log;
    QElapsedTimer timer;
    timer.start();
    QString output;
    QVERIFY(Utils::executeCmd(command, output));
    const qint64 elapsed = timer.elapsed();
    QCOMPARE(log.takeLines(), QStringList{goodLine(command)});

    const pid_t grandchild = output.trimmed().toInt();
    QVERIFY(grandchild > 1);
    // It still runs, although nobody reads the pipe that it prints to.
    QCOMPARE(kill(grandchild, 0), 0);
    QCOMPARE(kill(grandchild, SIGKILL), 0);
    QVERIFY2(elapsed < 25000, qPrintable(QString::number(elapsed)));
}

void TestExecuteCmd::linesAreWrittenOnlyWhenTheLevelIsOn()
{
    LogCapture log;
    QLoggingCategory::setFilterRules("org.corvel.license.agent.warning=false");
    QString output;
    const bool result = Utils::executeCmd("echo word", output);
    QLoggingCategory::setFilterRules(QString());
    QVERIFY(result);
    QCOMPARE(output, QStringLiteral("word\n"));
    QCOMPARE(log.takeLines(), QStringList());
}

void TestExecuteCmd::noEventIsProcessedMeanwhile()
{
    QTimer timer;
    timer.setSingleShot(true);
    const QSignalSpy fired(&timer, &QTimer::timeout);
    timer.start(0);
    QTimer other;
    QVERIFY(QMetaObject::invokeMethod(&other, "start", Qt::QueuedConnection));
    QString output;
    QVERIFY(Utils::executeCmd("echo one; sleep 0.2; echo two", output));
    QVERIFY(!Utils::executeCmd("kill -9 $$", output));
    QCOMPARE(fired.count(), 0);
    QVERIFY(!other.isActive());
    QTRY_COMPARE(fired.count(), 1);
    QTRY_VERIFY(other.isActive());
}

// Not once for the start and once for the end.
void TestExecuteCmd::anAttemptWaitsOnce()
{
    const QString command = QStringLiteral("exec sleep 60");
    QString output;
    LogCapture log;
    waits.clear();
    recordsWaits = true;
    Utils::executeCmd(command, output);
    recordsWaits = false;
    QCOMPARE(waits, (QVector<qint64>{30, 45, 60}));
    QCOMPARE(log.take().size(), 5); // three of executeCmd's, and two of Qt's in between
}

SYNCSTATUS_TEST(TestExecuteCmd)
#include "tst_executecmd.moc"
