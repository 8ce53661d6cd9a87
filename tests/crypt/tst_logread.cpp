// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "opensslkey.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <pty.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace {

const QString logreadProgram = QStringLiteral(LOGREAD_PROGRAM);

/// A pseudo-terminal.
class Terminal
{
public:
    Terminal()
    {
        if (openpty(&m_master, &m_slave, nullptr, nullptr, nullptr) != 0)
            qFatal("no pseudo-terminal");
    }
    ~Terminal()
    {
        close(m_master);
        close(m_slave);
    }
    Q_DISABLE_COPY(Terminal)

    int slave() const { return m_slave; }
    QString path() const { return QString::fromLocal8Bit(ttyname(m_slave)); }

    void type(const QByteArray &bytes) const
    {
        QCOMPARE(write(m_master, bytes.constData(), size_t(bytes.size())), ssize_t(bytes.size()));
    }

    /// What has been shown, once \a end is part of it.
    QByteArray shownUntil(const QByteArray &end) const
    {
        QByteArray shown;
        while (!shown.contains(end)) {
            fd_set readable;
            FD_ZERO(&readable);
            FD_SET(m_master, &readable);
            timeval patience{30, 0};
            char buffer[4096];
            if (select(m_master + 1, &readable, nullptr, nullptr, &patience) <= 0)
                break;
            const ssize_t size = read(m_master, buffer, sizeof buffer);
            if (size <= 0)
                break;
            shown.append(buffer, int(size));
        }
        return shown;
    }

private:
    int m_master = -1;
    int m_slave = -1;
};

/// The program in a session of its own, which has no terminal unless one is given.
class LogRead : public QProcess
{
    Q_OBJECT

public:
    explicit LogRead(const QStringList &arguments, const Terminal *terminal = nullptr)
        : m_terminal(terminal)
    {
        setProgram(logreadProgram);
        setArguments(arguments);
    }

    /// Runs to the end with \a input; the exit status, or -1.
    int run(const QByteArray &input = QByteArray())
    {
        start();
        write(input);
        closeWriteChannel();
        return finish();
    }

    /// Runs it with the stand-ins of logreadstandins.cpp, of which one is wanted.
    void preload(const QString &variable)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("LD_PRELOAD"), QStringLiteral(LOGREAD_STANDINS));
        environment.insert(variable, QStringLiteral("1"));
        // Of a build with it; the stand-ins come before its functions.
        environment.insert(QStringLiteral("ASAN_OPTIONS"),
                           environment.value(QStringLiteral("ASAN_OPTIONS")) +
                               QStringLiteral(":verify_asan_link_order=0"));
        setProcessEnvironment(environment);
    }

    int finish()
    {
        if (!waitForFinished(30000) || exitStatus() != NormalExit)
            return -1;
        output = readAllStandardOutput();
        error = readAllStandardError();
        return exitCode();
    }

    QByteArray output;
    QByteArray error;
    bool ignoresInterruption = false;

protected:
    void setupChildProcess() override
    {
        setsid();
        // Whatever the tests have inherited.
        signal(SIGINT, ignoresInterruption ? SIG_IGN : SIG_DFL);
        if (m_terminal)
            ioctl(m_terminal->slave(), TIOCSCTTY, 0);
    }

private:
    const Terminal *m_terminal;
};

} // namespace

class TestLogRead : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void standardInputIsRead();
    void logsAreReadInOrder();
    void aLineComesOutAsSoonAsItHasCome();
    void theExitStatusTellsWhetherAllWasRead_data();
    void theExitStatusTellsWhetherAllWasRead();
    void aLogThatCannotBeReadDoesNotStopTheOthers();
    void fileNamesAreAnyBytesInAnyLocale();
    void outputThatCannotBeWrittenIsTrouble();
    void badCommandLinesAreRefused_data();
    void badCommandLinesAreRefused();
    void helpIsGiven();
    void keysOfBothFormsAreTaken();
    void keysThatCannotBeUsedAreRefused_data();
    void keysThatCannotBeUsedAreRefused();
    void anEncryptedKeyAsksOnTheTerminal();
    void aWrongPassphraseIsRefused();
    void anEncryptedKeyWithoutATerminalIsRefused();
    void onATerminalControlCharactersAreShown();
    void anInterruptionStillGivesTheCounts_data();
    void anInterruptionStillGivesTheCounts();
    void anInterruptionJustBeforeTheWaitingIsNotLost();
    void anInterruptionWhileNobodyWritesToAFifoIsNoTrouble();
    void aFifoIsReadFromItsFirstWriterToItsLast();
    void anIgnoredInterruptionStaysIgnored();
    void anOpensslThatHidesDamageIsNamed();
    void memoryDoesNotGrowWithTheLog();

private:
    QString file(const QString &name, const QByteArray &content);
    QString encryptedKey();
    QStringList withKey(const QStringList &logs = QStringList());

    OpensslProgram m_openssl;
    QTemporaryDir m_folder;
    OpensslKey m_key;
    OpensslKey m_otherKey;
};

void TestLogRead::initTestCase()
{
    if (!OpensslProgram::exists())
        QSKIP("there is no openssl program");
    QVERIFY(m_folder.isValid());
    m_key = OpensslKey(&m_openssl, m_folder.path(), 3072);
    m_otherKey = OpensslKey(&m_openssl, m_folder.path(), 2048);
}

QString TestLogRead::file(const QString &name, const QByteArray &content)
{
    QFile file(m_folder.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(file.fileName()));
    return file.fileName();
}

QString TestLogRead::encryptedKey()
{
    return file(QStringLiteral("encrypted.pem"),
                m_openssl.protect(m_key.pair().privatePkcs8, false));
}

QStringList TestLogRead::withKey(const QStringList &logs)
{
    return QStringList({QStringLiteral("--key"), m_key.file()}) + logs;
}

void TestLogRead::standardInputIsRead()
{
    LogRead logread(withKey());
    const QByteArray rest("\"\r\n\0\xff no newline", 16);
    QCOMPARE(logread.run("user \"" + m_key.logText("joe") + rest), 0);
    QCOMPARE(logread.output, "user \"joe" + rest);
    QCOMPARE(logread.error,
             QByteArray("syncstatus-logread: encrypted texts: 1 read, 0 not read\n"));
}

void TestLogRead::logsAreReadInOrder()
{
    const QString one = file(QStringLiteral("one.log"), "one " + m_key.logText("first") + "\n");
    const QString two = file(QStringLiteral("two.log"), m_key.logText("second"));

    LogRead logread(withKey({one, QStringLiteral("-"), two, one}));
    QCOMPARE(logread.run("in between\n"), 0);
    QCOMPARE(logread.output, QByteArray("one first\nin between\nsecondone first\n"));
    QCOMPARE(logread.error,
             QByteArray("syncstatus-logread: encrypted texts: 3 read, 0 not read\n"));
}

void TestLogRead::aLineComesOutAsSoonAsItHasCome()
{
    LogRead logread(withKey());
    logread.start();
    const QByteArray text = m_key.logText("joe");
    const QVector<QPair<QByteArray, QByteArray>> lines = {
        {"plain\n", "plain\n"},
        {"user " + text + "\n", "user joe\n"},
        {"License\n", "License\n"},
        {text.left(100) + "\n", "[not decrypted (cut off or wrong key): " + text.left(100) + "]\n"},
        {text + text + "\n", "joejoe\n"},
    };
    for (const auto &[line, expected] : lines) {
        logread.write(line);
        QByteArray output;
        while (output.size() < expected.size() && logread.waitForReadyRead(30000))
            output += logread.readAllStandardOutput();
        QCOMPARE(output, expected);
    }
    logread.closeWriteChannel();
    QCOMPARE(logread.finish(), 1);
}

void TestLogRead::theExitStatusTellsWhetherAllWasRead_data()
{
    QTest::addColumn<QByteArray>("log");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("counts");

    const QByteArray read = m_key.logText("joe");
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

    LogRead logread(withKey());
    QCOMPARE(logread.run(log), status);
    QCOMPARE(logread.error, "syncstatus-logread: encrypted texts: " + counts + "\n");
}

void TestLogRead::aLogThatCannotBeReadDoesNotStopTheOthers()
{
    const QString missing = m_folder.filePath(QStringLiteral("missing.log"));
    const QString log = file(QStringLiteral("log"), m_key.logText("joe") + "\n");

    LogRead logread(withKey({missing, log, m_folder.path(), log}));
    QCOMPARE(logread.run(), 2);
    QCOMPARE(logread.output, QByteArray("joe\njoe\n"));
    QCOMPARE(logread.error, "syncstatus-logread: " + missing.toLocal8Bit() +
                                ": No such file or directory\nsyncstatus-logread: " +
                                m_folder.path().toLocal8Bit() +
                                ": Is a directory\n"
                                "syncstatus-logread: encrypted texts: 2 read, 0 not read\n");
}

void TestLogRead::fileNamesAreAnyBytesInAnyLocale()
{
    const QByteArray name = QFile::encodeName(m_folder.path()) + "/\xff-\xc3\xbc.log";
    std::FILE *const log = std::fopen(name.constData(), "we");
    QVERIFY(log);
    std::fputs("content\n", log);
    std::fclose(log);

    // QProcess has no arguments of any bytes; the shell has.
    QProcess shell;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    shell.setProcessEnvironment(environment);
    shell.start(QStringLiteral("/bin/sh"),
                {QStringLiteral("-c"), QStringLiteral("exec \"$0\" --key \"$1\" \"$2\"/*-*.log"),
                 logreadProgram, m_key.file(), m_folder.path()});
    QVERIFY(shell.waitForFinished());
    QCOMPARE(shell.readAllStandardOutput(), QByteArray("content\n"));
    QCOMPARE(shell.exitCode(), 0);
    QVERIFY(unlink(name.constData()) == 0);
}

void TestLogRead::outputThatCannotBeWrittenIsTrouble()
{
    LogRead logread(withKey());
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
        << withKey({QStringLiteral("--all")}) << QByteArray("Unknown option 'all'.");
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

void TestLogRead::keysOfBothFormsAreTaken()
{
    const QString pkcs1 = file(QStringLiteral("pkcs1.pem"), m_key.pair().privatePkcs1);
    for (const QString &key : {m_key.file(), pkcs1}) {
        LogRead logread({QStringLiteral("--key"), key});
        QCOMPARE(logread.run(m_key.logText("joe")), 0);
        QCOMPARE(logread.output, QByteArray("joe"));
    }
}

void TestLogRead::keysThatCannotBeUsedAreRefused_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QByteArray>("error");

    const QByteArray notPem("contains no private key in PEM form");

    QTest::newRow("missing") << m_folder.filePath(QStringLiteral("none.pem"))
                             << QByteArray("No such file or directory");
    QTest::newRow("a folder") << m_folder.path() << QByteArray("cannot be read");
    QTest::newRow("empty") << file(QStringLiteral("empty.pem"), QByteArray()) << notPem;
    QTest::newRow("not PEM") << file(QStringLiteral("garbage.pem"), "not a key\n") << notPem;
    QTest::newRow("half of one") << file(QStringLiteral("half.pem"),
                                         m_key.pair().privatePkcs8.left(500))
                                 << notPem;
    QTest::newRow("a public key") << file(QStringLiteral("public.pem"), m_key.pair().publicSpki)
                                  << notPem;
    QTest::newRow("not RSA") << file(QStringLiteral("ec.pem"), m_openssl.ecPair().privatePkcs8)
                             << QByteArray("not an RSA key");
}

void TestLogRead::keysThatCannotBeUsedAreRefused()
{
    QFETCH(const QString, key);
    QFETCH(const QByteArray, error);

    LogRead logread({QStringLiteral("--key"), key});
    QCOMPARE(logread.run("a line\n"), 2);
    QCOMPARE(logread.output, QByteArray());
    QCOMPARE(logread.error, "syncstatus-logread: " + key.toLocal8Bit() + ": " + error + "\n");
}

// The log comes in on standard input meanwhile, and nothing of it is taken for the passphrase.
void TestLogRead::anEncryptedKeyAsksOnTheTerminal()
{
    const Terminal terminal;
    LogRead logread({QStringLiteral("--key"), encryptedKey()}, &terminal);
    logread.start();
    logread.write("user " + m_key.logText("joe") + "\n");
    QVERIFY(terminal.shownUntil("phrase:").endsWith("pass phrase:"));
    terminal.type("secret\n");
    logread.closeWriteChannel();
    QCOMPARE(logread.finish(), 0);
    QCOMPARE(logread.output, QByteArray("user joe\n"));
}

void TestLogRead::aWrongPassphraseIsRefused()
{
    const Terminal terminal;
    const QString key = encryptedKey();
    LogRead logread({QStringLiteral("--key"), key}, &terminal);
    logread.start();
    terminal.shownUntil("phrase:");
    terminal.type("not the secret\n");
    QCOMPARE(logread.finish(), 2);
    QCOMPARE(logread.error,
             "syncstatus-logread: " + key.toLocal8Bit() + ": wrong passphrase or damaged key\n");
}

void TestLogRead::anEncryptedKeyWithoutATerminalIsRefused()
{
    QStringList keys{encryptedKey()};
    // Nor is a passphrase tried that nobody gave. Not every release makes such a key.
    const QByteArray emptyPassphrase =
        m_openssl.run({QStringLiteral("pkcs8"), QStringLiteral("-topk8"),
                       QStringLiteral("-passout"), QStringLiteral("pass:")},
                      m_key.pair().privatePkcs8);
    if (!emptyPassphrase.isEmpty())
        keys += file(QStringLiteral("empty.pem"), emptyPassphrase);
    for (const QString &key : qAsConst(keys)) {
        LogRead logread({QStringLiteral("--key"), key});
        QCOMPARE(logread.run("secret\n"), 2);
        QCOMPARE(logread.output, QByteArray());
        QCOMPARE(logread.error, "syncstatus-logread: " + key.toLocal8Bit() +
                                    ": the key has a passphrase, and there is no terminal to ask "
                                    "for it\n");
    }
}

void TestLogRead::onATerminalControlCharactersAreShown()
{
    const QByteArray log = "user " + m_key.logText("\x1b[2Jjoe") + "\n";
    const Terminal terminal;
    LogRead onTerminal(withKey());
    onTerminal.setStandardOutputFile(terminal.path());
    QCOMPARE(onTerminal.run(log), 0);
    QCOMPARE(terminal.shownUntil("\n"), QByteArray("user \\x1b[2Jjoe\r\n"));

    LogRead intoPipe(withKey());
    QCOMPARE(intoPipe.run(log), 0);
    QCOMPARE(intoPipe.output, QByteArray("user \x1b[2Jjoe\n"));
}

void TestLogRead::anInterruptionStillGivesTheCounts_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void TestLogRead::anInterruptionStillGivesTheCounts()
{
    QFETCH(const int, signal);
    LogRead logread(withKey());
    logread.start();
    logread.write(m_key.logText("joe") + "\n");
    QByteArray output;
    while (!output.endsWith('\n') && logread.waitForReadyRead(30000))
        output += logread.readAllStandardOutput();
    QCOMPARE(output, QByteArray("joe\n"));

    QCOMPARE(kill(pid_t(logread.processId()), signal), 0);
    QVERIFY(logread.waitForFinished(30000));
    QCOMPARE(logread.exitStatus(), QProcess::CrashExit);
    QCOMPARE(logread.exitCode(), signal);
    QCOMPARE(logread.readAllStandardError(),
             QByteArray("syncstatus-logread: encrypted texts: 1 read, 0 not read\n"));
}

void TestLogRead::anInterruptionJustBeforeTheWaitingIsNotLost()
{
    LogRead logread(withKey());
    logread.preload(QStringLiteral("STANDIN_INTERRUPTS"));
    logread.start();
    QVERIFY(logread.waitForFinished(30000));
    QCOMPARE(logread.exitStatus(), QProcess::CrashExit);
    QCOMPARE(logread.exitCode(), SIGINT);
    QCOMPARE(logread.readAllStandardError(),
             QByteArray("syncstatus-logread: encrypted texts: 0 read, 0 not read\n"));
}

void TestLogRead::anInterruptionWhileNobodyWritesToAFifoIsNoTrouble()
{
    const QString fifo = m_folder.filePath(QStringLiteral("silent"));
    QCOMPARE(mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    LogRead logread(withKey({fifo}));
    logread.preload(QStringLiteral("STANDIN_INTERRUPTS"));
    logread.start();
    QVERIFY(logread.waitForFinished(30000));
    QCOMPARE(logread.exitCode(), SIGINT);
    QCOMPARE(logread.readAllStandardError(),
             QByteArray("syncstatus-logread: encrypted texts: 0 read, 0 not read\n"));
}

void TestLogRead::aFifoIsReadFromItsFirstWriterToItsLast()
{
    const QString path = m_folder.filePath(QStringLiteral("fifo"));
    QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    LogRead logread(withKey({path}));
    logread.start();
    const int fifo = open(QFile::encodeName(path).constData(), O_WRONLY | O_CLOEXEC);
    QVERIFY(fifo >= 0);
    // The writer is there and has nothing to say yet.
    QVERIFY(!logread.waitForFinished(200));
    const QByteArray line = m_key.logText("joe") + "\n";
    QCOMPARE(write(fifo, line.constData(), size_t(line.size())), ssize_t(line.size()));
    QVERIFY(logread.waitForReadyRead(30000));
    QCOMPARE(write(fifo, line.constData(), size_t(line.size())), ssize_t(line.size()));
    close(fifo);
    QCOMPARE(logread.finish(), 0);
    QCOMPARE(logread.output, QByteArray("joe\njoe\n"));
}

void TestLogRead::anIgnoredInterruptionStaysIgnored()
{
    LogRead logread(withKey());
    logread.ignoresInterruption = true;
    logread.start();
    logread.write("one\n");
    QVERIFY(logread.waitForReadyRead(30000));
    QCOMPARE(kill(pid_t(logread.processId()), SIGINT), 0);
    logread.write("two\n");
    logread.closeWriteChannel();
    QCOMPARE(logread.finish(), 0);
    QCOMPARE(logread.output, QByteArray("one\ntwo\n"));
}

void TestLogRead::anOpensslThatHidesDamageIsNamed()
{
    LogRead logread(withKey());
    logread.preload(QStringLiteral("STANDIN_REJECTS_IMPLICITLY"));
    QCOMPARE(logread.run(m_key.logText("joe")), 0);
    QCOMPARE(logread.output, QByteArray("joe"));
    QCOMPARE(
        logread.error,
        QByteArray("syncstatus-logread: this OpenSSL does not report damaged texts: they can come "
                   "as random bytes and count as read\n"
                   "syncstatus-logread: encrypted texts: 1 read, 0 not read\n"));
}

namespace {

/// The most memory that the program has had at a time while it read \a log, in KiB; -1 on failure.
long peakMemory(const QString &key, const QString &log)
{
    const QByteArray programName = QFile::encodeName(logreadProgram);
    const QByteArray keyName = QFile::encodeName(key);
    const QByteArray logName = QFile::encodeName(log);
    const char *const arguments[] = {programName.constData(), "--key", keyName.constData(),
                                     logName.constData(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    const int failed = posix_spawn(&child, programName.constData(), &actions, nullptr,
                                   const_cast<char **>(arguments), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = -1;
    rusage usage{};
    if (failed || wait4(child, &status, 0, &usage) != child || status != 0)
        return -1;
    return usage.ru_maxrss;
}

} // namespace

// A line of 1 GiB without its end, with an encrypted text at its beginning and at its end. The file
// is a hole but for these.
void TestLogRead::memoryDoesNotGrowWithTheLog()
{
    const QByteArray text = m_key.logText("joe");
    const QString small = file(QStringLiteral("small.log"), text);
    QFile large(file(QStringLiteral("large.log"), text));
    QVERIFY(large.open(QIODevice::ReadWrite));
    QVERIFY(large.resize(qint64(1) << 30));
    QVERIFY(large.seek(large.size()));
    QCOMPARE(large.write(text), qint64(text.size()));
    large.close();

    const long forSmall = peakMemory(m_key.file(), small);
    const long forLarge = peakMemory(m_key.file(), large.fileName());
    QVERIFY(large.remove());
    QVERIFY(forSmall > 0);
    QVERIFY(forLarge > 0);
    QVERIFY2(forLarge < forSmall + 8192,
             qPrintable(QStringLiteral("%1 KiB, %2 KiB").arg(forSmall).arg(forLarge)));
}

QTEST_GUILESS_MAIN(TestLogRead)

#include "tst_logread.moc"
