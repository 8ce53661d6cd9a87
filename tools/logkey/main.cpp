// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "keypieces.h"
#include "rsakey.h"

#include <custompluginmanager/secretkeysplit.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringList>

#include <cerrno>
#include <cstdio>

namespace {

// Exit statuses, as in --help.
constexpr int success = 0;
constexpr int failure = 1;
constexpr int usageError = 2;

// Shorter keys are too weak (NIST SP 800-131A).
constexpr int fewestBits = 2048;

// In bytes; a library with its debugging information is far smaller. A wrong file can have no end,
// for example a device.
constexpr int largestInput = 256 * 1024 * 1024;

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
        *error = QStringLiteral("too long");
    else
        return true;
    return false;
}

/// The length and the fingerprint of \a key in one line, or empty on failure.
QByteArray describe(const RsaKey &key, QString *error)
{
    const int bits = EVP_PKEY_bits(key.get());
    if (bits < fewestBits)
        complain(
            QStringLiteral("warning: a key of %1 bits can be broken; use 3072 or more").arg(bits));
    const QByteArray fingerprint = publicKeyFingerprint(key, error);
    if (fingerprint.isEmpty())
        return {};
    return "RSA public key of " + QByteArray::number(bits) + " bits, SHA-256 " + fingerprint;
}

bool writeFile(const QString &path, bool replace, const QByteArray &text, QString *error)
{
    const QFileInfo target(path);
    // A dangling symbolic link exists too.
    if (!replace && (target.exists() || target.isSymLink())) {
        *error = QStringLiteral("exists already (--force replaces it)");
        return false;
    }
    // A file must not replace a device or a pipe.
    if (target.exists() && !target.isFile()) {
        *error = QStringLiteral("is not a regular file");
        return false;
    }
    QSaveFile file(path);
    // commit() does not report a failure to write the rest of the buffer, so flush() comes first.
    if (file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.flush() &&
        file.commit())
        return true;
    *error = file.errorString();
    return false;
}

const QString forceOption = QStringLiteral("force");
const QString outputOption = QStringLiteral("output");

int split(const QString &path, const QCommandLineParser &parser)
{
    QByteArray content;
    QString error;
    if (!readFile(path, &content, &error))
        return fail(path + QLatin1String(": ") + error);
    const RsaKey key = readPublicKey(content, &error);
    if (!key)
        return fail(path + QLatin1String(": ") + error);
    const QByteArray description = describe(key, &error);
    // Written anew, so that other content of the file does not get into the library.
    const QByteArray pem = publicKeyPem(key, &error);
    if (description.isEmpty() || pem.isEmpty())
        return fail(error);

    const QStringList pieces = SecretkeySplit::splitSecretKey(pem, keyPieceCount);
    const QByteArray text = pieces.join(QLatin1Char('\n')).toLatin1() + '\n';
    const QString output = parser.value(outputOption);
    if (output.isEmpty()) {
        if (print(text) != success)
            return failure;
    } else if (!writeFile(output, parser.isSet(forceOption), text, &error)) {
        return fail(output + QLatin1String(": ") + error);
    }
    // Not to standard output, which may have the pieces.
    std::fprintf(stderr, "%s\n", description.constData());
    return success;
}

int check(const QString &path)
{
    QByteArray content;
    QString error;
    if (!readFile(path, &content, &error))
        return fail(path + QLatin1String(": ") + error);
    bool isDevelopmentKey = false;
    if (content.startsWith("\x7f"
                           "ELF")) {
        content = piecesInLibrary(content, &isDevelopmentKey);
        if (content.isEmpty())
            return fail(path + QLatin1String(": this program or library contains no pieces"));
    }
    const QByteArray pem = joinPieces(content, &error);
    if (pem.isEmpty())
        return fail(path + QLatin1String(": ") + error);
    const RsaKey key = readLibraryKey(pem, &error);
    if (!key)
        return fail(path + QLatin1String(": the pieces join, but not to a key: ") + error);
    const QByteArray description = describe(key, &error);
    if (description.isEmpty())
        return fail(error);
    return print(description + (isDevelopmentKey ? ", a development key\n" : "\n"));
}

int runCommand(const QCommandLineParser &parser)
{
    const QStringList arguments = parser.positionalArguments();
    const QString command = arguments.value(0);
    if (command.isEmpty())
        return wrongCommandLine(QStringLiteral("Give a command: split or check."));
    if (command != QLatin1String("split") && command != QLatin1String("check"))
        return wrongCommandLine(QStringLiteral("There is no command \"%1\".").arg(command));
    const bool isSplit = command == QLatin1String("split");
    const QStringList options = parser.optionNames();
    if (!isSplit && !options.isEmpty())
        return wrongCommandLine(QStringLiteral("check takes no --%1.").arg(options.first()));
    if (parser.isSet(outputOption) && parser.value(outputOption).isEmpty())
        return wrongCommandLine(QStringLiteral("--output needs the name of a file."));
    if (arguments.size() != 2)
        return wrongCommandLine(
            QStringLiteral("%1 takes one argument, %2.")
                .arg(command, isSplit ? QLatin1String("PUBLIC_KEY") : QLatin1String("FILE")));
    return isSplit ? split(arguments.at(1), parser) : check(arguments.at(1));
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication::setApplicationName(QStringLiteral("syncstatus-logkey"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SYNCSTATUS_VERSION));
    const QCoreApplication application(argc, argv);

    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this help and exit."));
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")},
                                     QStringLiteral("Show the version and exit."));
    const QString file = QStringLiteral("file");
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Splits the public key of encrypted log text into the pieces that the library is built\n"
        "with, and shows which key a library carries.\n\n"
        "  syncstatus-logkey split [--output FILE] [--force] PUBLIC_KEY\n"
        "      Splits an RSA public key (PEM) into three pieces, one a line. Standard error gets\n"
        "      the key's fingerprint. The same key always gives the same pieces.\n"
        "  syncstatus-logkey check FILE\n"
        "      Joins the pieces in FILE, a built library or a file of pieces, as the library\n"
        "      does. Shows the key's fingerprint, or why the pieces are not a key.\n\n"
        "Exit status:\n"
        "  0  done\n"
        "  1  it could not be done, or the pieces are not a key\n"
        "  2  the command line is wrong; nothing was done"));
    parser.addOptions(
        {help,
         version,
         {outputOption,
          QStringLiteral("split: write the pieces to <file>, not to standard output."), file},
         {forceOption, QStringLiteral("split: replace <file> if it exists.")}});
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("split or check"));
    parser.addPositionalArgument(
        file, QStringLiteral("split: the public key; check: the library or the pieces"),
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
