// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logreadprogram.h"
#include "testprogram.h"

#include <QFile>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

/// syncstatus-logread while it waits for more of a log.
class TestLogReadWaiting : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aLineComesOutAsSoonAsItHasCome();
    void anInterruptionStillGivesTheCounts_data();
    void anInterruptionStillGivesTheCounts();
    void anInterruptionJustBeforeTheWaitingIsNotLost();
    void anInterruptionWhileNobodyWritesToAFifoIsNoTrouble();
    void aFifoIsReadFromItsFirstWriterToItsLast();
    void anIgnoredInterruptionStaysIgnored();

private:
    LogReadFiles m_files;
};

void TestLogReadWaiting::initTestCase()
{
    if (!OpensslProgram::exists())
        QSKIP("there is no openssl program");
    m_files.makeKey();
}

void TestLogReadWaiting::aLineComesOutAsSoonAsItHasCome()
{
    LogRead logread(m_files.withKey());
    logread.start();
    const QByteArray text = m_files.key.logText("joe");
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

void TestLogReadWaiting::anInterruptionStillGivesTheCounts_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void TestLogReadWaiting::anInterruptionStillGivesTheCounts()
{
    QFETCH(const int, signal);
    LogRead logread(m_files.withKey());
    logread.start();
    logread.write(m_files.key.logText("joe") + "\n");
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

void TestLogReadWaiting::anInterruptionJustBeforeTheWaitingIsNotLost()
{
    LogRead logread(m_files.withKey());
    logread.preload(QStringLiteral("STANDIN_INTERRUPTS"));
    logread.start();
    QVERIFY(logread.waitForFinished(30000));
    QCOMPARE(logread.exitStatus(), QProcess::CrashExit);
    QCOMPARE(logread.exitCode(), SIGINT);
    QCOMPARE(logread.readAllStandardError(),
             QByteArray("syncstatus-logread: encrypted texts: 0 read, 0 not read\n"));
}

void TestLogReadWaiting::anInterruptionWhileNobodyWritesToAFifoIsNoTrouble()
{
    const QString fifo = m_files.path(QStringLiteral("silent"));
    QCOMPARE(mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    LogRead logread(m_files.withKey({fifo}));
    logread.preload(QStringLiteral("STANDIN_INTERRUPTS"));
    logread.start();
    QVERIFY(logread.waitForFinished(30000));
    QCOMPARE(logread.exitCode(), SIGINT);
    QCOMPARE(logread.readAllStandardError(),
             QByteArray("syncstatus-logread: encrypted texts: 0 read, 0 not read\n"));
}

void TestLogReadWaiting::aFifoIsReadFromItsFirstWriterToItsLast()
{
    const QString path = m_files.path(QStringLiteral("fifo"));
    QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    LogRead logread(m_files.withKey({path}));
    logread.start();
    const int fifo = open(QFile::encodeName(path).constData(), O_WRONLY | O_CLOEXEC);
    QVERIFY(fifo >= 0);
    // A writer is there and has written nothing yet.
    QVERIFY(!logread.waitForFinished(200));
    const QByteArray line = m_files.key.logText("joe") + "\n";
    QCOMPARE(write(fifo, line.constData(), size_t(line.size())), ssize_t(line.size()));
    QVERIFY(logread.waitForReadyRead(30000));
    QCOMPARE(write(fifo, line.constData(), size_t(line.size())), ssize_t(line.size()));
    close(fifo);
    QCOMPARE(logread.finish(), 0);
    QCOMPARE(logread.output, QByteArray("joe\njoe\n"));
}

void TestLogReadWaiting::anIgnoredInterruptionStaysIgnored()
{
    LogRead logread(m_files.withKey());
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

SYNCSTATUS_TEST(TestLogReadWaiting)
#include "tst_logreadwaiting.moc"
