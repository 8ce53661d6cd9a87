// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "opensslprogram.h"

#include <QCryptographicHash>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>

namespace {

const char program[] = "openssl";
constexpr int patience = 120000; // milliseconds, for a long key on a busy machine

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '));
}

} // namespace

bool OpensslProgram::exists()
{
    return !QStandardPaths::findExecutable(QString::fromLatin1(program)).isEmpty();
}

QByteArray OpensslProgram::run(const QStringList &arguments, const QByteArray &input) const
{
    QProcess process;
    process.start(QString::fromLatin1(program), arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(patience) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        return {};
    const QByteArray output = process.readAllStandardOutput();
    return output.isNull() ? QByteArray("") : output;
}

QByteArray OpensslProgram::pkcs1(const QByteArray &privatePem, const QStringList &options) const
{
    const QByteArray key = run(words("rsa -traditional") + options, privatePem);
    // Releases before 3.0 do not know -traditional, and write this form anyway.
    return key.isEmpty() ? run(words("rsa") + options, privatePem) : key;
}

RsaPair OpensslProgram::rsaPair(int bits)
{
    if (!m_pairs.contains(bits)) {
        RsaPair pair;
        pair.privatePkcs8 = run(words("genpkey -algorithm RSA -pkeyopt") +
                                QStringList{QStringLiteral("rsa_keygen_bits:%1").arg(bits)});
        pair.privatePkcs1 = pkcs1(pair.privatePkcs8, {});
        pair.publicSpki = run(words("pkey -pubout"), pair.privatePkcs8);
        pair.publicPkcs1 = run(words("rsa -RSAPublicKey_out"), pair.privatePkcs8);
        m_pairs.insert(bits, pair);
    }
    return m_pairs.value(bits);
}

RsaPair OpensslProgram::ecPair()
{
    if (m_ecPair.privatePkcs8.isEmpty()) {
        m_ecPair.privatePkcs8 =
            run(words("genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256"));
        m_ecPair.publicSpki = run(words("pkey -pubout"), m_ecPair.privatePkcs8);
    }
    return m_ecPair;
}

QByteArray OpensslProgram::protect(const QByteArray &pem, bool inPkcs1) const
{
    return inPkcs1 ? pkcs1(pem, words("-aes128 -passout pass:secret"))
                   : run(words("pkcs8 -topk8 -v2 aes128 -passout pass:secret"), pem);
}

QByteArray OpensslProgram::encrypt(const QByteArray &text, const QByteArray &publicPem)
{
    return run(words("pkeyutl -encrypt -pubin -inkey") + QStringList{fileOf(publicPem)}, text);
}

QByteArray OpensslProgram::decrypt(const QByteArray &block, const QByteArray &privatePem)
{
    return run(words("pkeyutl -decrypt -inkey") + QStringList{fileOf(privatePem)}, block);
}

QByteArray OpensslProgram::sign(const QByteArray &text, const QByteArray &privatePem)
{
    return run(words("pkeyutl -sign -pkeyopt rsa_padding_mode:pkcs1 -inkey") +
                   QStringList{fileOf(privatePem)},
               text);
}

QByteArray OpensslProgram::applyPrivateKey(const QByteArray &block, const QByteArray &privatePem)
{
    return run(words("pkeyutl -decrypt -pkeyopt rsa_padding_mode:none -inkey") +
                   QStringList{fileOf(privatePem)},
               block);
}

QString OpensslProgram::fileOf(const QByteArray &pem)
{
    const QByteArray name = QCryptographicHash::hash(pem, QCryptographicHash::Md5).toHex();
    QFile file(m_folder.filePath(QString::fromLatin1(name)));
    if (!file.exists() && file.open(QIODevice::WriteOnly))
        file.write(pem);
    return file.fileName();
}
