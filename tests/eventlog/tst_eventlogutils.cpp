// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "descriptors.h"
#include "eventlogstandin.h"
#include "logcapture.h"
#include "sanitizers.h"
#include "standin.h"
#include "testprogram.h"

#include <syncstatus/eventlogutils.h>

#include <QByteArray>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLibrary>
#include <QProcess>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>

#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

static_assert(!std::is_polymorphic_v<EventLogUtils>);
static_assert(sizeof(EventLogUtils) == 2 * sizeof(void *), "the two entry points, nothing else");

static_assert(!std::is_default_constructible_v<EventLogUtils>, "get() makes the one object");
static_assert(!std::is_copy_constructible_v<EventLogUtils>);
static_assert(!std::is_copy_assignable_v<EventLogUtils>);

namespace {

const char libraryPath[] = "/usr/lib64/libcorvel-event-log.so";

std::vector<std::string> attempts; // the names tried; clazy:exclude=non-pod-global-static
int loadMode = -1;
int loads = 0;
int unloads = 0;
void *loaded = nullptr;
bool testsAreOver = false;

} // namespace

STANDIN void *dlopen(const char *file, int mode) noexcept
{
    void *const handle = NEXT(dlopen)(file, mode);
    if (!file || (mode & RTLD_NOLOAD))
        return handle;
    if (std::strstr(file, "corvel-event-log"))
        attempts.emplace_back(file);
    if (std::strcmp(file, libraryPath) != 0)
        return handle;
    loadMode = mode;
    if (handle) {
        ++loads;
        loaded = handle;
    }
    return handle;
}

STANDIN int dlclose(void *handle) noexcept
{
    if (loaded && handle == loaded) {
        ++unloads;
        if (testsAreOver) {
            std::fputs("the platform's library is unloaded at the end of the process\n", stderr);
            _exit(EXIT_FAILURE);
        }
    }
    return NEXT(dlclose)(handle);
}

namespace {

/// Milliseconds. No call waits, but a busy machine takes its time.
constexpr qint64 atOnce = 10000;

/// Takes what the process writes to a file descriptor.
class DescriptorCapture
{
public:
    explicit DescriptorCapture(int descriptor)
        : m_descriptor(descriptor), m_previous(dup(descriptor))
    {
        m_file.open();
        dup2(m_file.handle(), m_descriptor);
    }
    ~DescriptorCapture() { restore(); }
    Q_DISABLE_COPY(DescriptorCapture)

    QByteArray take()
    {
        restore();
        m_file.seek(0);
        return m_file.readAll();
    }

private:
    void restore()
    {
        if (m_previous < 0)
            return;
        dup2(m_previous, m_descriptor);
        close(m_previous);
        m_previous = -1;
    }

    int m_descriptor;
    int m_previous;
    QTemporaryFile m_file;
};

bool offers(const char *entryPoint)
{
    return qgetenv("EVENT_LOG_OFFERS").split(',').contains(entryPoint);
}

/// The calls of the stand-in library, or null when the process has not loaded it.
EventLogCalls *calls()
{
    return loaded ? static_cast<EventLogCalls *>(dlsym(loaded, "calls")) : nullptr;
}

void *entryPoint(const char *name)
{
    return loaded ? dlsym(loaded, name) : nullptr;
}

} // namespace

/// Runs once for each file that can be at the library's path, see CMakeLists.txt.
class TestEventLogUtils : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void getReturnsTheSameObjectAlways();
    void entryPointsAreTheFieldsInOrder();
    void entryPointsAreLookedUpInOrder() const;
    void theLibraryIsLoadedOnceAndStays();
    void theLibraryIsLoadedWithoutHints();
    void aLibraryThatIsInstalledLaterIsNotPickedUp() const;
    void initSyncPassesTheAgentsNameAndTrue();
    void writeLogsPassesTheVeryObject();
    void recordsArriveByteForByte_data();
    void recordsArriveByteForByte();
    void writingDoesNotNeedInitSync() const;
    void writingNeedsNoDescriptor() const;
    void nothingIsPrinted();
    // Also when the process ends, which the dlclose() above watches.
    void cleanupTestCase() { testsAreOver = true; }

private:
    void useItForTheFirstTime(bool withoutDescriptors);

    std::vector<std::string> m_attemptsOfTheFirst;
    EventLogUtils *const *m_instance = nullptr; // EventLogUtils::m_instance
    EventLogUtils *m_first = nullptr;
    int m_writtenBeforeInitSync = 0;
    int m_initializedBeforeInitSync = 0;
    QByteArray m_output;
    QStringList m_messages;
};

// The first get() of the process decides the state of the writer.
void TestEventLogUtils::initTestCase()
{
    const QByteArray library = qgetenv("EVENT_LOG_LIBRARY");
    QVERIFY2(!library.isEmpty(), "run this through ctest, which puts the stand-in in place");
    QCOMPARE(QFile::exists(QFile::decodeName(libraryPath)), library != "missing");
#ifdef ADDRESS_SANITIZED
    if (library == "out of reach")
        QSKIP("AddressSanitizer needs a descriptor whenever a library is to be loaded");
#endif

    m_instance =
        static_cast<EventLogUtils *const *>(dlsym(RTLD_DEFAULT, "_ZN13EventLogUtils10m_instanceE"));
    QVERIFY(m_instance);
    QCOMPARE(*m_instance, nullptr);
    useItForTheFirstTime(library == "out of reach");

    QVERIFY(m_first);
    QVERIFY(!attempts.empty());
    // No other name and no other try than a QLibrary makes that is given the path.
    if (library == "missing" || library == "broken") {
        attempts.clear();
        QVERIFY(!QLibrary(QString::fromLatin1(libraryPath)).load());
        QVERIFY(attempts == m_attemptsOfTheFirst);
    }
    QCOMPARE(loads, library == "loadable" ? 1 : 0);
    QCOMPARE(calls() != nullptr, library == "loadable");
    QCOMPARE(m_initializedBeforeInitSync, 0);
}

// Takes all that the first get() and the first use of each operation print.
void TestEventLogUtils::useItForTheFirstTime(bool withoutDescriptors)
{
    DescriptorCapture standardOutput(STDOUT_FILENO);
    DescriptorCapture standardError(STDERR_FILENO);
    LogCapture log;
    QElapsedTimer timer;
    timer.start();
    const int before = openDescriptors();
    {
        std::optional<DescriptorShortage> shortage;
        if (withoutDescriptors)
            shortage.emplace();
        m_first = EventLogUtils::get();
    }
    QVERIFY(timer.elapsed() < atOnce);
    QCOMPARE(openDescriptors(), before); // the library's file is closed once it is loaded
    m_attemptsOfTheFirst = attempts;
    m_first->writeLogs(R"({"tid":1,"version":"1.0.0"})");
    if (calls()) {
        m_writtenBeforeInitSync = calls()->written;
        m_initializedBeforeInitSync = calls()->initialized;
    }
    m_first->initSync();
    m_output = standardOutput.take() + standardError.take();
    m_messages = log.takeLines();
}

void TestEventLogUtils::getReturnsTheSameObjectAlways()
{
    QCOMPARE(EventLogUtils::get(), m_first);
    QCOMPARE(EventLogUtils::get(), m_first);
    QCOMPARE(*m_instance, m_first);
}

void TestEventLogUtils::entryPointsAreTheFieldsInOrder()
{
    std::array<void *, 2> fields{};
    static_assert(sizeof(fields) == sizeof(EventLogUtils));
    std::memcpy(fields.data(), m_first, sizeof(fields));
    QCOMPARE(fields[0], entryPoint("Initialize"));
    QCOMPARE(fields[1], entryPoint("WriteEventLog"));
}

// As the C library reports it for a second process.
void TestEventLogUtils::entryPointsAreLookedUpInOrder() const
{
    if (!calls())
        return;
    const QTemporaryDir folder;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LD_DEBUG"), QStringLiteral("symbols"));
    environment.insert(QStringLiteral("LD_DEBUG_OUTPUT"), folder.filePath(QStringLiteral("log")));
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(
        QCoreApplication::applicationFilePath(),
        {QStringLiteral("eventlogutils"), QStringLiteral("getReturnsTheSameObjectAlways")});
    QVERIFY(process.waitForFinished(-1)); // a busy machine takes long for so many lines
    // The name ends with the process's number.
    QFile log(folder.filePath(QDir(folder.path()).entryList(QDir::Files).value(0)));
    QVERIFY(log.open(QIODevice::ReadOnly));
    const QByteArray lookups = log.readAll();
    const int initialize = lookups.indexOf("symbol=Initialize;");
    QVERIFY(initialize >= 0);
    QVERIFY(lookups.indexOf("symbol=WriteEventLog;") > initialize);
}

void TestEventLogUtils::theLibraryIsLoadedOnceAndStays()
{
    const int before = loads;
    EventLogUtils::get();
    EventLogUtils::get();
    QCOMPARE(loads, before);
    QCOMPARE(loads, calls() ? 1 : 0);
    QCOMPARE(unloads, 0);

    void *const present = dlopen(libraryPath, RTLD_NOW | RTLD_NOLOAD);
    QCOMPARE(present, loaded);
}

// As a QLibrary without hints: lazily, with local symbols, and free to be unloaded.
void TestEventLogUtils::theLibraryIsLoadedWithoutHints()
{
    QCOMPARE(loadMode, RTLD_LAZY | RTLD_LOCAL);
}

// Nothing looks for the library after the first get(), so it does not matter whether it is there.
void TestEventLogUtils::aLibraryThatIsInstalledLaterIsNotPickedUp() const
{
    EventLogUtils::get();
    m_first->initSync();
    m_first->writeLogs("record");
    QVERIFY(attempts == m_attemptsOfTheFirst);
}

void TestEventLogUtils::initSyncPassesTheAgentsNameAndTrue()
{
    if (calls())
        *calls() = EventLogCalls();

    m_first->initSync();

    if (!calls())
        return;
    QCOMPARE(calls()->initialized, offers("Initialize") ? 1 : 0);
    QCOMPARE(calls()->applicationName,
             std::string(offers("Initialize") ? "org.corvel.license.agent" : ""));
    QCOMPARE(calls()->synchronous, offers("Initialize"));
    QCOMPARE(calls()->written, 0);
}

void TestEventLogUtils::writeLogsPassesTheVeryObject()
{
    if (calls())
        *calls() = EventLogCalls();
    const std::string record = R"({"tid":1000000001,"version":"1.0.0"})";

    m_first->writeLogs(record);

    if (!calls())
        return;
    QCOMPARE(calls()->written, offers("WriteEventLog") ? 1 : 0);
    QCOMPARE(calls()->recordAddress, offers("WriteEventLog") ? &record : nullptr);
    QCOMPARE(calls()->initialized, 0);
}

void TestEventLogUtils::recordsArriveByteForByte_data()
{
    QTest::addColumn<QByteArray>("record");

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("JSON") << QByteArray(R"({"tid":1,"version":"1.0.0","text":"ü"})");
    QTest::newRow("NUL inside") << QByteArray("a\0b\0", 4);
    QTest::newRow("NUL only") << QByteArray("\0", 1);
    QTest::newRow("not UTF-8") << QByteArray("\xff\xfe\xc3(\x80");
    QTest::newRow("line ends") << QByteArray("a\r\nb\n");
    QTest::newRow("10 MB") << QByteArray(10'000'000, '\xe4');
}

void TestEventLogUtils::recordsArriveByteForByte()
{
    QFETCH(const QByteArray, record);
    if (calls())
        calls()->record = "not called";

    m_first->writeLogs(record.toStdString());

    if (calls())
        QVERIFY(calls()->record == (offers("WriteEventLog") ? record.toStdString() : "not called"));
}

void TestEventLogUtils::writingDoesNotNeedInitSync() const
{
    QCOMPARE(m_writtenBeforeInitSync, offers("WriteEventLog") ? 1 : 0);
}

void TestEventLogUtils::writingNeedsNoDescriptor() const
{
    if (calls())
        *calls() = EventLogCalls();
    const int before = openDescriptors();
    LogCapture log;
    QElapsedTimer timer;
    timer.start();
    {
        const DescriptorShortage shortage;
        EventLogUtils::get()->initSync();
        EventLogUtils::get()->writeLogs("record");
    }
    QVERIFY(timer.elapsed() < atOnce);
    QCOMPARE(openDescriptors(), before);
    QCOMPARE(log.takeLines(), QStringList());
    if (!calls())
        return;
    QCOMPARE(calls()->initialized, offers("Initialize") ? 1 : 0);
    QCOMPARE(calls()->record, std::string(offers("WriteEventLog") ? "record" : ""));
}

void TestEventLogUtils::nothingIsPrinted()
{
    QCOMPARE(m_output, QByteArray());
    QCOMPARE(m_messages, QStringList());
}

SYNCSTATUS_TEST(TestEventLogUtils)
#include "tst_eventlogutils.moc"
