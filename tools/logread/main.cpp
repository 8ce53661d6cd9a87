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
    R"(Reads log text from each LOG and writes it to standard output, with its encrypted
texts decrypted. It changes no other byte. Without a LOG, or for "-", it reads
standard input as it arrives. For example:

  journalctl --follow | syncstatus-logread --key log-key.pem

A text that it cannot read stays in the log unchanged, in a mark with the reason:
"[not decrypted (wrong key or damaged): LicenseLogEncryptSign...]". Damage within
a long text has a mark too, and the rest of the text is read. At the end,
standard error says how many texts were read and how many were not.

On a terminal, decrypted control characters and bytes that are not UTF-8 are
shown in the form \x1b. The manual page syncstatus-logread(1) has more.

Exit status:
  0  all encrypted texts were read, or there were none
  1  some were not read
  2  the command line is wrong, the key cannot be used, a log cannot be read or
     the output cannot be written)";

volatile std::sig_atomic_t interruptedBy = 0;

void complain(const std::string &message)
{
    std::fprintf(stderr, "syncstatus-logread: %s\n", message.c_str());
}

/// Standard output, with a buffer for small pieces.
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

    /// 0, or the errno of the first write that failed. Nothing is written after that.
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

/// Waits until the file has data or is at its end, or until SIGINT or SIGTERM arrives. The mask
/// makes sure that a signal just before the wait ends it too.
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

/// Feeds the reader until the end of the file, an error or a signal. Returns false if a read fails.
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
    // O_NONBLOCK, so that readLog() waits for the writer of a fifo, not open().
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    const bool done = file >= 0 && readLog(file, reader, output);
    if (!done)
        complain(path + ": " + std::strerror(errno));
    if (file >= 0)
        close(file);
    return done;
}

/// Makes the first \a signal end the reading, so that the counts are written. A second one kills. A
/// signal that is ignored (nohup, a shell's "&") stays ignored.
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
        complain("this OpenSSL does not report damaged texts: they can come as random bytes and "
                 "count as read");
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
        QStringLiteral("The RSA private key in PEM form. If it has a passphrase, the program asks "
                       "for it on the terminal."),
        QStringLiteral("FILE"));
    parser.addOption(keyOption);
    // Not addHelpOption(), which would add --help-all.
    const QCommandLineOption helpOption({QStringLiteral("h"), QStringLiteral("help")},
                                        QStringLiteral("Show this help and exit."));
    parser.addOption(helpOption);
    const QCommandLineOption versionOption = parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("LOG"), QStringLiteral("The logs to read."),
                                 QStringLiteral("[LOG...]"));

    // As Latin-1, which keeps the bytes of every file name, whatever the locale is.
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
        complain("give the private key with --key FILE (see --help)");
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
