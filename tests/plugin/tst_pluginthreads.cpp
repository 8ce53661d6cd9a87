// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "atonce.h"
#include "pluginfixture.h"
#include "testprogram.h"

#include <QTest>

#include <array>
#include <mutex>

using custompluginmanager::PluginBase;

// What a host may do from several threads.
class TestPluginThreads : public PluginFixture
{
    Q_OBJECT

private Q_SLOTS:
    void threadsThatTakeTurnsGetOnePluginObject();
    void firstLinesFromSeveralThreadsMakeOneCategory();
};

void TestPluginThreads::threadsThatTakeTurnsGetOnePluginObject()
{
    const auto instance =
        reinterpret_cast<QObject *(*)()>(m_library->resolve("qt_plugin_instance"));
    QVERIFY(instance);
    std::array<QObject *, 8> got{};
    std::mutex turn; // the host sees to it that two first calls do not overlap
    atOnce(int(got.size()), [&](int thread) {
        const std::lock_guard locker(turn);
        got[size_t(thread)] = instance();
    });
    const QScopedPointer<QObject> plugin(got[0]);
    QVERIFY(plugin);
    for (const QObject *object : got)
        QCOMPARE(object, plugin.data());
    QCOMPARE(barehost::takeCalls(), QStringList({"PluginBase"}));
}

void TestPluginThreads::firstLinesFromSeveralThreadsMakeOneCategory()
{
    constexpr int threadCount = 8;
    for (int round = 0; round < 25; ++round) {
        categoriesMade.ours = 0;
        PluginBase *const plugin = load();
        QVERIFY(plugin);
        atOnce(threadCount, [plugin](int) { plugin->delayedInitialize(); });
        QCOMPARE(categoriesMade.ours.load(), 1);
        const QStringList lines = m_log->takeLines();
        QCOMPARE(lines.size(), threadCount);
        QCOMPARE(lines.count(agentDebug("codestack:  delayed initialize sync status plugin")),
                 threadCount);
        QVERIFY(m_loader->unload()); // so that the next round is a first use again
    }
}

SYNCSTATUS_TEST(TestPluginThreads)

#include "tst_pluginthreads.moc"
