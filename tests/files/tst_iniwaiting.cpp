// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "childprocess.h"
#include "filesfixture.h"
#include "filestandins.h"
#include "testprogram.h"

#include <syncstatus/filemanager.h>

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>

#include <fcntl.h>
#include <sys/stat.h>

#include <ctime>

using systemFileManager::FileManager;

namespace {

bool makeOlder(const QString &file, int seconds)
{
    const timespec times[] = {{0, UTIME_OMIT}, {std::time(nullptr) - seconds, 0}};
    return ::utimensat(AT_FDCWD, QFile::encodeName(file).constData(), times, 0) == 0;
}

} // namespace

/// What a write waits for, in real time.
class TestIniWaiting : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    void aWriteWaitsForACoarseTimeStamp_data();
    void aWriteWaitsForACoarseTimeStamp();
    void aLockThatIsHeldIsWaitedFor_data();
    void aLockThatIsHeldIsWaitedFor();
    void theLockOfADeadProcessIsTakenOver();
    void aLockThatNobodyHoldsIsTakenOverAfterThirtySeconds_data();
    void aLockThatNobodyHoldsIsTakenOverAfterThirtySeconds();
    void aDirectoryInThePlaceOfTheLockIsWaitedFor();
};

void TestIniWaiting::aWriteWaitsForACoarseTimeStamp_data()
{
    QTest::addColumn<int>("tick"); // milliseconds
    QTest::addColumn<bool>("reached");
    QTest::newRow("two seconds, FAT's") << 2000 << true;
    QTest::newRow("one that never comes") << 1'000'000 << false;
}

void TestIniWaiting::aWriteWaitsForACoarseTimeStamp()
{
    QFETCH(int, tick);
    QFETCH(bool, reached);

    const QString file = path("coarse.ini");
    QVERIFY(store(file, "[one]\nk=\xc3\xbc\n"));
    FileManager::readIniConfigFile(file, "one", "k", QString());
    QElapsedTimer timer;
    timer.start();
    faults.nextTick.setRemainingTime(tick);
    faults.stamps = 0;
    FileManager::writeIniConfigFile({{"two", {{"new", 1}}}}, file);
    const qint64 waited = timer.elapsed();
    const int stamps = faults.stamps;
    faults = {};
    QCOMPARE(takeLines(), succeeded());
    QVERIFY2(waited >= (reached ? tick : 3000), qPrintable(QString::number(waited)));
    // It sleeps in between: a busy loop would get to hundreds of thousands.
    QVERIFY2(stamps > 10 && stamps < 5000, qPrintable(QString::number(stamps)));
    const QByteArray kept(reached ? "\xc3\xbc" : "\xc3\x83\xc2\xbc");
    QCOMPARE(contentOf(file), "[one]\nk=" + kept + "\n\n[two]\nnew=1\n");
}

void TestIniWaiting::aLockThatIsHeldIsWaitedFor_data()
{
    QTest::addColumn<int>("age"); // seconds
    QTest::newRow("a new lock") << 0;
    QTest::newRow("an old lock") << 40;
}

void TestIniWaiting::aLockThatIsHeldIsWaitedFor()
{
    QFETCH(int, age);

    const QString file = path("held.ini");
    QVERIFY(store(file, "[g]\nk=1\n"));
    ChildProcess holder;
    QVERIFY(holder.startServer(INI_PEER, {"lock", file + ".lock", "1000"}));
    QVERIFY(makeOlder(file + ".lock", age));
    // Readers don't wait.
    QCOMPARE(FileManager::readSettingFile(file, "g").value("k"), latin1("1"));
    FileManager::writeIniConfigFile({{"g", {{"k", 2}}}}, file);
    QElapsedTimer end;
    end.start();

    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=2\n"));
    const qint64 freed = holder.waitForLine().toLongLong();
    QVERIFY(freed > 0);
    QVERIFY2(end.msecsSinceReference() >= freed, qPrintable(QString::number(freed)));
    QVERIFY(holder.waitForFinished());
}

void TestIniWaiting::theLockOfADeadProcessIsTakenOver()
{
    const QString file = path("left.ini");
    ChildProcess holder;
    QVERIFY(holder.startServer(INI_PEER, {"lock", file + ".lock", "600000"}));
    holder.stop();
    QVERIFY(QFile::exists(file + ".lock"));
    QElapsedTimer timer;
    timer.start();
    FileManager::writeIniConfigFile({{"g", {{"k", 1}}}}, file);
    QVERIFY2(timer.elapsed() < 25000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=1\n"));
    QVERIFY(!QFile::exists(file + ".lock"));
}

void TestIniWaiting::aLockThatNobodyHoldsIsTakenOverAfterThirtySeconds_data()
{
    QTest::addColumn<int>("age");
    QTest::addColumn<int>("atLeast"); // milliseconds
    QTest::newRow("older") << 31 << 0;
    QTest::newRow("not yet so old") << 28 << 1000; // 30 s less 28, and the second that time() is in
}

void TestIniWaiting::aLockThatNobodyHoldsIsTakenOverAfterThirtySeconds()
{
    QFETCH(int, age);
    QFETCH(int, atLeast);

    const QString file = path("foreign.ini");
    QVERIFY(store(file + ".lock", ""));
    QVERIFY(makeOlder(file + ".lock", age));
    QElapsedTimer timer;
    timer.start();
    FileManager::writeIniConfigFile({{"g", {{"k", 1}}}}, file);
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed >= atLeast && elapsed < 25000, qPrintable(QString::number(elapsed)));
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=1\n"));
    QVERIFY(!QFile::exists(file + ".lock"));
}

void TestIniWaiting::aDirectoryInThePlaceOfTheLockIsWaitedFor()
{
    const QString file = path("blocked.ini");
    const QString lock = file + ".lock";
    QVERIFY(QDir().mkdir(lock));
    QVERIFY(makeOlder(lock, 40)); // a file of this age would be taken over
    QProcess writer;
    writer.start(INI_PEER, {"write", file, "key", "1"});
    QVERIFY(writer.waitForStarted());
    writer.closeWriteChannel();
    QVERIFY(!writer.waitForFinished(1000));
    QVERIFY(!QFile::exists(file));

    QVERIFY(QDir().rmdir(lock));
    QVERIFY(writer.waitForFinished());
    QCOMPARE(writer.exitCode(), 0);
    QCOMPARE(FileManager::readSettingFile(file, "shared").size(), 1);
}

SYNCSTATUS_TEST(TestIniWaiting)
#include "tst_iniwaiting.moc"
