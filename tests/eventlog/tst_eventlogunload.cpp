// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include <QFile>
#include <QLibrary>
#include <QTest>

namespace {

// The one object is never freed. Leak detection finds it here.
const void *volatile writer = nullptr;

} // namespace

// This program does not link the library: it can be unloaded.
class TestEventLogUnload : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatQtKeepsOfThePlatformsLibraryOutlivesThisOne();
};

void TestEventLogUnload::whatQtKeepsOfThePlatformsLibraryOutlivesThisOne()
{
    QLibrary library(QStringLiteral(SYNCSTATUS_LIBRARY));
    QVERIFY2(library.load(), qPrintable(library.errorString()));
    const auto get =
        reinterpret_cast<const void *(*)()>(library.resolve("_ZN13EventLogUtils3getEv"));
    QVERIFY(get);
    writer = get();
    QVERIFY(writer);
    QVERIFY2(library.unload(), qPrintable(library.errorString()));

    QFile maps(QStringLiteral("/proc/self/maps"));
    QVERIFY(maps.open(QIODevice::ReadOnly));
    const QByteArray mapped = maps.readAll();
    QVERIFY(!mapped.contains("libsyncstatus"));
    QVERIFY(mapped.contains("libcorvel-event-log"));
    // Qt looks it up by the name that it has kept.
    QLibrary platform(QStringLiteral("/usr/lib64/libcorvel-event-log.so"));
    QVERIFY(platform.isLoaded());
    QVERIFY2(platform.load(), qPrintable(platform.errorString()));
    QVERIFY(platform.resolve("WriteEventLog"));
}

QTEST_GUILESS_MAIN(TestEventLogUnload)
#include "tst_eventlogunload.moc"
