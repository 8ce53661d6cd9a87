// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logreadprogram.h"
#include "testprogram.h"

#include <QTest>

/// The private keys that syncstatus-logread takes, and the question for a passphrase.
class TestLogReadKeys : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void keysOfBothFormsAreTaken();
    void keysThatCannotBeUsedAreRefused_data();
    void keysThatCannotBeUsedAreRefused();
    void anEncryptedKeyAsksOnTheTerminal();
    void aWrongPassphraseIsRefused();
    void anEncryptedKeyWithoutATerminalIsRefused();

private:
    QString encryptedKey() const
    {
        return m_files.file(QStringLiteral("encrypted.pem"),
                            m_files.openssl.protect(m_files.key.pair().privatePkcs8, false));
    }

    LogReadFiles m_files;
};

void TestLogReadKeys::initTestCase()
{
    if (!OpensslProgram::exists())
        QSKIP("there is no openssl program");
    m_files.makeKey();
}

void TestLogReadKeys::keysOfBothFormsAreTaken()
{
    const QString pkcs1 =
        m_files.file(QStringLiteral("pkcs1.pem"), m_files.key.pair().privatePkcs1);
    for (const QString &key : {m_files.key.file(), pkcs1}) {
        LogRead logread({QStringLiteral("--key"), key});
        QCOMPARE(logread.run(m_files.key.logText("joe")), 0);
        QCOMPARE(logread.output, QByteArray("joe"));
    }
}

void TestLogReadKeys::keysThatCannotBeUsedAreRefused_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QByteArray>("error");

    const QByteArray notPem("contains no private key in PEM form");

    QTest::newRow("missing") << m_files.path(QStringLiteral("none.pem"))
                             << QByteArray("No such file or directory");
    QTest::newRow("a folder") << m_files.folder.path() << QByteArray("cannot be read");
    QTest::newRow("empty") << m_files.file(QStringLiteral("empty.pem"), QByteArray()) << notPem;
    QTest::newRow("not PEM") << m_files.file(QStringLiteral("garbage.pem"), "not a key\n")
                             << notPem;
    QTest::newRow("half of one") << m_files.file(QStringLiteral("half.pem"),
                                                 m_files.key.pair().privatePkcs8.left(500))
                                 << notPem;
    QTest::newRow("a public key") << m_files.file(QStringLiteral("public.pem"),
                                                  m_files.key.pair().publicSpki)
                                  << notPem;
    QTest::newRow("not RSA") << m_files.file(QStringLiteral("ec.pem"),
                                             m_files.openssl.ecPair().privatePkcs8)
                             << QByteArray("not an RSA key");
}

void TestLogReadKeys::keysThatCannotBeUsedAreRefused()
{
    QFETCH(const QString, key);
    QFETCH(const QByteArray, error);

    LogRead logread({QStringLiteral("--key"), key});
    QCOMPARE(logread.run("a line\n"), 2);
    QCOMPARE(logread.output, QByteArray());
    QCOMPARE(logread.error, "syncstatus-logread: " + key.toLocal8Bit() + ": " + error + "\n");
}

// The log arrives on standard input meanwhile. It is not taken for the passphrase.
void TestLogReadKeys::anEncryptedKeyAsksOnTheTerminal()
{
    const Terminal terminal;
    LogRead logread({QStringLiteral("--key"), encryptedKey()}, &terminal);
    logread.start();
    logread.write("user " + m_files.key.logText("joe") + "\n");
    QVERIFY(terminal.shownUntil("phrase:").endsWith("pass phrase:"));
    terminal.type("secret\n");
    logread.closeWriteChannel();
    QCOMPARE(logread.finish(), 0);
    QCOMPARE(logread.output, QByteArray("user joe\n"));
}

void TestLogReadKeys::aWrongPassphraseIsRefused()
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

void TestLogReadKeys::anEncryptedKeyWithoutATerminalIsRefused()
{
    QStringList keys{encryptedKey()};
    // An empty passphrase is not tried either. Not every release of OpenSSL makes such a key.
    const QByteArray emptyPassphrase =
        m_files.openssl.run({QStringLiteral("pkcs8"), QStringLiteral("-topk8"),
                             QStringLiteral("-passout"), QStringLiteral("pass:")},
                            m_files.key.pair().privatePkcs8);
    if (!emptyPassphrase.isEmpty())
        keys += m_files.file(QStringLiteral("empty.pem"), emptyPassphrase);
    for (const QString &key : qAsConst(keys)) {
        LogRead logread({QStringLiteral("--key"), key});
        QCOMPARE(logread.run("secret\n"), 2);
        QCOMPARE(logread.output, QByteArray());
        QCOMPARE(logread.error, "syncstatus-logread: " + key.toLocal8Bit() +
                                    ": the key has a passphrase, and there is no terminal to ask "
                                    "for it\n");
    }
}

SYNCSTATUS_TEST(TestLogReadKeys)
#include "tst_logreadkeys.moc"
