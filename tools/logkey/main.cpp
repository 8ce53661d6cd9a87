// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "keypieces.h"
#include "newfile.h"
#include "rsakey.h"

#include <custompluginmanager/secretkeysplit.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QStringList>
#include <QVector>

#include <cerrno>
#include <cstdio>

namespace {

// What the process ends with; --help repeats them.
constexpr int success = 0;
constexpr int usageError = 1;
constexpr int failure = 2;

constexpr int defaultBits = 3072;
// What is too weak today (NIST SP 800-131A).
constexpr int fewestBits = 2048;
// OPENSSL_RSA_MAX_MODULUS_BITS: what OpenSSL computes with.
constexpr int mostBits = 16384;

// No key is longer; a wrong file, a device say, can be.
constexpr int largestInput = 1024 * 1024;

void complain(const QString &text)
{
    std::fprintf(stderr, "syncstatus-logkey: %s\n", text.toLocal8Bit().constData());
}

int fail(const QString &text)
{
    complain(text);
    return failure;
}

int wrongCommandLine(const QString &text)
{
    complain(text + QLatin1String(" (see --help)"));
    return usageError;
}

int print(const QByteArray &text)
{
    if (std::fwrite(text.constData(), 1, size_t(text.size()), stdout) == size_t(text.size()) &&
        std::fflush(stdout) == 0)
        return success;
    return fail(QLatin1String("standard output: ") + qt_error_string(errno));
}

bool readFile(const QString &path, QByteArray *content, QString *error)
{
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        *content = file.read(largestInput + 1);
    if (file.error() != QFileDevice::NoError)
        *error = file.errorString();
    else if (content->size() > largestInput)
        *error = QStringLiteral("too long for a key");
    else
        return true;
    return false;
}

void warnOfFewBits(const RsaKey &key)
{
    const int bits = EVP_PKEY_bits(key.get());
    if (bits < fewestBits)
        complain(QStringLiteral("warning: a key of %1 bits can be broken; use %2 or more")
                     .arg(bits)
                     .arg(defaultBits));
}

const QString forceOption = QStringLiteral("force");
const QString bitsOption = QStringLiteral("bits");
const QString privateOption = QStringLiteral("private");
const QString publicOption = QStringLiteral("public");
const QString outputOption = QStringLiteral("output");

int generate(const QCommandLineParser &parser)
{
    bool isNumber = false;
    const int bits = parser.value(bitsOption).toInt(&isNumber);
    if (!isNumber || bits < fewestBits || bits > mostBits)
        return wrongCommandLine(
            QStringLiteral("--bits takes a number from %1 to %2.").arg(fewestBits).arg(mostBits));
    const QString privatePath = parser.value(privateOption);
    const QString publicPath = parser.value(publicOption);
    if (privatePath.isEmpty() || publicPath.isEmpty())
        return wrongCommandLine(QStringLiteral("generate needs --private and --public."));

    NewFile privateFile(privatePath, parser.isSet(forceOption));
    NewFile publicFile(publicPath, parser.isSet(forceOption));
    if (privateFile.isSameAs(publicFile))
        return wrongCommandLine(QStringLiteral("--private and --public are the same file."));
    if (!privateFile.open())
        return fail(privateFile.errorString());
    if (!publicFile.open())
        return fail(publicFile.errorString());

    QString error;
    const RsaKey key = generateRsaKey(bits, &error);
    if (!key || !writePrivateKey(key, privateFile.descriptor(), &error))
        return fail(error);
    const QByteArray publicPem = publicKeyPem(key, &error);
    if (publicPem.isEmpty())
        return fail(error);
    // The public file first: whatever fails, either the new pair is complete or an old private key
    // is still there.
    if (!publicFile.write(publicPem) || !publicFile.publish() || !publicFile.commit())
        return fail(publicFile.errorString());
    if (!privateFile.commit()) {
        // Left alone, it would be built into a library whose text nobody can read.
        QFile::remove(publicPath);
        return fail(privateFile.errorString());
    }
    return success;
}

int split(const QCommandLineParser &parser)
{
    const QString path = parser.positionalArguments().at(1);
    QByteArray content;
    QString error;
    if (!readFile(path, &content, &error))
        return fail(path + QLatin1String(": ") + error);
    const RsaKey key = readPublicKey(content, &error);
    if (!key)
        return fail(path + QLatin1String(": ") + error);
    warnOfFewBits(key);

    // Written afresh: what else the file holds stays out of the library.
    const QByteArray pem = publicKeyPem(key, &error);
    if (pem.isEmpty())
        return fail(error);
    const QStringList pieces = SecretkeySplit::splitSecretKey(pem, keyPieceCount);
    const QByteArray text = pieces.join(QLatin1Char('\n')).toLatin1() + '\n';
    if (!parser.isSet(outputOption))
        return print(text);

    NewFile output(parser.value(outputOption), parser.isSet(forceOption));
    if (!output.open() || !output.write(text) || !output.publish() || !output.commit())
        return fail(output.errorString());
    return success;
}

int check(const QCommandLineParser &parser)
{
    const QString path = parser.positionalArguments().at(1);
    QByteArray content;
    QString error;
    if (!readFile(path, &content, &error))
        return fail(path + QLatin1String(": ") + error);
    const QByteArray pem = joinPieces(content, &error);
    if (pem.isEmpty())
        return fail(path + QLatin1String(": ") + error);
    const RsaKey key = readLibraryKey(pem, &error);
    if (!key)
        return fail(path + QLatin1String(": the pieces join, but to no key: ") + error);
    warnOfFewBits(key);
    const QByteArray fingerprint = publicKeyFingerprint(key, &error);
    if (fingerprint.isEmpty())
        return fail(error);
    return print("RSA public key of " + QByteArray::number(EVP_PKEY_bits(key.get())) +
                 " bits, SHA-256 " + fingerprint + '\n');
}

struct Command
{
    QString name;
    /// What it takes behind its name, besides options: "" for nothing.
    QString argument;
    QStringList options;
    int (*run)(const QCommandLineParser &parser);
};

int runCommand(const QCommandLineParser &parser)
{
    const QVector<Command> commands = {
        {QStringLiteral("generate"),
         QString(),
         {privateOption, publicOption, bitsOption, forceOption},
         generate},
        {QStringLiteral("split"), QStringLiteral("PUBLIC_KEY"), {outputOption, forceOption}, split},
        {QStringLiteral("check"), QStringLiteral("PIECES"), {}, check},
    };
    const QStringList arguments = parser.positionalArguments();
    if (arguments.isEmpty())
        return wrongCommandLine(QStringLiteral("Give a command: generate, split or check."));
    for (const Command &command : commands) {
        if (command.name != arguments.first())
            continue;
        const QStringList given = parser.optionNames();
        for (const QString &option : given) {
            if (!command.options.contains(option))
                return wrongCommandLine(
                    QStringLiteral("%1 takes no --%2.").arg(command.name, option));
        }
        if (command.argument.isEmpty() && arguments.size() != 1)
            return wrongCommandLine(
                QStringLiteral("%1 takes nothing but options.").arg(command.name));
        if (!command.argument.isEmpty() && arguments.size() != 2)
            return wrongCommandLine(
                QStringLiteral("%1 takes one argument, %2.").arg(command.name, command.argument));
        return command.run(parser);
    }
    return wrongCommandLine(QStringLiteral("There is no command \"%1\".").arg(arguments.first()));
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication::setApplicationName(QStringLiteral("syncstatus-logkey"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SYNCSTATUS_VERSION));
    const QCoreApplication application(argc, argv);

    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this and end."));
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")},
                                     QStringLiteral("Show the version and end."));
    const QString file = QStringLiteral("file");
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Makes the key pair of encrypted log text, and of its public half the pieces that the\n"
        "library is built with.\n\n"
        "  syncstatus-logkey generate --private FILE --public FILE [--bits NUMBER] [--force]\n"
        "      Makes an RSA pair. Both files are PEM; the private one has no passphrase.\n"
        "  syncstatus-logkey split [--output FILE] [--force] PUBLIC_KEY\n"
        "      Splits an RSA public key (PEM) into three pieces, one a line.\n"
        "  syncstatus-logkey check PIECES\n"
        "      Joins the pieces in a file, as a build takes them and the library joins them,\n"
        "      and shows which key they are, or why they are none.\n\n"
        "Exit status:\n"
        "  0  done\n"
        "  1  the command line is wrong; nothing was done\n"
        "  2  it could not be done, or the pieces are no key"));
    parser.addOptions(
        {help,
         version,
         {privateOption,
          QStringLiteral("generate: write the private key to <file>, which is its owner's alone "
                         "(mode 0600)."),
          file},
         {publicOption, QStringLiteral("generate: write the public key to <file> (mode 0644)."),
          file},
         {bitsOption,
          QStringLiteral("generate: make a key of <number> bits, %1 to %2. Without it: %3.")
              .arg(fewestBits)
              .arg(mostBits)
              .arg(defaultBits),
          QStringLiteral("number"), QString::number(defaultBits)},
         {outputOption,
          QStringLiteral("split: write the pieces to <file> (mode 0644), not to standard output."),
          file},
         {forceOption, QStringLiteral("generate, split: replace files that exist.")}});
    parser.addPositionalArgument(QStringLiteral("command"),
                                 QStringLiteral("generate, split or check"));
    parser.addPositionalArgument(file, QStringLiteral("split: the public key; check: the pieces"),
                                 QStringLiteral("[file]"));
    const bool complete = parser.parse(QCoreApplication::arguments());
    if (parser.isSet(help))
        return print(parser.helpText().toLocal8Bit());
    if (parser.isSet(version))
        return print("syncstatus-logkey " SYNCSTATUS_VERSION "\n");
    if (!complete)
        return wrongCommandLine(parser.errorText());
    return runCommand(parser);
}
