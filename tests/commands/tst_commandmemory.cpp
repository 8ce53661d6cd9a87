// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "commandline.h"
#include "descriptors.h"
#include "logcapture.h"
#include "memoryuse.h"
#include "sanitizers.h"
#include "testprogram.h"

#include <syncstatus/utils.h>

#include <QFile>
#include <QtTest>

using utility::Utils;

namespace {

/// A figure of /proc/self/status, such as "VmHWM" (the most memory that the process has had).
qint64 kilobytes(const QByteArray &name)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(name + ':'))
            return line.mid(name.size() + 1).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

} // namespace

// In a process of its own, whose peak is this call's.
class TestCommandMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aHundredMegabytesTakeNoMoreThanTwiceTheirText();
    void aGibibyteIsMoreThanAStringHolds();
};

void TestCommandMemory::initTestCase()
{
    QString output;
    QVERIFY(Utils::executeCmd("echo word", output)); // Qt opens some to keep
}

void TestCommandMemory::aHundredMegabytesTakeNoMoreThanTwiceTheirText()
{
#ifdef SANITIZED
    QSKIP("a sanitizer keeps memory of its own");
#endif
    constexpr qint64 megabyte = 1024;
    constexpr int printed = 100 * 1024 * 1024;
    const qint64 before = kilobytes("VmRSS");
    QVERIFY(before > 0);
    QString output;
    QVERIFY(Utils::executeCmd(QStringLiteral("head -c %1 /dev/zero | tr '\\0' x").arg(printed),
                              output));
    const qint64 peak = kilobytes("VmHWM") - before;
    QCOMPARE(output.size(), printed);
    QCOMPARE(output.count(QLatin1Char('x')), printed);
    qInfo("peak of %lld kB for 100 MiB printed", peak);
    // Four bytes for each byte printed, and a tenth for the allocator. The text itself is half.
    QVERIFY(peak >= 200 * megabyte);
    QVERIFY(peak <= 440 * megabyte);
}

void TestCommandMemory::aGibibyteIsMoreThanAStringHolds()
{
    SKIP_WITHOUT_MEMORY(4);
    const QString command = QStringLiteral("head -c 1073741824 /dev/zero");
    const int descriptors = openDescriptors();
    const qint64 heap = heapInUse();
    QString output = QStringLiteral("before");
    LogCapture log;
    QVERIFY(!Utils::executeCmd(command, output));
    const qint64 left = heapInUse() - heap;
    QCOMPARE(output, QString());
    QCOMPARE(log.takeLines(), QStringList{goodLine(command)});
    QVERIFY2(left < qint64(64) * 1024, qPrintable(QString::number(left)));
    QCOMPARE(openDescriptors(), descriptors);
}

SYNCSTATUS_TEST(TestCommandMemory)
#include "tst_commandmemory.moc"
