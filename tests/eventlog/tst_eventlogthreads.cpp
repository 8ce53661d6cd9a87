// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "atonce.h"
#include "testprogram.h"

#include <syncstatus/eventlogutils.h>

#include <QTest>

#include <dlfcn.h>

#include <atomic>
#include <string>

class TestEventLogThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eightThreadsLoseNoRecord();
};

// With a platform's library that several threads may call at once.
void TestEventLogThreads::eightThreadsLoseNoRecord()
{
    constexpr int threads = 8;
    constexpr int rounds = 1000;
    EventLogUtils *const first = EventLogUtils::get(); // which no other call may run beside
    void *const library = dlopen("/usr/lib64/libcorvel-event-log.so", RTLD_LAZY | RTLD_NOLOAD);
    QVERIFY2(library, "run this through ctest, which puts the stand-in in place");
    const auto *const initialized = static_cast<std::atomic<int> *>(dlsym(library, "initialized"));
    const auto *const written = static_cast<std::atomic<int> *>(dlsym(library, "written"));
    QVERIFY(initialized && written);

    std::atomic<int> others{0};
    atOnce(threads, [&](int thread) {
        const std::string record = R"({"tid":)" + std::to_string(thread) + "}";
        for (int round = 0; round < rounds; ++round) {
            others += EventLogUtils::get() != first;
            first->initSync();
            first->writeLogs(record);
        }
    });
    QCOMPARE(others.load(), 0);
    QCOMPARE(initialized->load(), threads * rounds);
    QCOMPARE(written->load(), threads * rounds);
    dlclose(library);
}

SYNCSTATUS_TEST(TestEventLogThreads)
#include "tst_eventlogthreads.moc"
