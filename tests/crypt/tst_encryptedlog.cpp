// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logcapture.h"
#include "testprogram.h"

#include <syncstatus/rsacrypt.h>

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <openssl/err.h>

using logEncryption::RsaCrypt;

namespace {

const QString developmentKey = QStringLiteral(DEVELOPMENT_KEY);

/// Runs a program with \a input; its standard output, or a null array when it fails.
QByteArray outputOf(const QString &program, const QStringList &arguments,
                    const QByteArray &input = QByteArray())
{
    QProcess process;
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        qWarning() << program << process.errorString() << process.readAllStandardError();
        return QByteArray();
    }
    const QByteArray output = process.readAllStandardOutput();
    return output.isNull() ? QByteArray("") : output;
}

/// The text of the line that an agent logs about \a user.
QByteArray agentLine(const QString &user)
{
    LogCapture log;
    qWarning() << "user" << QString::fromLatin1(RsaCrypt::logEncryptToBase64(user.toLocal8Bit()))
               << "has logged in";
    return log.take().constLast().text.toLocal8Bit();
}

} // namespace

/// From an agent's line to its reader, with the key that the build has put into the library.
class TestEncryptedLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void theReaderGivesTheWordsOfALineInAFile();
    void theReaderGivesTheWordsOfALineInTheJournal_data();
    void theReaderGivesTheWordsOfALineInTheJournal();

private:
    QTemporaryDir m_folder;
};

void TestEncryptedLog::initTestCase()
{
    if (developmentKey.isEmpty())
        QSKIP("this build was given a key, whose private half is not here");
    if (!QFileInfo(developmentKey).isReadable())
        QSKIP("the build's development key is its owner's alone");
    QVERIFY(m_folder.isValid());
}

void TestEncryptedLog::cleanup()
{
    QCOMPARE(ERR_peek_error(), 0UL);
}

void TestEncryptedLog::theReaderGivesTheWordsOfALineInAFile()
{
    const QString user = QString::fromUtf8("Jürgen Groß <jg@example.org>");
    QFile log(m_folder.filePath(QStringLiteral("agent.log")));
    QVERIFY(log.open(QIODevice::WriteOnly));
    const QByteArray line = agentLine(user);
    QVERIFY(line.startsWith("user \"LicenseLogEncryptSign"));
    QVERIFY(!line.contains("example.org"));
    log.write("Nov 21 00:00:00 host agent[42]: " + line + "\n");
    log.close();

    QCOMPARE(outputOf(QStringLiteral(LOGREAD_PROGRAM),
                      {QStringLiteral("--key"), developmentKey, log.fileName()}),
             "Nov 21 00:00:00 host agent[42]: user \"" + user.toUtf8() + "\" has logged in\n");
}

void TestEncryptedLog::theReaderGivesTheWordsOfALineInTheJournal_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QByteArray>("expected");

    const QByteArray message = "user \"Jürgen Groß\" has logged in";
    QTest::newRow("short") << QStringLiteral("short")
                           << "Nov 21 00:00:00 host agent[42]: " + message + "\n";
    QTest::newRow("cat") << QStringLiteral("cat") << message + "\n";
    QTest::newRow("verbose") << QStringLiteral("verbose") << "    MESSAGE=" + message + "\n";
    QTest::newRow("export") << QStringLiteral("export") << "MESSAGE=" + message + "\n";
    QTest::newRow("json") << QStringLiteral("json")
                          << QByteArray(R"("MESSAGE":"user \"Jürgen Groß\" has logged in")");
}

// A journal file of its own, made by the journal's own program, so that no journal has to run and
// the machine's is left alone.
void TestEncryptedLog::theReaderGivesTheWordsOfALineInTheJournal()
{
    QFETCH(const QString, format);
    QFETCH(const QByteArray, expected);
    const QString writer = QStandardPaths::findExecutable(
        QStringLiteral("systemd-journal-remote"),
        {QStringLiteral("/usr/lib/systemd"), QStringLiteral("/lib/systemd")});
    const QString journalctl = QStandardPaths::findExecutable(QStringLiteral("journalctl"));
    if (writer.isEmpty() || journalctl.isEmpty())
        QSKIP("systemd-journal-remote or journalctl is not installed");

    const QByteArray entry = "__REALTIME_TIMESTAMP=1763683200000000\n" // 2025-11-21
                             "__MONOTONIC_TIMESTAMP=1000000\n"
                             "_BOOT_ID=0123456789abcdef0123456789abcdef\n"
                             "_HOSTNAME=host\n"
                             "SYSLOG_IDENTIFIER=agent\n"
                             "_PID=42\n"
                             "PRIORITY=4\n"
                             "MESSAGE=" +
                             agentLine(QString::fromUtf8("Jürgen Groß")) + "\n\n";
    const QString journal = m_folder.filePath(format + QStringLiteral(".journal"));
    QVERIFY(!outputOf(writer, {QStringLiteral("--output=") + journal, QStringLiteral("-")}, entry)
                 .isNull());
    const QByteArray shown =
        outputOf(journalctl, {QStringLiteral("--no-pager"), QStringLiteral("--file=") + journal,
                              QStringLiteral("--output=") + format});
    QVERIFY(shown.contains("LicenseLogEncryptSign"));

    const QByteArray read =
        outputOf(QStringLiteral(LOGREAD_PROGRAM), {QStringLiteral("--key"), developmentKey}, shown);

    QVERIFY2(read.contains(expected), read.constData());
    QVERIFY(!read.contains("LicenseLogEncryptSign"));
}

SYNCSTATUS_TEST(TestEncryptedLog)
#include "tst_encryptedlog.moc"
