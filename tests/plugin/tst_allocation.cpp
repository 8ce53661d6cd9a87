// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// A bare host whose operator new can fail and counts its allocations. The executable's definition
// comes first, so the library and Qt use it too.

#include "atonce.h"
#include "barehost.h"
#include "testprogram.h"

#include <QLibrary>
#include <QLoggingCategory>
#include <QScopedPointer>
#include <QTest>

#include <array>
#include <atomic>
#include <cstdlib>
#include <new>

using custompluginmanager::PluginBase;

namespace {

std::atomic<int> given{0};         // since the start
std::atomic<int> living{0};        // given and not taken back
std::atomic<int> untilFailure{0};  // the next but how many fails; 0: none
thread_local bool allFail = false; // in this thread
std::array<std::size_t, 8> sizes;  // of the last ones that were given, in turn

} // namespace

Q_DECL_EXPORT void *operator new(std::size_t size)
{
    if (allFail || (untilFailure > 0 && --untilFailure == 0))
        throw std::bad_alloc();
    void *const memory = std::malloc(size);
    if (!memory)
        throw std::bad_alloc();
    sizes[size_t(given++) % sizes.size()] = size;
    ++living;
    return memory;
}

Q_DECL_EXPORT void operator delete(void *memory) noexcept
{
    if (memory)
        --living;
    std::free(memory);
}

Q_DECL_EXPORT void operator delete(void *memory, std::size_t) noexcept
{
    operator delete(memory);
}

class TestAllocation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void failureWhileConstructingPropagatesAndLeaksNothing();
    void firstCallsAtOnceFailEachForItself();
    void linesThatAreSwitchedOffAllocateNothing();

private:
    using Instance = QObject *(*)();

    QLibrary m_library{QStringLiteral(SYNCSTATUS_PLUGIN_FILE)};
    Instance m_instance = nullptr;
};

void TestAllocation::init()
{
    m_instance = reinterpret_cast<Instance>(m_library.resolve("qt_plugin_instance"));
    QVERIFY2(m_instance, qPrintable(m_library.errorString()));
    barehost::takeCalls();
}

void TestAllocation::cleanup()
{
    QLoggingCategory::setFilterRules(QString());
    m_instance = nullptr;
    QVERIFY(m_library.unload());
}

void TestAllocation::failureWhileConstructingPropagatesAndLeaksNothing()
{
    // In order: the plugin object, its QObject's private data, the private part with the
    // implementation object, that one's QObject's private data, the extra data for its name.
    constexpr int allocations = 5;
    for (int failing = 1; failing <= allocations; ++failing) {
        barehost::takeCalls();
        const int before = living;
        bool thrown = false;
        untilFailure = failing;
        try {
            m_instance();
        } catch (const std::bad_alloc &) {
            thrown = true;
        }
        const bool failed = untilFailure == 0;
        untilFailure = 0;
        QVERIFY(failed);
        QVERIFY(thrown);
        QCOMPARE(living.load(), before);
        // Nothing was registered or removed, and the base part was destroyed if there was one.
        QStringList expected;
        if (failing > 2)
            expected = QStringList({"PluginBase", "~PluginBase"});
        QCOMPARE(barehost::takeCalls(), expected);
    }

    const int before = given;
    QObject *const plugin = m_instance();
    QVERIFY(plugin);
    // The guarded pointer to the finished plugin object needs one more.
    QCOMPARE(given - before, allocations + 1);
    // The plugin object has one pointer after its base part. The private part has only the
    // implementation object.
    QCOMPARE(sizes[size_t(before) % sizes.size()], sizeof(PluginBase) + sizeof(void *));
    QCOMPARE(sizes[size_t(before + 2) % sizes.size()], sizeof(QObject));
    QCOMPARE(m_instance(), plugin);
    delete plugin;
}

// Several threads at once may use the guarded pointer to the plugin object for the first time. They
// may not make the object, so here that fails and the pointer is only read.
void TestAllocation::firstCallsAtOnceFailEachForItself()
{
    constexpr int threads = 8;
    const int before = living;
    std::atomic<int> thrown{0};
    atOnce(threads, [&](int) {
        allFail = true;
        try {
            m_instance();
        } catch (const std::bad_alloc &) {
            ++thrown;
        }
        allFail = false;
    });
    QCOMPARE(thrown.load(), threads);
    QCOMPARE(living.load(), before);
    QCOMPARE(barehost::takeCalls(), QStringList());
    const QScopedPointer<QObject> plugin(m_instance());
    QVERIFY(plugin);
}

void TestAllocation::linesThatAreSwitchedOffAllocateNothing()
{
    auto *const plugin = qobject_cast<PluginBase *>(m_instance());
    QVERIFY(plugin);
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent=false"));
    plugin->delayedInitialize(); // makes the category
    plugin->initialize(nullptr);
    plugin->extensionsInitialized();

    int before = given;
    for (int i = 0; i < 10; ++i) {
        QVERIFY(plugin->delayedInitialize());
        QVERIFY(plugin->initialize(nullptr));
        plugin->extensionsInitialized();
    }
    const int switchedOff = given - before;

    const QtMessageHandler discard = [](QtMsgType, const QMessageLogContext &, const QString &) {};
    const QtMessageHandler previous = qInstallMessageHandler(discard);
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent.debug=true"));
    before = given;
    plugin->delayedInitialize();
    const int switchedOn = given - before;
    qInstallMessageHandler(previous);
    delete plugin;

    QCOMPARE(switchedOff, 0);
    QVERIFY(switchedOn > 0); // so allocations are counted
}

SYNCSTATUS_TEST(TestAllocation)

#include "tst_allocation.moc"
