// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filesfixture.h"
#include "testprogram.h"

#include <syncstatus/filemanager.h>

#include <QDir>

#include <sys/mount.h>

using systemFileManager::FileManager;

namespace {

constexpr qint64 pageSize = 4096; // what a tmpfs gives out at a time

} // namespace

/// Runs under own-filesystems, which mounts the file systems.
class TestFileSystems : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void smallDataOnAFullDiskIsAnError();
    void aFileMakesRoomForItsOwnReplacement();
    void dataThatFitsInPartCountsAsSuccess();
    void anIniFileOnAFullDiskStaysWhole_data();
    void anIniFileOnAFullDiskStaysWhole();
    void theEndOfAnIniFileOnAFullDiskIsLost_data();
    void theEndOfAnIniFileOnAFullDiskIsLost();
    void aReadOnlyFileIsRefused();
    void aReadOnlyIniFileIsReadAndNotWritten();
    void aFileSystemThatTurnsReadOnlyLosesNothing();

private:
    bool makeReadOnly(bool readOnly)
    {
        const unsigned long change = MS_REMOUNT | MS_BIND;
        return ::mount(nullptr, QFile::encodeName(m_changing).constData(), nullptr,
                       readOnly ? change | MS_RDONLY : change, nullptr) == 0;
    }
    // The small file system, emptied and then filled up to \a pages.
    QString fullBut(int pages)
    {
        QDir small(m_small);
        const QStringList old =
            small.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        for (const QString &name : old)
            small.remove(name);
        QFile filler(small.filePath("filler"));
        if (!filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            return {};
        while (filler.write(QByteArray(int(pageSize), 'f')) == pageSize)
            ;
        return filler.resize(filler.size() - pages * pageSize) ? m_small : QString();
    }

    QString m_small = qEnvironmentVariable("SYNCSTATUS_TEST_SMALL_FS");
    QString m_readOnly = qEnvironmentVariable("SYNCSTATUS_TEST_READONLY_FS");
    QString m_changing = qEnvironmentVariable("SYNCSTATUS_TEST_CHANGING_FS");
};

void TestFileSystems::initTestCase()
{
    if (m_small.isEmpty() || m_readOnly.isEmpty())
        QSKIP("To be run by tests/files/own-filesystems");
}

void TestFileSystems::smallDataOnAFullDiskIsAnError()
{
    const QString file = fullBut(0) + "/new";
    QVERIFY(!FileManager::writeFile("x", file));
    QCOMPARE(takeLines(), writeError(file));
    QCOMPARE(contentOf(file), QByteArray());

    QVERIFY(FileManager::writeFile(QByteArray(), file));
    QVERIFY(isOverAtOnce());
}

void TestFileSystems::aFileMakesRoomForItsOwnReplacement()
{
    const QString file = fullBut(1) + "/old";
    QVERIFY(store(file, QByteArray(int(pageSize), 'o')));
    QVERIFY(FileManager::writeFile("new", file));
    QCOMPARE(contentOf(file), QByteArray("new"));
}

void TestFileSystems::dataThatFitsInPartCountsAsSuccess()
{
    const QString file = fullBut(2) + "/part";
    const QByteArray data(int(3 * pageSize), 'd');
    QVERIFY(FileManager::writeFile(data, file));
    QVERIFY(contentOf(file) == data.left(int(2 * pageSize)));
    QVERIFY(isOverAtOnce());
}

void TestFileSystems::anIniFileOnAFullDiskStaysWhole_data()
{
    QTest::addColumn<int>("freePages");
    QTest::newRow("no room for the lock") << 0;
    QTest::newRow("no room for the new file") << 1;
    QTest::newRow("room for a part of the new file") << 3;
}

void TestFileSystems::anIniFileOnAFullDiskStaysWhole()
{
    QFETCH(int, freePages);

    const QString small = fullBut(freePages + 1);
    // Each row has another name: QSettings tries again later to write what it could not.
    const QString name = QStringLiteral("with%1free.ini").arg(freePages);
    const QString file = small + QLatin1Char('/') + name;
    QVERIFY(store(file, "[g]\nk=1\n"));
    QVariantMap values;
    for (int i = 0; i < 100; ++i)
        values[QStringLiteral("k%1").arg(i)] = QString(200, QLatin1Char('x'));
    FileManager::writeIniConfigFile({{"g", values}}, file);
    QCOMPARE(takeLines(), failed("AccessError"));
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=1\n"));
    QCOMPARE(QDir(small).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             (QStringList{"filler", name}));
    QVERIFY(isOverAtOnce());
}

void TestFileSystems::theEndOfAnIniFileOnAFullDiskIsLost_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("freePages");
    QTest::addColumn<int>("length");
    QTest::newRow("room for the lock alone") << "short.ini" << 2 << 10;
    QTest::newRow("room for a part of a long value") << "long.ini" << 4 << 20'000;
}

void TestFileSystems::theEndOfAnIniFileOnAFullDiskIsLost()
{
    QFETCH(QString, name);
    QFETCH(int, freePages);
    QFETCH(int, length);

    const QString file = fullBut(freePages) + QLatin1Char('/') + name;
    QVERIFY(store(file, "[g]\nk=1\n"));
    FileManager::writeIniConfigFile({{"g", {{"value", QString(length, QLatin1Char('x'))}}}}, file);
    const QStringList lines = takeLines();
    QEXPECT_FAIL("", "Qt 5 checks neither the last buffer nor for a short write", Continue);
    QCOMPARE(lines.size(), failed("AccessError").size());
    QEXPECT_FAIL("", "and puts what was written in the place of the old file", Continue);
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=1\n"));
    QVERIFY(isOverAtOnce());
}

void TestFileSystems::aReadOnlyFileIsRefused()
{
    const QString file = m_readOnly + "/settings.ini";
    const QByteArray content("[g]\nk=1\n");
    QVERIFY(!FileManager::writeFile("x", file));
    QCOMPARE(takeLines(), openError(file, "Read-only file system"));
    const QString none = m_readOnly + "/none";
    QVERIFY(!FileManager::writeFile("x", none));
    QCOMPARE(takeLines(), openError(none, "Read-only file system"));

    QCOMPARE(FileManager::readFile(file), content);
    QVERIFY(FileManager::isFileExist(file));
    QVERIFY(!FileManager::removeFile(file));
    QVERIFY(FileManager::checkPath(m_readOnly));
    QVERIFY(!FileManager::checkPath(none));
    QCOMPARE(contentOf(file), content);
    QVERIFY(isOverAtOnce());
}

void TestFileSystems::aReadOnlyIniFileIsReadAndNotWritten()
{
    const QString file = m_readOnly + "/settings.ini";
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "k", QString()), latin1("1"));
    FileManager::writeIniConfigFile({{"g", {{"k", 2}}}}, file);
    QCOMPARE(takeLines(), failed("AccessError"));
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=1\n"));

    FileManager::writeIniConfigFile({{"g", {{"k", 2}}}}, m_readOnly + "/none/new.ini");
    QCOMPARE(takeLines(), failed("AccessError"));
    QVERIFY(isOverAtOnce());
}

void TestFileSystems::aFileSystemThatTurnsReadOnlyLosesNothing()
{
    const QString file = m_changing + "/file";
    const QString ini = m_changing + "/settings.ini";
    QVERIFY(FileManager::writeFile("old", file));
    FileManager::writeIniConfigFile({{"g", {{"a", 1}}}}, ini);
    const QStringList succeeded{agentWarning("write IniConfigFile succeed")};
    QCOMPARE(takeLines(), succeeded);

    QVERIFY(makeReadOnly(true));
    const bool isWritten = FileManager::writeFile("new", file);
    FileManager::writeIniConfigFile({{"g", {{"b", 2}}}}, ini);
    const bool isRemoved = FileManager::removeFile(file);
    const bool isMade = FileManager::checkPath(m_changing + "/directory");
    const QByteArray fileContent = contentOf(file);
    const QByteArray iniContent = contentOf(ini);
    QVERIFY(makeReadOnly(false));
    QVERIFY(!isWritten);
    QVERIFY(!isRemoved);
    QVERIFY(!isMade);
    QCOMPARE(takeLines(), openError(file, "Read-only file system") + failed("AccessError"));
    QCOMPARE(fileContent, QByteArray("old"));
    QCOMPARE(iniContent, QByteArray("[g]\na=1\n"));

    // The next write writes what was refused.
    FileManager::writeIniConfigFile({{"g", {{"c", 3}}}}, ini);
    QCOMPARE(takeLines(), succeeded);
    QCOMPARE(contentOf(ini), QByteArray("[g]\na=1\nb=2\nc=3\n"));
    QVERIFY(isOverAtOnce());
}

SYNCSTATUS_TEST(TestFileSystems)
#include "tst_filesystems.moc"
