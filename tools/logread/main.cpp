// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logreader.h"
#include "privatekey.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>

namespace {

enum ExitStatus { AllRead = 0, SomeUnread = 1, Trouble = 2 };

const char description[] =
    R"(Reads log text from each LOG, or from standard input as it arrives when there
is none or it is "-", and writes it to standard output with its encrypted texts
in plain. All other bytes are left as they are. For instance:

  journalctl --follow | syncstatus-logread --key log-key.pem

An encrypted text that cannot be read stays in the log as it is, in a mark that
says why: "[not decrypted (wrong key or damaged): LicenseLogEncryptSign...]".
Damage within a long text is marked likewise, and the rest of it is read. At the
end standard error says how many texts were read and how many were not. The bare
word LicenseLogEncryptSign stands for an empty text, or the agent had no usable
key; it stays and is not counted. A text that was cut off is marked, but for two
cases that cannot be told: a cut within its first 64 characters, and one exactly
at the end of a block where base64 has no padding (that of a 3072-bit key never
has any).

On a terminal, control characters in decrypted texts, bidirectional ones too,
and bytes that are not UTF-8, are shown as \x1b and the like; into a file or a
pipe every byte of them is written as it is.

Exit status: 0 if all encrypted texts were read (or there were none), 1 if some
were not, 2 if the command line is wrong, the key cannot be used, a log cannot
be read or the output cannot be written.)";

volatile std::sig_atomic_t interruptedBy = 0;

void complain(const std::string &message)
{
    std::fprintf(stderr, "syncstatus-logread: %s\n", message.c_str());
}

/// Standard output. Pieces are gathered; large ones go straight through.
class Output
{
public:
    void write(std::string_view bytes)
    {
        if (m_size + bytes.size() > m_buffer.size())
            flush();
        if (bytes.size() > m_buffer.size()) {
            writeOut(bytes);
        } else {
            std::memcpy(m_buffer.data() + m_size, bytes.data(), bytes.size());
            m_size += bytes.size();
        }
    }

    void flush()
    {
        writeOut(std::string_view(m_buffer.data(), m_size));
        m_size = 0;
    }

    /// 0, or the errno of the first write that failed; nothing is written after it.
    int error() const { return m_error; }

private:
    void writeOut(std::string_view bytes)
    {
        while (!bytes.empty() && !m_error) {
            const ssize_t written = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
            if (written >= 0)
                bytes.remove_prefix(static_cast<std::size_t>(written));
            else if (errno != EINTR)
                m_error = errno;
        }
    }

    std::array<char, 8192> m_buffer;
    std::size_t m_size = 0;
    int m_error = 0;
};

/// Waits until the file has something to read or is at its end; not when a signal has interrupted
/// the reading or does so meanwhile, also in the moment before the waiting.
void waitFor(int file)
{
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    sigset_t before;
    sigprocmask(SIG_BLOCK, &ends, &before);
    if (!interruptedBy) {
        pollfd readable{file, POLLIN, 0};
        ppoll(&readable, 1, nullptr, &before);
    }
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

/// Feeds the reader until the end of the file, an error or a signal. False when reading failed.
bool readLog(int file, LogReader *reader, Output *output)
{
    static std::array<char, 65536> buffer;
    while (!output->error()) {
        waitFor(file);
        if (interruptedBy)
            break;
        const ssize_t size = read(file, buffer.data(), buffer.size());
        if (size < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (size <= 0) {
            const int error = errno;
            reader->finish();
            output->flush();
            errno = error;
            return size == 0;
        }
        reader->feed(std::string_view(buffer.data(), static_cast<std::size_t>(size)));
        output->flush();
    }
    reader->finish();
    output->flush();
    return true;
}

bool readLogFile(const std::string &path, LogReader *reader, Output *output)
{
    if (path == "-") {
        if (readLog(STDIN_FILENO, reader, output))
            return true;
        complain(std::string("standard input: ") + std::strerror(errno));
        return false;
    }
    // O_NONBLOCK, so that it is readLog() that waits for somebody to write to a FIFO.
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    const bool done = file >= 0 && readLog(file, reader, output);
    if (!done)
        complain(path + ": " + std::strerror(errno));
    if (file >= 0)
        close(file);
    return done;
}

/// The first interruption ends the reading, so that a log which is followed gets its counts; a
/// second one kills. One that is ignored (nohup, a shell's "&") stays so.
void endReadingOn(int signal)
{
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN)
        return;
    action = {};
    action.sa_handler = [](int number) { interruptedBy = number; };
    action.sa_flags = SA_RESETHAND;
    sigaction(signal, &action, nullptr);
}

int run(const std::string &keyPath, const QStringList &logs)
{
    std::string error;
    const PrivateKey key = readPrivateKey(keyPath, &error);
    if (!key) {
        complain(error);
        return Trouble;
    }

    Output output;
    LogReader reader(key.get(),
                     isatty(STDOUT_FILENO) ? LogReader::PlainText::Printable
                                           : LogReader::PlainText::Exact,
                     [&output](std::string_view bytes) { output.write(bytes); });
    if (!reader.knowsDamage())
        complain("this OpenSSL does not tell damaged texts: what cannot be decrypted may be given, "
                 "and counted as read, as random bytes");
    endReadingOn(SIGINT);
    endReadingOn(SIGTERM);
    bool trouble = false;
    for (const QString &log : logs) {
        if (!readLogFile(log.toLatin1().toStdString(), &reader, &output))
            trouble = true;
        if (output.error()) {
            complain(std::string("standard output: ") + std::strerror(output.error()));
            return Trouble;
        }
        if (interruptedBy)
            break;
    }

    complain("encrypted texts: " + std::to_string(reader.readCount()) + " read, " +
             std::to_string(reader.unreadCount()) + " not read");
    if (interruptedBy)
        std::raise(interruptedBy);
    if (trouble)
        return Trouble;
    return reader.unreadCount() > 0 ? SomeUnread : AllRead;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("syncstatus-logread"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SYNCSTATUS_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QString::fromLatin1(description));
    const QCommandLineOption keyOption(
        QStringLiteral("key"),
        QStringLiteral("The RSA private key, in PEM form. When it is encrypted, its passphrase is "
                       "asked for on the terminal."),
        QStringLiteral("FILE"));
    parser.addOption(keyOption);
    // Not addHelpOption(), which brings --help-all with it.
    const QCommandLineOption helpOption({QStringLiteral("h"), QStringLiteral("help")},
                                        QStringLiteral("Says this."));
    parser.addOption(helpOption);
    const QCommandLineOption versionOption = parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("LOG"), QStringLiteral("The logs to read."),
                                 QStringLiteral("[LOG...]"));

    // As Latin-1, so that file names of any bytes come through whatever the locale is.
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments += QString::fromLatin1(argv[i]);
    if (!parser.parse(arguments)) {
        complain(parser.errorText().toStdString());
        return Trouble;
    }
    if (parser.isSet(helpOption))
        parser.showHelp(AllRead);
    if (parser.isSet(versionOption))
        parser.showVersion();
    if (!parser.isSet(keyOption)) {
        complain("which private key? Give it with --key FILE (--help says more)");
        return Trouble;
    }

    QStringList logs = parser.positionalArguments();
    if (logs.isEmpty())
        logs += QStringLiteral("-");
    try {
        return run(parser.value(keyOption).toLatin1().toStdString(), logs);
    } catch (const std::exception &problem) {
        complain(problem.what());
        return Trouble;
    }
}
