// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logreadprogram.h"
#include "testprogram.h"

#include <QFile>
#include <QProcess>
#include <QTest>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Reads \a log. Returns the most memory that the program had at a time, in KiB, or -1.
long peakMemory(const QString &key, const QString &log)
{
    const QByteArray keyName = QFile::encodeName(key);
    const QByteArray logName = QFile::encodeName(log);
    const char *const arguments[] = {LOGREAD_PROGRAM, "--key", keyName.constData(),
                                     logName.constData(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    const int failed = posix_spawn(&child, LOGREAD_PROGRAM, &actions, nullptr,
                                   const_cast<char **>(arguments), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = -1;
    rusage usage{};
    if (failed || wait4(child, &status, 0, &usage) != child || status != 0)
        return -1;
    return usage.ru_maxrss;
}

} // namespace

/// What syncstatus-logread does with whole logs.
class TestLogRead : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void standardInputIsRead();
    void logsAreReadInOrder();
    void theExitStatusTellsWhetherAllWasRead_data();
    void theExitStatusTellsWhetherAllWasRead();
    void aLogThatCannotBeReadDoesNotStopTheOthers();
    void fileNamesAreAnyBytesInAnyLocale();
    void outputThatCannotBeWrittenIsTrouble();
    void badCommandLinesAreRefused_data();
    void badCommandLinesAreRefused();
    void helpIsGiven();
    void onATerminalControlCharactersAreShown();
    void anOpensslThatHidesDamageIsNamed();
    void memoryDoesNotGrowWithTheLog();

private:
    OpensslKey m_otherKey;
    LogReadFiles m_files;
};

void TestLogRead::initTestCase()
{
    if (!OpensslProgram::exists())
        QSKIP("there is no openssl program");
    m_files.makeKey();
    m_otherKey = OpensslKey(&m_files.openssl, m_files.folder.path(), 2048);
}

void TestLogRead::standardInputIsRead()
{
    LogRead logread(m_files.withKey());
    const QByteArray rest("\"\r\n\0\xff no newline", 16);
    QCOMPARE(logread.run("user \"" + m_files.key.logText("joe") + rest), 0);
    QCOMPARE(logread.output, "user \"joe" + rest);
    QCOMPARE(logread.error,
             QByteArray("syncstatus-logread: encrypted texts: 1 read, 0 not read\n"));
}

void TestLogRead::logsAreReadInOrder()
{
    const QString one =
        m_files.file(QStringLiteral("one.log"), "one " + m_files.key.logText("first") + "\n");
    const QString two = m_files.file(QStringLiteral("two.log"), m_files.key.logText("second"));

    LogRead logread(m_files.withKey({one, QStringLiteral("-"), two, one}));
    QCOMPARE(logread.run("in between\n"), 0);
    QCOMPARE(logread.output, QByteArray("one first\nin between\nsecondone first\n"));
    QCOMPARE(logread.error,
             QByteArray("syncstatus-logread: encrypted texts: 3 read, 0 not read\n"));
}

void TestLogRead::theExitStatusTellsWhetherAllWasRead_data()
{
    QTest::addColumn<QByteArray>("log");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("counts");

    const QByteArray read = m_files.key.logText("joe");
    const QByteArray other = m_otherKey.logText("joe");
    QTest::newRow("nothing") << QByteArray() << 0 << QByteArray("0 read, 0 not read");
    QTest::newRow("no encrypted text")
        << QByteArray("LicenseLogEncryptSign\n") << 0 << QByteArray("0 read, 0 not read");
    QTest::newRow("all read") << read + " " + read + "\n" << 0 << QByteArray("2 read, 0 not read");
    QTest::newRow("another key's") << read + other << 1 << QByteArray("1 read, 1 not read");
    QTest::newRow("cut off") << read.left(200) + "\n" + read << 1
                             << QByteArray("1 read, 1 not read");
    QByteArray damaged = read;
    damaged[100] = damaged[100] == 'A' ? 'B' : 'A';
    QTest::newRow("damaged") << damaged << 1 << QByteArray("0 read, 1 not read");
}

void TestLogRead::theExitStatusTellsWhetherAllWasRead()
{
    QFETCH(const QByteArray, log);
    QFETCH(const int, status);
    QFETCH(const QByteArray, counts);

    LogRead logread(m_files.withKey());
    QCOMPARE(logread.run(log), status);
    QCOMPARE(logread.error, "syncstatus-logread: encrypted texts: " + counts + "\n");
}

void TestLogRead::aLogThatCannotBeReadDoesNotStopTheOthers()
{
    const QString missing = m_files.path(QStringLiteral("missing.log"));
    const QString log = m_files.file(QStringLiteral("log"), m_files.key.logText("joe") + "\n");

    LogRead logread(m_files.withKey({missing, log, m_files.folder.path(), log}));
    QCOMPARE(logread.run(), 2);
    QCOMPARE(logread.output, QByteArray("joe\njoe\n"));
    QCOMPARE(logread.error, "syncstatus-logread: " + missing.toLocal8Bit() +
                                ": No such file or directory\nsyncstatus-logread: " +
                                m_files.folder.path().toLocal8Bit() +
                                ": Is a directory\n"
                                "syncstatus-logread: encrypted texts: 2 read, 0 not read\n");
}

void TestLogRead::fileNamesAreAnyBytesInAnyLocale()
{
    const QByteArray name = QFile::encodeName(m_files.folder.path()) + "/\xff-\xc3\xbc.log";
    std::FILE *const log = std::fopen(name.constData(), "we");
    QVERIFY(log);
    std::fputs("content\n", log);
    std::fclose(log);

    // QProcess cannot pass such a name; the shell can.
    QProcess shell;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    shell.setProcessEnvironment(environment);
    shell.start(QStringLiteral("/bin/sh"),
                {QStringLiteral("-c"), QStringLiteral("exec \"$0\" --key \"$1\" \"$2\"/*-*.log"),
                 QStringLiteral(LOGREAD_PROGRAM), m_files.key.file(), m_files.folder.path()});
    QVERIFY(shell.waitForFinished());
    QCOMPARE(shell.readAllStandardOutput(), QByteArray("content\n"));
    QCOMPARE(shell.exitCode(), 0);
    QVERIFY(unlink(name.constData()) == 0);
}

void TestLogRead::outputThatCannotBeWrittenIsTrouble()
{
    LogRead logread(m_files.withKey());
    logread.setStandardOutputFile(QStringLiteral("/dev/full"));
    QCOMPARE(logread.run("a line\n"), 2);
    QCOMPARE(logread.error,
             QByteArray("syncstatus-logread: standard output: No space left on device\n"));
}

void TestLogRead::badCommandLinesAreRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("error");

    QTest::newRow("no key") << QStringList()
                            << QByteArray("give the private key with --key FILE (see --help)");
    QTest::newRow("key without a file")
        << QStringList({QStringLiteral("--key")}) << QByteArray("Missing value after '--key'.");
    QTest::newRow("unknown option")
        << m_files.withKey({QStringLiteral("--all")}) << QByteArray("Unknown option 'all'.");
}

void TestLogRead::badCommandLinesAreRefused()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const QByteArray, error);

    LogRead logread(arguments);
    QCOMPARE(logread.run("a line\n"), 2);
    QCOMPARE(logread.output, QByteArray());
    QCOMPARE(logread.error, "syncstatus-logread: " + error + "\n");
}

void TestLogRead::helpIsGiven()
{
    LogRead help({QStringLiteral("--help")});
    QCOMPARE(help.run(), 0);
    QVERIFY(help.output.contains("--key <FILE>"));
    QVERIFY(help.output.contains("Exit status"));
    QCOMPARE(help.error, QByteArray());
}

void TestLogRead::onATerminalControlCharactersAreShown()
{
    const QByteArray log = "user " + m_files.key.logText("\x1b[2Jjoe") + "\n";
    const Terminal terminal;
    LogRead onTerminal(m_files.withKey());
    onTerminal.setStandardOutputFile(terminal.path());
    QCOMPARE(onTerminal.run(log), 0);
    QCOMPARE(terminal.shownUntil("\n"), QByteArray("user \\x1b[2Jjoe\r\n"));

    LogRead intoPipe(m_files.withKey());
    QCOMPARE(intoPipe.run(log), 0);
    QCOMPARE(intoPipe.output, QByteArray("user \x1b[2Jjoe\n"));
}

void TestLogRead::anOpensslThatHidesDamageIsNamed()
{
    LogRead logread(m_files.withKey());
    logread.preload(QStringLiteral("STANDIN_REJECTS_IMPLICITLY"));
    QCOMPARE(logread.run(m_files.key.logText("joe")), 0);
    QCOMPARE(logread.output, QByteArray("joe"));
    QCOMPARE(
        logread.error,
        QByteArray("syncstatus-logread: this OpenSSL does not report damaged texts: they can come "
                   "as random bytes and count as read\n"
                   "syncstatus-logread: encrypted texts: 1 read, 0 not read\n"));
}

// A line of 256 MiB with an encrypted text at its beginning and at its end. The rest of the file is
// a hole.
void TestLogRead::memoryDoesNotGrowWithTheLog()
{
    const QByteArray text = m_files.key.logText("joe");
    const QString small = m_files.file(QStringLiteral("small.log"), text);
    QFile large(m_files.file(QStringLiteral("large.log"), text));
    QVERIFY(large.open(QIODevice::ReadWrite));
    QVERIFY(large.resize(qint64(256) << 20));
    QVERIFY(large.seek(large.size()));
    QCOMPARE(large.write(text), qint64(text.size()));
    large.close();

    const long forSmall = peakMemory(m_files.key.file(), small);
    const long forLarge = peakMemory(m_files.key.file(), large.fileName());
    QVERIFY(large.remove());
    QVERIFY(forSmall > 0);
    QVERIFY(forLarge > 0);
    QVERIFY2(forLarge < forSmall + 8192,
             qPrintable(QStringLiteral("%1 KiB, %2 KiB").arg(forSmall).arg(forLarge)));
}

SYNCSTATUS_TEST(TestLogRead)
#include "tst_logread.moc"
