// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filesfixture.h"

#include <syncstatus/filemanager.h>

#include <QDir>
#include <QFileInfo>

#include <sys/mount.h>

using systemFileManager::FileManager;

namespace {

constexpr qint64 pageSize = 4096; // what a tmpfs gives out at a time

QString latin1(const char *text)
{
    return QString::fromLatin1(text);
}

QStringList accessError()
{
    return {agentWarning(QStringLiteral("write IniConfigFile fail:  QSettings::AccessError")),
            agentWarning(QStringLiteral("write IniConfigFile succeed"))};
}

QString line(const QString &path, const char *rest)
{
    return agentWarning(QLatin1Char('"') + path + QLatin1Char('"') + latin1(rest));
}

} // namespace

/// To be run by own-filesystems, which mounts them.
class FileSystems : public FilesFixture
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
        return ::mount(nullptr, QFile::encodeName(m_changing).constData(), nullptr,
                       MS_REMOUNT | MS_BIND | (readOnly ? MS_RDONLY : 0), nullptr) == 0;
    }
    // The small file system, emptied and then filled up to \a pages.
    QString fullBut(int pages)
    {
        QDir small(m_small);
        const QStringList old =
            small.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        for (const QString &name : old)
            small.remove(name);
        QFile filler(small.filePath(latin1("filler")));
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

void FileSystems::initTestCase()
{
    if (m_small.isEmpty() || m_readOnly.isEmpty())
        QSKIP("To be run by tests/files/own-filesystems");
}

void FileSystems::smallDataOnAFullDiskIsAnError()
{
    const QString file = fullBut(0) + latin1("/new");
    QVERIFY(!FileManager::writeFile("x", file));
    QCOMPARE(takeLines(), {line(file, "  write error!")});
    QCOMPARE(contentOf(file), QByteArray());

    QVERIFY(FileManager::writeFile(QByteArray(), file));
    QVERIFY(isOverAtOnce());
}

void FileSystems::aFileMakesRoomForItsOwnReplacement()
{
    const QString file = fullBut(1) + latin1("/old");
    QVERIFY(store(file, QByteArray(int(pageSize), 'o')));
    QVERIFY(FileManager::writeFile("new", file));
    QCOMPARE(contentOf(file), QByteArray("new"));
}

void FileSystems::dataThatFitsInPartCountsAsSuccess()
{
    const QString file = fullBut(2) + latin1("/part");
    const QByteArray data(int(3 * pageSize), 'd');
    QVERIFY(FileManager::writeFile(data, file));
    QVERIFY(contentOf(file) == data.left(int(2 * pageSize)));
    QVERIFY(isOverAtOnce());
}

void FileSystems::anIniFileOnAFullDiskStaysWhole_data()
{
    QTest::addColumn<int>("freePages");
    QTest::newRow("no room for the lock") << 0;
    QTest::newRow("no room for the new file") << 1;
    QTest::newRow("room for a part of the new file") << 3;
}

void FileSystems::anIniFileOnAFullDiskStaysWhole()
{
    QFETCH(int, freePages);

    const QString small = fullBut(freePages + 1);
    // A name of its own: QSettings goes on trying to write what it could not.
    const QString name = QStringLiteral("with%1free.ini").arg(freePages);
    const QString file = small + QLatin1Char('/') + name;
    QVERIFY(store(file, "[g]\nk=1\n"));
    QVariantMap values;
    for (int i = 0; i < 100; ++i)
        values[QStringLiteral("k%1").arg(i)] = QString(200, QLatin1Char('x'));
    FileManager::writeIniConfigFile({{latin1("g"), values}}, file);
    QCOMPARE(takeLines(), accessError());
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=1\n"));
    QCOMPARE(QDir(small).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             (QStringList{latin1("filler"), name}));
    QVERIFY(isOverAtOnce());
}

void FileSystems::theEndOfAnIniFileOnAFullDiskIsLost_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("freePages");
    QTest::addColumn<int>("length");
    QTest::newRow("room for the lock alone") << latin1("short.ini") << 2 << 10;
    QTest::newRow("room for a part of a long value") << latin1("long.ini") << 4 << 20'000;
}

void FileSystems::theEndOfAnIniFileOnAFullDiskIsLost()
{
    QFETCH(QString, name);
    QFETCH(int, freePages);
    QFETCH(int, length);

    const QString file = fullBut(freePages) + QLatin1Char('/') + name;
    QVERIFY(store(file, "[g]\nk=1\n"));
    FileManager::writeIniConfigFile(
        {{latin1("g"), {{latin1("value"), QString(length, QLatin1Char('x'))}}}}, file);
    const QStringList lines = takeLines();
    QEXPECT_FAIL("", "Qt 5 checks neither the last buffer nor for a short write", Continue);
    QCOMPARE(lines.size(), accessError().size());
    QEXPECT_FAIL("", "and puts what was written in the place of the old file", Continue);
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=1\n"));
    QVERIFY(isOverAtOnce());
}

void FileSystems::aReadOnlyFileIsRefused()
{
    const QString file = m_readOnly + latin1("/settings.ini");
    const QByteArray content("[g]\nk=1\n");
    QVERIFY(!FileManager::writeFile("x", file));
    QCOMPARE(takeLines(), {line(file, " ---- \"Read-only file system\"")});
    const QString none = m_readOnly + latin1("/none");
    QVERIFY(!FileManager::writeFile("x", none));
    QCOMPARE(takeLines(), {line(none, " ---- \"Read-only file system\"")});

    QCOMPARE(FileManager::readFile(file), content);
    QVERIFY(FileManager::isFileExist(file));
    QVERIFY(!FileManager::removeFile(file));
    QVERIFY(FileManager::checkPath(m_readOnly));
    QVERIFY(!FileManager::checkPath(none));
    QCOMPARE(contentOf(file), content);
    QVERIFY(isOverAtOnce());
}

void FileSystems::aReadOnlyIniFileIsReadAndNotWritten()
{
    const QString file = m_readOnly + latin1("/settings.ini");
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), QString()),
             latin1("1"));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 2}}}}, file);
    QCOMPARE(takeLines(), accessError());
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=1\n"));

    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 2}}}},
                                    m_readOnly + latin1("/none/new.ini"));
    QCOMPARE(takeLines(), accessError());
    QVERIFY(isOverAtOnce());
}

// Under an open program, between two of its calls.
void FileSystems::aFileSystemThatTurnsReadOnlyLosesNothing()
{
    const QString file = m_changing + latin1("/file");
    const QString ini = m_changing + latin1("/settings.ini");
    QVERIFY(FileManager::writeFile("old", file));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("a"), 1}}}}, ini);
    const QStringList succeeded{agentWarning(latin1("write IniConfigFile succeed"))};
    QCOMPARE(takeLines(), succeeded);

    QVERIFY(makeReadOnly(true));
    const bool isWritten = FileManager::writeFile("new", file);
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("b"), 2}}}}, ini);
    const bool isRemoved = FileManager::removeFile(file);
    const bool isMade = FileManager::checkPath(m_changing + latin1("/directory"));
    const QByteArray fileContent = contentOf(file);
    const QByteArray iniContent = contentOf(ini);
    QVERIFY(makeReadOnly(false));
    QVERIFY(!isWritten);
    QVERIFY(!isRemoved);
    QVERIFY(!isMade);
    QCOMPARE(takeLines(),
             QStringList{line(file, " ---- \"Read-only file system\"")} + accessError());
    QCOMPARE(fileContent, QByteArray("old"));
    QCOMPARE(iniContent, QByteArray("[g]\na=1\n"));

    // What was refused is written with what comes next.
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("c"), 3}}}}, ini);
    QCOMPARE(takeLines(), succeeded);
    QCOMPARE(contentOf(ini), QByteArray("[g]\na=1\nb=2\nc=3\n"));
    QVERIFY(isOverAtOnce());
}

QTEST_GUILESS_MAIN(FileSystems)
#include "filesystems.moc"
