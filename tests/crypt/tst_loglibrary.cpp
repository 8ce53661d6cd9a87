// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logkeypieces.h"
#include "opensslprogram.h"
#include "testprogram.h"

#include <custompluginmanager/secretkeysplit.h>
#include <syncstatus/rsacrypt.h>

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>

using logEncryption::RsaCrypt;

namespace {

QByteArray contentOf(const char *path)
{
    QFile file(QString::fromLocal8Bit(path));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", path);
    return file.readAll();
}

/// The library's public key, or nothing if its pieces are those of another host's facility.
QByteArray publicKey()
{
    return SecretkeySplit::recoverSecretKey({QString::fromLatin1(logKeyPieces::one),
                                             QString::fromLatin1(logKeyPieces::two),
                                             QString::fromLatin1(logKeyPieces::three)});
}

/// Not when this build was given a key; and a development key is for the user who built.
bool hasPrivateKey()
{
    return QFileInfo(QStringLiteral(DEVELOPMENT_KEY)).isReadable();
}

QByteArray derOf(const QByteArray &pem)
{
    QByteArray base64;
    const QList<QByteArray> lines = pem.split('\n');
    for (const QByteArray &line : lines) {
        if (!line.startsWith("-----"))
            base64 += line;
    }
    return QByteArray::fromBase64(base64);
}

/// Whether \a content has any run of \a size bytes of \a key.
bool containsPartOf(const QByteArray &content, const QByteArray &key, int size)
{
    for (int i = 0; i + size <= key.size(); i += size) {
        if (content.contains(key.mid(i, size)))
            return true;
    }
    return false;
}

} // namespace

/// The built library with the key that the build gave it, in a host with the reference framework.
class TestLogLibrary : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void thePiecesJoinToAPublicKey();
    void encryptedTextIsReadWithThePrivateKey();
    void theLibraryShowsNeitherKey();
    void everyFunctionOfTheHostIsLookedUpWhenCalled();
    void onlyKnownFunctionsOfOpensslAreUsed();
    void theLibraryLoadsWithoutLibcrypto();
    void aCallWithoutLibcryptoEndsTheProcessWithAMessage();
    void thePrivateKeyIsItsOwnersAlone();
};

void TestLogLibrary::initTestCase()
{
    if (!hasPrivateKey() && publicKey().isEmpty())
        QSKIP("this build was given pieces that the reference framework does not join");
}

void TestLogLibrary::thePiecesJoinToAPublicKey()
{
    QVERIFY(publicKey().contains("BEGIN PUBLIC KEY") ||
            publicKey().contains("BEGIN RSA PUBLIC KEY"));
    QVERIFY(RsaCrypt::logEncryptToBase64("word").size() > 21);
}

void TestLogLibrary::encryptedTextIsReadWithThePrivateKey()
{
    if (!hasPrivateKey())
        QSKIP("this build was given its key, or made one for another user");
    const QByteArray logText = RsaCrypt::logEncryptToBase64("the word");
    QVERIFY(logText.startsWith("LicenseLogEncryptSign"));
    const QByteArray ciphertext = QByteArray::fromBase64(logText.mid(21));
    const QByteArray key = contentOf(DEVELOPMENT_KEY);
    QCOMPARE(RsaCrypt::rsaPrivateKeyDecrypt(ciphertext, key), QByteArray("the word"));
    if (OpensslProgram::exists())
        QCOMPARE(OpensslProgram().decrypt(ciphertext, key), QByteArray("the word"));
}

void TestLogLibrary::theLibraryShowsNeitherKey()
{
    const QByteArray library = contentOf(SYNCSTATUS_TEST_LIBRARY);
    // The search finds what is there, and this is the library that has the key.
    QVERIFY(containsPartOf(library, "LicenseLogEncryptSign", 21));
    for (const char *piece : {logKeyPieces::one, logKeyPieces::two, logKeyPieces::three})
        QVERIFY(library.contains(piece));
    QList<QByteArray> keys = {publicKey()};
    if (hasPrivateKey())
        keys += contentOf(DEVELOPMENT_KEY);
    for (const QByteArray &key : qAsConst(keys)) {
        const QByteArray der = derOf(key);
        QVERIFY(der.size() > 64);
        QVERIFY(!containsPartOf(library, key, 16));
        QVERIFY(!containsPartOf(library, der, 8));
        QVERIFY(!containsPartOf(library, der.toHex(), 16));
        QVERIFY(!containsPartOf(library, der.toHex().toUpper(), 16));
        QVERIFY(!containsPartOf(library, key.toHex(), 32));
    }
    QVERIFY(!library.contains("BEGIN PRIVATE KEY"));
    QVERIFY(!library.contains("BEGIN RSA PRIVATE KEY"));
}

// Anything but a jump slot is resolved when the library is loaded, and a host that lacks the
// function could not load it.
void TestLogLibrary::everyFunctionOfTheHostIsLookedUpWhenCalled()
{
    QProcess readelf;
    readelf.start(QStringLiteral("readelf"),
                  {QStringLiteral("-rW"), QStringLiteral(SYNCSTATUS_TEST_LIBRARY)});
    if (!readelf.waitForFinished())
        QSKIP("there is no readelf program");
    const QRegularExpression ours(QStringLiteral("^(BIO|RSA|PEM|ERR)_|14SecretkeySplit"));
    int functions = 0;
    const QList<QByteArray> lines = readelf.readAllStandardOutput().split('\n');
    for (const QByteArray &line : lines) {
        const QStringList fields = QString::fromLatin1(line).simplified().split(QLatin1Char(' '));
        if (fields.size() < 5 || !ours.match(fields.at(4)).hasMatch())
            continue;
        // R_X86_64_JUMP_SLOT, R_AARCH64_JUMP_SL(OT), R_PPC64_JMP_SLOT...
        QVERIFY2(fields.at(2).contains(QLatin1String("JUMP_SL")) ||
                     fields.at(2).contains(QLatin1String("JMP_SLOT")),
                 line.constData());
        ++functions;
    }
    QCOMPARE(functions, 13);
    readelf.start(QStringLiteral("readelf"),
                  {QStringLiteral("-dW"), QStringLiteral(SYNCSTATUS_TEST_LIBRARY)});
    QVERIFY(readelf.waitForFinished());
    const QByteArray dynamic = readelf.readAllStandardOutput();
    QVERIFY(dynamic.contains("NEEDED"));
    QVERIFY(!QRegularExpression(QStringLiteral("BIND_NOW|\\bNOW\\b"))
                 .match(QString::fromLatin1(dynamic))
                 .hasMatch());
    QVERIFY(!dynamic.contains("libcrypto"));
    QVERIFY(!dynamic.contains("custompluginmanager"));
}

void TestLogLibrary::onlyKnownFunctionsOfOpensslAreUsed()
{
    QProcess nm;
    nm.start(QStringLiteral("nm"), {QStringLiteral("-D"), QStringLiteral("--undefined-only"),
                                    QStringLiteral(SYNCSTATUS_TEST_LIBRARY)});
    if (!nm.waitForFinished())
        QSKIP("there is no nm program");
    QStringList functions;
    const QStringList words = QString::fromLatin1(nm.readAllStandardOutput())
                                  .split(QRegularExpression(QStringLiteral("\\s+")));
    for (const QString &word : words) {
        if (QRegularExpression(QStringLiteral("^[A-Z]+[A-Z0-9]*_[a-zA-Z_0-9]+$"))
                .match(word)
                .hasMatch())
            functions += word;
    }
    functions.sort();
    QCOMPARE(functions.join(QLatin1Char(' ')),
             QStringLiteral("BIO_free_all BIO_new_mem_buf ERR_clear_error "
                            "PEM_read_bio_RSAPrivateKey PEM_read_bio_RSAPublicKey "
                            "PEM_read_bio_RSA_PUBKEY RSA_free RSA_new RSA_private_decrypt "
                            "RSA_public_decrypt RSA_public_encrypt RSA_size"));
}

// The other half is loadlibrary.cpp, a program without libcrypto.
void TestLogLibrary::theLibraryLoadsWithoutLibcrypto()
{
    QProcess program;
    program.start(QStringLiteral(SYNCSTATUS_TEST_LOADER),
                  {QStringLiteral(SYNCSTATUS_TEST_LIBRARY)});
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.readAllStandardError(), QByteArray());
    QCOMPARE(program.readAllStandardOutput(), QByteArray("loaded without libcrypto\n"));
    QCOMPARE(program.exitCode(), 0);
}

void TestLogLibrary::aCallWithoutLibcryptoEndsTheProcessWithAMessage()
{
    QProcess program;
    program.start(
        QStringLiteral(SYNCSTATUS_TEST_LOADER),
        {QStringLiteral(SYNCSTATUS_TEST_LIBRARY),
         QStringLiteral("_ZN13logEncryption8RsaCrypt18logEncryptToBase64ERK10QByteArray")});
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.readAllStandardOutput(), QByteArray("loaded without libcrypto\n"));
    const QByteArray message = program.readAllStandardError();
    QVERIFY2(message.contains(": symbol lookup error: "), message.constData());
    QVERIFY2(message.contains("BIO_new_mem_buf"), message.constData());
    QVERIFY(program.exitStatus() != QProcess::NormalExit || program.exitCode() != 0);
}

void TestLogLibrary::thePrivateKeyIsItsOwnersAlone()
{
    if (!QFile::exists(QStringLiteral(DEVELOPMENT_KEY)))
        QSKIP("this build was given its key");
    const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther |
                        QFile::WriteOther | QFile::ExeOther;
    QCOMPARE(int(QFile::permissions(QStringLiteral(DEVELOPMENT_KEY)) & others), 0);
}

SYNCSTATUS_TEST(TestLogLibrary)
#include "tst_loglibrary.moc"
