// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// An agent that does everything with the library at once for a given time, and measures whether it
// holds more and more. See scripts/check soak. Run it with
// GLIBC_TUNABLES=glibc.malloc.tcache_count=0: otherwise each thread keeps freed memory, which
// counts as in use and grows for a long time.

#include "agent.h"
#include "eventlogstandin.h"
#include "measurements.h"
#include "progress.h"
#include "workers.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLibrary>
#include <QTextStream>

#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

// The bus is lost for the last tenth of the time.
constexpr double busTime = 0.9;

Progress *progressOfLog = nullptr;

// In place of the log, which would fill the disk.
void countLine(QtMsgType level, const QMessageLogContext &context, const QString &text)
{
    if (level == QtCriticalMsg || level == QtFatalMsg)
        std::fprintf(stderr, "%s\n", qPrintable(text));
    if (qstrcmp(context.category, "org.corvel.license.agent") != 0)
        return;
    ++progressOfLog->lines;
    if (text.startsWith(QLatin1String("codestack:  current network state is changed:")))
        ++progressOfLog->signalsSeen;
}

struct Count
{
    const char *name;
    const char *column;
    std::atomic<qint64> Progress::*value;
};

constexpr Count counts[] = {
    {"Signals sent", "sent", &Progress::signalsSent},
    {"Signals seen by the monitor", "signals", &Progress::signalsSeen},
    {"Connectivity announced", "announced", &Progress::announced},
    {"Further monitors made", "monitors", &Progress::monitors},
    {"NetworkManager restarted", "restarts", &Progress::restarts},
    {"Texts encrypted", "encryptions", &Progress::encryptions},
    {"of these decrypted and compared", "decryptions", &Progress::decryptions},
    {"Rounds of whole files, INI and JSON", "files", &Progress::files},
    {"Commands run", "commands", &Progress::commands},
    {"Event records written", "records", &Progress::records},
    {"Log lines", "lines", &Progress::lines},
};

/// One line a sample.
class Csv
{
public:
    bool open(const QString &fileName)
    {
        m_file.setFileName(fileName);
        if (!m_file.open(QIODevice::WriteOnly))
            return false;
        m_stream << "seconds";
        for (const auto &kind : Measurements::kinds)
            m_stream << ',' << kind.column;
        for (const Count &count : counts)
            m_stream << ',' << count.column;
        m_stream << '\n';
        return true;
    }

    void add(double seconds, const Holdings &holdings, const Progress &progress)
    {
        m_stream << seconds;
        for (const qint64 held : holdings)
            m_stream << ',' << held;
        for (const Count &count : counts)
            m_stream << ',' << (progress.*count.value).load();
        m_stream << '\n';
        m_stream.flush();
    }

    bool isOpen() const { return m_file.isOpen(); }
    bool hasFailed() const { return m_stream.status() != QTextStream::Ok; }

private:
    QFile m_file;
    QTextStream m_stream{&m_file};
};

void show(const Progress &progress)
{
    std::printf("| Done | |\n|---|---|\n");
    for (const Count &count : counts)
        std::printf("| %s | %lld |\n", count.name, (progress.*count.value).load());
}

/// Returns whether all stayed flat.
bool show(const Measurements &measurements, const char *when)
{
    if (!measurements.areEnough()) {
        std::fprintf(stderr, "FAIL: too few samples, %s\n", when);
        return false;
    }
    std::printf(
        "\n| Held, %s | Least in the second quarter | Least in the last | Growth | Allowed |\n"
        "|---|---|---|---|---|\n",
        when);
    const auto verdicts = measurements.judge();
    bool flat = true;
    for (std::size_t i = 0; i < verdicts.size(); ++i) {
        const auto &kind = Measurements::kinds[i];
        const auto &verdict = verdicts[i];
        std::printf("| %s | %lld | %lld | %lld | %lld |\n", kind.name, verdict.warm, verdict.end,
                    verdict.end - verdict.warm, kind.allowed);
        flat = flat && verdict.flat;
    }
    std::fflush(stdout);
    for (std::size_t i = 0; i < verdicts.size(); ++i) {
        if (!verdicts[i].flat)
            std::fprintf(stderr, "FAIL: %s: more and more, %s\n", Measurements::kinds[i].name,
                         when);
    }
    return flat;
}

/// The calls of the event-log library if it is the tests' stand-in, or null.
const EventLogCalls *eventLogCalls()
{
    QLibrary library(QStringLiteral("/usr/lib64/libcorvel-event-log.so"));
    return library.load() ? reinterpret_cast<EventLogCalls *>(library.resolve("calls")) : nullptr;
}

struct Options
{
    int duration = 0; // in seconds
    QString csvFile;
    bool leak = false;
};

Options parse(const QCoreApplication &app)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Does everything with the library at once for some time. Fails when "
                       "something comes out wrong or more and more is held."));
    const QCommandLineOption duration(QStringLiteral("duration"),
                                      QStringLiteral("How long: 10 or more."),
                                      QStringLiteral("seconds"));
    const QCommandLineOption csv(QStringLiteral("csv"),
                                 QStringLiteral("Writes what is held and done in between."),
                                 QStringLiteral("file"));
    const QCommandLineOption leak(
        QStringLiteral("leak"),
        QStringLiteral("Leaks memory, descriptors and threads, to show that they are noticed."));
    parser.addOptions({duration, csv, leak});
    parser.addHelpOption();
    parser.process(app);
    return {parser.value(duration).toInt(), parser.value(csv), parser.isSet(leak)};
}

/// How often samples are taken, in milliseconds: a thousand in all, at least four in the last
/// tenth.
int interval(const Options &options)
{
    return qBound(200, options.duration, 60000);
}

/// Does everything at once until the time is over or something has failed.
void run(const Options &options, Progress &progress, Csv &csv, Measurements &withBus,
         Measurements &withoutBus)
{
    std::vector<std::thread> threads;
    Agent agent(progress, options.leak);
    if (agent.start()) {
        for (const auto work : {encrypt, useFiles, runCommands})
            threads.emplace_back(work, std::ref(progress));
    }
    Measurements *current = &withBus;
    QElapsedTimer time;
    time.start();
    QTimer sampling;
    QObject::connect(&sampling, &QTimer::timeout, &sampling, [&] {
        const qint64 elapsed = time.elapsed();
        {
            const std::unique_lock<std::shared_mutex> atRest(progress.atWork);
            const Holdings &held = current->add();
            if (csv.isOpen())
                csv.add(double(elapsed) / 1000, held, progress);
        }
        if (elapsed >= options.duration * qint64(1000))
            progress.end();
        if (current == &withBus && double(elapsed) >= busTime * 1000 * options.duration) {
            current = &withoutBus;
            sampling.stop(); // the event loop runs meanwhile
            agent.loseBus();
            sampling.start();
        }
        if (!progress.wait(0))
            QCoreApplication::quit();
    });
    sampling.start(interval(options));
    if (!progress.failed())
        QCoreApplication::exec();
    progress.end();
    for (std::thread &thread : threads)
        thread.join();
}

/// Returns whether everything arrived and stayed flat.
bool show(Progress &progress, const Measurements &withBus, const Measurements &withoutBus)
{
    show(progress);
    const EventLogCalls *const calls = eventLogCalls();
    if (!calls)
        std::printf("\nThere was no event-log library to write the records to.\n");
    else if (calls->written != progress.records)
        progress.fail(QStringLiteral("event records are lost: %1 arrived").arg(calls->written));
    const bool flat = show(withBus, "with a bus");
    const bool flatWithoutBus = show(withoutBus, "after the bus was lost");
    return flat && flatWithoutBus && !progress.failed();
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    const Options options = parse(app);
    if (options.duration < 10) {
        std::fprintf(stderr, "soak: give a --duration of 10 seconds or more\n");
        return 2;
    }
    Csv csv;
    if (!options.csvFile.isEmpty() && !csv.open(options.csvFile)) {
        std::fprintf(stderr, "soak: %s cannot be written\n", qPrintable(options.csvFile));
        return 2;
    }

    Progress progress;
    progressOfLog = &progress;
    qInstallMessageHandler(countLine);
    const std::size_t expected =
        std::size_t(options.duration) * 1000 / std::size_t(interval(options));
    Measurements withBus(expected);
    Measurements withoutBus(expected);
    run(options, progress, csv, withBus, withoutBus);
    qInstallMessageHandler(nullptr);
    if (csv.isOpen() && csv.hasFailed())
        progress.fail(QStringLiteral("the samples were not written"));
    if (progress.failed())
        return EXIT_FAILURE;
    return show(progress, withBus, withoutBus) ? EXIT_SUCCESS : EXIT_FAILURE;
}
