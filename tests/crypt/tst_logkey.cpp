// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "opensslprogram.h"
#include "testprogram.h"

#include <custompluginmanager/secretkeysplit.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

namespace {

// The program's exit statuses, as its --help has them.
constexpr int done = 0;
constexpr int failed = 1;
constexpr int wrongUsage = 2;

struct Outcome
{
    int status;
    QByteArray output;
    QByteArray error;
};

/// The key tool, run as by somebody who does not mind what others can read.
class KeyTool : public QProcess
{
public:
    explicit KeyTool(const QStringList &arguments)
    {
        setProgram(QStringLiteral(SYNCSTATUS_TEST_LOGKEY));
        setArguments(arguments);
    }

    Outcome outcome()
    {
        start();
        return finished();
    }

    Outcome finished()
    {
        if (!waitForFinished(120000) || exitStatus() != NormalExit)
            return {-1, {}, errorString().toLocal8Bit()};
        return {exitCode(), readAllStandardOutput(), readAllStandardError()};
    }

protected:
    void setupChildProcess() override { umask(0); }
};

Outcome run(const QStringList &arguments)
{
    return KeyTool(arguments).outcome();
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestLogKey : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void piecesJoinToTheKeyAlone_data();
    void piecesJoinToTheKeyAlone();
    void oneKeyGivesOneSetOfPieces();
    void piecesGoToAFile();
    void whatIsNoFileIsNotReplaced();
    void whatTheLinkLeadsToIsReplaced();
    void afterAFailedWriteTheOldFileIsThere();
    void whatIsNoPublicKeyIsNotSplit_data();
    void whatIsNoPublicKeyIsNotSplit();
    void aShortKeyIsWarnedAbout();
    void lostOutputIsAnError();
    void goodPiecesAreNamed();
    void theKeyInALibraryIsNamed();
    void badPiecesAreRefused_data();
    void badPiecesAreRefused();
    void wrongCommandLinesAreRefused_data();
    void wrongCommandLinesAreRefused();
    void helpTellsTheExitStatuses();

private:
    QString path(const char *name) const { return m_folder->filePath(QString::fromLatin1(name)); }
    QString write(const char *name, const QByteArray &content) const;
    QStringList names() const
    {
        return QDir(m_folder->path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }
    QByteArray named(const QByteArray &publicKey);

    OpensslProgram m_openssl;
    RsaPair m_pair;
    QScopedPointer<QTemporaryDir> m_folder;
};

void TestLogKey::initTestCase()
{
    if (!OpensslProgram::exists())
        QSKIP("there is no openssl program to make keys and to be the other side");
    m_pair = m_openssl.rsaPair(2048);
}

void TestLogKey::init()
{
    m_folder.reset(new QTemporaryDir);
    QVERIFY(m_folder->isValid());
}

void TestLogKey::cleanup()
{
    m_folder.reset();
}

QString TestLogKey::write(const char *name, const QByteArray &content) const
{
    QFile file(path(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", name);
    return file.fileName();
}

QByteArray TestLogKey::named(const QByteArray &publicKey)
{
    const QByteArray der = m_openssl.run({QStringLiteral("pkey"), QStringLiteral("-pubin"),
                                          QStringLiteral("-outform"), QStringLiteral("DER")},
                                         publicKey);
    return "RSA public key of 2048 bits, SHA-256 " +
           QCryptographicHash::hash(der, QCryptographicHash::Sha256).toHex();
}

void TestLogKey::piecesJoinToTheKeyAlone_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::newRow("SubjectPublicKeyInfo") << m_pair.publicSpki;
    QTest::newRow("PKCS#1") << m_pair.publicPkcs1;
    QTest::newRow("with text around it")
        << "BEGIN RSA PUBLIC KEY (not)\n" + m_pair.publicSpki + m_pair.privatePkcs8;
    QTest::newRow("with other line ends") << QByteArray(m_pair.publicSpki).replace("\n", "\r\n");
}

void TestLogKey::piecesJoinToTheKeyAlone()
{
    QFETCH(QByteArray, file);
    const Outcome outcome = run({QStringLiteral("split"), write("public.pem", file)});
    QCOMPARE(outcome.error, named(m_pair.publicSpki) + '\n');
    QCOMPARE(outcome.status, done);
    QVERIFY(outcome.output.endsWith('\n'));
    const QStringList pieces =
        QString::fromLatin1(outcome.output).chopped(1).split(QLatin1Char('\n'));
    QCOMPARE(pieces.size(), 3);
    for (int i = 0; i < 3; ++i)
        QVERIFY(pieces.at(i).startsWith(QStringLiteral("3-%1-").arg(i + 1)));
    QCOMPARE(SecretkeySplit::recoverSecretKey(pieces), m_pair.publicSpki);
}

void TestLogKey::oneKeyGivesOneSetOfPieces()
{
    const QString spki = write("public.pem", m_pair.publicSpki);
    const QString pkcs1 = write("pkcs1.pem", m_pair.publicPkcs1);

    const QByteArray pieces = run({QStringLiteral("split"), spki}).output;
    QVERIFY(!pieces.isEmpty());
    QCOMPARE(run({QStringLiteral("split"), spki}).output, pieces);
    QCOMPARE(run({QStringLiteral("split"), pkcs1}).output, pieces);
}

void TestLogKey::piecesGoToAFile()
{
    const QString key = write("public.pem", m_pair.publicSpki);
    const QStringList command = {QStringLiteral("split"), QStringLiteral("--output"),
                                 path("pieces"), key};
    const Outcome outcome = run(command);
    QCOMPARE(outcome.status, done);
    QCOMPARE(outcome.output, QByteArray());
    QCOMPARE(outcome.error, named(m_pair.publicSpki) + '\n');
    const QByteArray pieces = contentOf(path("pieces"));
    QCOMPARE(pieces.count('\n'), 3);

    const Outcome again = run(command);
    QCOMPARE(again.status, failed);
    QCOMPARE(again.error, "syncstatus-logkey: " + path("pieces").toUtf8() +
                              ": exists already (--force replaces it)\n");
    QCOMPARE(contentOf(path("pieces")), pieces);
    write("pieces", "old");
    QCOMPARE(run(command + QStringList{QStringLiteral("--force")}).status, done);
    QCOMPARE(contentOf(path("pieces")), pieces);
    QCOMPARE(names(), (QStringList{QStringLiteral("pieces"), QStringLiteral("public.pem")}));
}

void TestLogKey::whatIsNoFileIsNotReplaced()
{
    const QString key = write("public.pem", m_pair.publicSpki);
    QCOMPARE(mkfifo(QFile::encodeName(path("fifo")).constData(), 0600), 0);
    QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("folder")));
    QVERIFY(QFile::link(path("fifo"), path("link to fifo")));
    const QStringList before = names();
    for (const char *name : {"fifo", "folder", "link to fifo"}) {
        const Outcome outcome = run({QStringLiteral("split"), QStringLiteral("--force"),
                                     QStringLiteral("--output"), path(name), key});
        QCOMPARE(outcome.status, failed);
        QCOMPARE(outcome.error,
                 "syncstatus-logkey: " + path(name).toUtf8() + ": is not a regular file\n");
    }
    QCOMPARE(names(), before);
    struct stat status = {};
    QCOMPARE(lstat(QFile::encodeName(path("fifo")).constData(), &status), 0);
    QVERIFY(S_ISFIFO(status.st_mode));
    QVERIFY(QFileInfo(path("link to fifo")).isSymLink());

    const Outcome nowhere =
        run({QStringLiteral("split"), QStringLiteral("--output"), path("none/pieces"), key});
    QCOMPARE(nowhere.status, failed);
    QCOMPARE(nowhere.error, "syncstatus-logkey: " + path("none/pieces").toUtf8() +
                                ": No such file or directory\n");
}

void TestLogKey::whatTheLinkLeadsToIsReplaced()
{
    const QString key = write("public.pem", m_pair.publicSpki);
    write("file", "old");
    QVERIFY(QFile::link(path("file"), path("link")));
    QVERIFY(QFile::link(path("nowhere"), path("dangling link")));
    const auto split = [&](const char *name, const QStringList &more) {
        return run(
            QStringList{QStringLiteral("split"), QStringLiteral("--output"), path(name), key} +
            more);
    };
    for (const char *name : {"link", "dangling link"}) {
        QCOMPARE(split(name, {}).error, "syncstatus-logkey: " + path(name).toUtf8() +
                                            ": exists already (--force replaces it)\n");
        QCOMPARE(split(name, {QStringLiteral("--force")}).status, done);
        QVERIFY(QFileInfo(path(name)).isSymLink());
    }
    QCOMPARE(contentOf(path("file")).count('\n'), 3);
    QCOMPARE(contentOf(path("nowhere")), contentOf(path("file")));
}

void TestLogKey::afterAFailedWriteTheOldFileIsThere()
{
    const QString key = write("public.pem", m_pair.publicSpki);
    const QString file = write("file", "old");
    const QStringList before = names();
    // Files may have no byte: as on a full disk, writing fails.
    KeyTool tool({QStringLiteral("-c"),
                  QStringLiteral("trap '' XFSZ; ulimit -f 0; exec \"$0\" \"$@\""),
                  QStringLiteral(SYNCSTATUS_TEST_LOGKEY), QStringLiteral("split"),
                  QStringLiteral("--force"), QStringLiteral("--output"), file, key});
    tool.setProgram(QStringLiteral("bash"));
    const Outcome outcome = tool.outcome();
    // A build that counts lines complains of its own files, too.
    QCOMPARE(outcome.error.left(outcome.error.indexOf('\n') + 1),
             "syncstatus-logkey: " + file.toUtf8() + ": File too large\n");
    QCOMPARE(outcome.status, failed);
    QCOMPARE(contentOf(file), QByteArray("old"));
    QCOMPARE(names(), before);
}

void TestLogKey::whatIsNoPublicKeyIsNotSplit_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("nothing") << QByteArray() << QByteArray("not a key in PEM form");
    QTest::newRow("words") << QByteArray("words") << QByteArray("not a key in PEM form");
    QTest::newRow("half a key") << m_pair.publicSpki.left(200)
                                << QByteArray("not a key in PEM form");
    QTest::newRow("a private key")
        << m_pair.privatePkcs8 << QByteArray("not a public key but a \"PRIVATE KEY\"\n");
    QTest::newRow("a PKCS#1 private key")
        << m_pair.privatePkcs1 << QByteArray("not a public key but a \"RSA PRIVATE KEY\"\n");
    QTest::newRow("a private key before the public one")
        << m_pair.privatePkcs8 + m_pair.publicSpki
        << QByteArray("not a public key but a \"PRIVATE KEY\"\n");
    QTest::newRow("an EC key") << m_openssl.ecPair().publicSpki << QByteArray("not an RSA key\n");
    QTest::newRow("a damaged key")
        << QByteArray("-----BEGIN PUBLIC KEY-----\nMAYCAQUCAQM=\n-----END PUBLIC KEY-----\n")
        << QByteArray("the public key is damaged: "); // and what OpenSSL says to it
    QTest::newRow("a damaged PKCS#1 key")
        << QByteArray("-----BEGIN RSA PUBLIC KEY-----\nd29yZHM=\n-----END RSA PUBLIC KEY-----\n")
        << QByteArray("the public key is damaged");
    QTest::newRow("more than a key")
        << QByteArray(
               "-----BEGIN RSA PUBLIC KEY-----\nMAYCAQUCAQMA\n-----END RSA PUBLIC KEY-----\n")
        << QByteArray("the public key is damaged\n");
}

void TestLogKey::whatIsNoPublicKeyIsNotSplit()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, reason);
    const QString file = write("file", content);
    const Outcome outcome =
        run({QStringLiteral("split"), QStringLiteral("--output"), path("pieces"), file});
    QCOMPARE(outcome.status, failed);
    QCOMPARE(outcome.output, QByteArray());
    QVERIFY2(outcome.error.startsWith("syncstatus-logkey: " + file.toUtf8() + ": " + reason),
             outcome.error.constData());
    QCOMPARE(outcome.error.count('\n'), 1);
    QCOMPARE(names(), QStringList{QStringLiteral("file")});

    const Outcome missing = run({QStringLiteral("split"), path("missing")});
    QCOMPARE(missing.status, failed);
    QCOMPARE(missing.error,
             "syncstatus-logkey: " + path("missing").toUtf8() + ": No such file or directory\n");
}

void TestLogKey::aShortKeyIsWarnedAbout()
{
    const QString key = write("public.pem", m_openssl.rsaPair(1024).publicSpki);
    const QByteArray warning =
        "syncstatus-logkey: warning: a key of 1024 bits can be broken; use 3072 or more\n";
    const Outcome splitting =
        run({QStringLiteral("split"), QStringLiteral("--output"), path("pieces"), key});
    QCOMPARE(splitting.status, done);
    QVERIFY2(splitting.error.startsWith(warning + "RSA public key of 1024 bits, SHA-256 "),
             splitting.error.constData());
    const Outcome checking = run({QStringLiteral("check"), path("pieces")});
    QCOMPARE(checking.status, done);
    QCOMPARE(checking.error, warning);
}

void TestLogKey::lostOutputIsAnError()
{
    KeyTool tool({QStringLiteral("split"), write("public.pem", m_pair.publicSpki)});
    tool.setStandardOutputFile(QStringLiteral("/dev/full"));
    const Outcome outcome = tool.outcome();
    QCOMPARE(outcome.status, failed);
    QCOMPARE(outcome.error,
             QByteArray("syncstatus-logkey: standard output: No space left on device\n"));
}

void TestLogKey::goodPiecesAreNamed()
{
    const QByteArray pieces =
        run({QStringLiteral("split"), write("public.pem", m_pair.publicSpki)}).output;
    const QByteArray expected = named(m_pair.publicSpki) + '\n';

    // What the library passes over or does not come to is no matter to it.
    const auto protectedBlock = [](const QByteArray &name) {
        return "-----BEGIN " + name + "-----\nProc-Type: 4,ENCRYPTED\n\nAAAA\n-----END " + name +
               "-----\n";
    };
    const QStringList among = SecretkeySplit::splitSecretKey(
        protectedBlock("THING") + m_pair.publicSpki + protectedBlock("PUBLIC KEY"), 3);

    // As the build takes them.
    const QByteArray crlf = QByteArray(pieces).replace("\n", "\r\n");
    for (const QByteArray &content : {pieces, pieces.chopped(1), crlf, crlf.chopped(2),
                                      among.join(QLatin1Char('\n')).toLatin1()}) {
        const Outcome outcome = run({QStringLiteral("check"), write("pieces", content)});
        QCOMPARE(outcome.error, QByteArray());
        QCOMPARE(outcome.output, expected);
        QCOMPARE(outcome.status, done);
    }
}

void TestLogKey::theKeyInALibraryIsNamed()
{
    const QString pieces = path("pieces");
    QCOMPARE(run({QStringLiteral("split"), QStringLiteral("--output"), pieces,
                  write("public.pem", m_pair.publicSpki)})
                 .status,
             done);
    const QString library = path("lib.so");
    const QByteArray named = this->named(m_pair.publicSpki);
    for (const bool isDevelopmentKey : {false, true}) {
        // As the build does it.
        QProcess build;
        build.setWorkingDirectory(m_folder->path());
        build.start(
            QStringLiteral("/bin/sh"),
            {QStringLiteral("-c"),
             QStringLiteral("cmake -D PIECES=pieces -D HEADER=pieces.h -D DEVELOPMENT=\"$1\" "
                            "-P \"$2\" && echo '#include \"pieces.h\"\n"
                            "extern const char *const pieces[]; const char *const pieces[] = "
                            "{logKeyPieces::one, "
                            "logKeyPieces::two, logKeyPieces::three};' > lib.cpp && "
                            "\"$3\" -shared -fPIC -O2 -s lib.cpp -o lib.so"),
             QStringLiteral("sh"), QString::number(int(isDevelopmentKey)),
             QStringLiteral(SYNCSTATUS_TEST_HEADER_SCRIPT),
             QStringLiteral(SYNCSTATUS_TEST_COMPILER)});
        QVERIFY(build.waitForFinished(60000));
        QVERIFY2(build.exitCode() == 0, build.readAllStandardError().constData());
        const Outcome outcome = run({QStringLiteral("check"), library});
        QCOMPARE(outcome.error, QByteArray());
        QCOMPARE(outcome.output, named + (isDevelopmentKey ? ", a development key\n" : "\n"));
        QCOMPARE(outcome.status, done);
    }
    const Outcome outcome = run({QStringLiteral("check"), QStringLiteral("/bin/sh")});
    QCOMPARE(
        outcome.error,
        QByteArray("syncstatus-logkey: /bin/sh: this program or library contains no pieces\n"));
    QCOMPARE(outcome.status, failed);
}

void TestLogKey::badPiecesAreRefused_data()
{
    QTest::addColumn<QByteArrayList>("pieces");
    QTest::addColumn<QByteArray>("reason");

    const auto split = [](const QByteArray &secret) {
        QByteArrayList lines;
        const QStringList pieces = SecretkeySplit::splitSecretKey(secret, 3);
        for (const QString &piece : pieces)
            lines += piece.toLatin1();
        return lines;
    };
    const QByteArrayList a = split(m_pair.publicSpki);
    const QByteArrayList b = split(m_pair.publicSpki.toUpper());
    const QByteArray noJoin =
        "the pieces do not join: one of them is damaged, doubled or from another split\n";
    const QByteArray count = "3 pieces are needed, one a line, but there are ";
    const QByteArray noKey = "the pieces join, but not to a key: ";
    QByteArrayList damaged = a;
    damaged[1][20] = damaged.at(1).at(20) == '0' ? '1' : '0';
    QTest::newRow("from two splits") << QByteArrayList{a.at(0), b.at(1), b.at(2)} << noJoin;
    const QByteArray first = "line 1 does not begin with \"3-1-\"\n";
    QTest::newRow("doubled") << QByteArrayList{a.at(0), a.at(1), a.at(1)}
                             << QByteArray("line 3 does not begin with \"3-3-\"\n");
    QTest::newRow("in another order") << QByteArrayList{a.at(2), a.at(0), a.at(1)} << first;
    QTest::newRow("with blanks") << QByteArrayList{' ' + a.at(0), a.at(1), a.at(2)} << first;
    QTest::newRow("with blanks behind")
        << QByteArrayList{a.at(0) + ' ', a.at(1), a.at(2)} << noJoin;
    QTest::newRow("damaged") << damaged << noJoin;
    QTest::newRow("words") << QByteArrayList{"these", "are", "words"} << first;
    QTest::newRow("two") << QByteArrayList{a.at(0), a.at(1)} << count + "2 lines\n";
    QTest::newRow("four") << QByteArrayList{a.at(0), a.at(1), a.at(2), a.at(2)}
                          << count + "4 lines\n";
    QTest::newRow("an empty line")
        << QByteArrayList{a.at(0), "", a.at(1), a.at(2)} << count + "4 lines\n";
    const QByteArray nul("\0", 1);
    QTest::newRow("a NUL behind them")
        << QByteArrayList{a.at(0), a.at(1), a.at(2), nul} << count + "4 lines\n";
    QTest::newRow("a NUL in the last") << QByteArrayList{a.at(0), a.at(1), a.at(2) + nul} << noJoin;
    QTest::newRow("none") << QByteArrayList() << count + "0 lines\n";
    QTest::newRow("of no key") << split("words") << noKey + "not a public key in PEM form\n";
    const QByteArray privateKey = noKey + "they contain a private key";
    QTest::newRow("of a private key") << split(m_pair.privatePkcs8) << privateKey;
    QTest::newRow("of both keys") << split(m_pair.publicSpki + m_pair.privatePkcs8) << privateKey;
    QTest::newRow("of an EC key") << split(m_openssl.ecPair().publicSpki)
                                  << noKey + "not an RSA key\n";
    QTest::newRow("of half a key")
        << split(m_pair.publicSpki.left(200)) << noKey + "there is no whole \"PUBLIC KEY\"";
    // Where the library looks for the other form.
    QTest::newRow("of a key with the PKCS#1 marker in a comment")
        << split("not BEGIN RSA PUBLIC KEY\n" + m_pair.publicSpki)
        << noKey + "there is no whole \"RSA PUBLIC KEY\"";
    const auto pkcs1 = [](const QByteArray &numbers) {
        return "-----BEGIN RSA PUBLIC KEY-----\n" + QByteArray::fromHex(numbers).toBase64() +
               "\n-----END RSA PUBLIC KEY-----\n";
    };
    QTest::newRow("of a damaged key")
        << split(pkcs1("30060201050201")) << noKey + "the public key is damaged";
    // The modulus 0x7f7f7f7f7f7f7f7f7f7f7f, with the exponent 65537, has no room for a text.
    QTest::newRow("of a key of 11 bytes")
        << split(pkcs1("3012020b7f7f7f7f7f7f7f7f7f7f7f0203010001"))
        << noKey + "nothing can be encrypted with the key";
    QTest::newRow("of a key that is too long for OpenSSL")
        << split(pkcs1("3082080a02820801" + QByteArray(2049 * 2, '7') + "0203010001"))
        << noKey + "nothing can be encrypted with the key";
}

void TestLogKey::badPiecesAreRefused()
{
    QFETCH(QByteArrayList, pieces);
    QFETCH(QByteArray, reason);
    QByteArray content;
    for (const QByteArray &piece : qAsConst(pieces))
        content += piece + '\n';
    const QString file = write("pieces", content);
    const Outcome outcome = run({QStringLiteral("check"), file});
    QCOMPARE(outcome.status, failed);
    QCOMPARE(outcome.output, QByteArray());
    QVERIFY2(outcome.error.startsWith("syncstatus-logkey: " + file.toUtf8() + ": " + reason),
             outcome.error.constData());
    QCOMPARE(outcome.error.count('\n'), 1);

    const Outcome missing = run({QStringLiteral("check"), path("missing")});
    QCOMPARE(missing.status, failed);
    QCOMPARE(missing.error,
             "syncstatus-logkey: " + path("missing").toUtf8() + ": No such file or directory\n");
}

void TestLogKey::wrongCommandLinesAreRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("reason");
    const auto row = [](const char *line, const char *reason) {
        QTest::newRow(line) << QString::fromLatin1(line).split(QLatin1Char(' '))
                            << QByteArray(reason);
    };
    QTest::newRow("nothing") << QStringList() << QByteArray("Give a command: split or check.");
    row("generate", "There is no command \"generate\".");
    row("split", "split takes one argument, PUBLIC_KEY.");
    row("split a b", "split takes one argument, PUBLIC_KEY.");
    row("split --output= a", "--output needs the name of a file.");
    row("check", "check takes one argument, FILE.");
    row("check --force a", "check takes no --force.");
    row("check --what a", "Unknown option 'what'.");
    row("split a --output", "Missing value after '--output'.");
}

void TestLogKey::wrongCommandLinesAreRefused()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, reason);
    KeyTool tool(arguments);
    tool.setWorkingDirectory(m_folder->path());
    const Outcome outcome = tool.outcome();
    QCOMPARE(outcome.error, "syncstatus-logkey: " + reason + " (see --help)\n");
    QCOMPARE(outcome.output, QByteArray());
    QCOMPARE(outcome.status, wrongUsage);
    QCOMPARE(names(), QStringList());
}

void TestLogKey::helpTellsTheExitStatuses()
{
    const Outcome outcome = run({QStringLiteral("--help")});
    QCOMPARE(outcome.status, done);
    QCOMPARE(outcome.error, QByteArray());
    QVERIFY(outcome.output.contains("Exit status:\n  0  done\n  1  it could not be done"));
    for (const char *word : {"split", "check", "--force", "--output <file>"})
        QVERIFY2(outcome.output.contains(word), word);
    QVERIFY(run({QStringLiteral("--version")}).output.startsWith("syncstatus-logkey "));
}

SYNCSTATUS_TEST(TestLogKey)
#include "tst_logkey.moc"
