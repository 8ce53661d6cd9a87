// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filesfixture.h"
#include "filestandins.h"
#include "testprogram.h"
#include "throwsnothing.h"

#include <syncstatus/filemanager.h>

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>
#include <type_traits>

using systemFileManager::FileManager;

static_assert(throwsNothing(FileManager::writeIniConfigFile, FileManager::readIniConfigFile,
                            FileManager::readSettingFile, FileManager::readFile,
                            FileManager::writeFile, FileManager::isFileExist,
                            FileManager::checkPath, FileManager::removeFile, FileManager::parseJson,
                            FileManager::parseJsonData,
                            FileManager::transQBytearrayToJsonDocument));
static_assert(!std::is_default_constructible_v<FileManager>);

namespace {

/// How often this process has called the system to write; -1 where the system does not say.
qint64 writeCalls()
{
    QFile file(QStringLiteral("/proc/self/io"));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("syscw: "))
            return line.mid(7).toLongLong();
    }
    return -1;
}

} // namespace

class TestWholeFiles : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    void readsEveryByte();
    void readsAnEmptyFileInSilence();
    void readsFilesWhoseSizeSaysNothing();
    void readsAFifoToItsEnd();
    void saysWhyAFileCannotBeRead();
    void givesNothingForAFileThatIsTooLarge();
    void writesANewFile();
    void leavesExactlyTheNewBytes();
    void writesAnEmptyFile();
    void truncatesTwiceAndWritesInOneCall();
    void keepsTheFileItself();
    void followsALinkThatPointsNowhere();
    void saysWhyAFileCannotBeWritten();
    void aFullDiskIsAnError_data();
    void aFullDiskIsAnError();
    void aFifoRefusesToBeTruncatedAndIsWrittenTo();
    void aDeviceRefusesToBeTruncatedAndIsWrittenTo();
    void writesNoLinesWhenWarningsAreOff();
    void leavesNoDescriptorOpen();
};

void TestWholeFiles::readsEveryByte()
{
    QByteArray all;
    for (int i = 0; i < 300'000; ++i)
        all.append(char(i * 7 + i / 256));
    QVERIFY(store(path("all"), all));
    QVERIFY(FileManager::readFile(path("all")) == all);
}

void TestWholeFiles::readsAnEmptyFileInSilence()
{
    QVERIFY(store(path("empty"), ""));
    QCOMPARE(FileManager::readFile(path("empty")), QByteArray());
}

void TestWholeFiles::readsFilesWhoseSizeSaysNothing()
{
    QVERIFY(FileManager::readFile("/proc/self/status").startsWith("Name:"));
}

void TestWholeFiles::readsAFifoToItsEnd()
{
    const QByteArray fifo = QFile::encodeName(path("fifo"));
    QCOMPARE(::mkfifo(fifo.constData(), 0600), 0);
    const QByteArray data(200'000, 'x'); // more than a pipe holds
    std::thread writer([&fifo, &data] {
        const int fd = ::open(fifo.constData(), O_WRONLY | O_CLOEXEC);
        for (int written = 0; written < data.size();) {
            const auto count =
                ::write(fd, data.constData() + written, size_t(data.size() - written));
            if (count <= 0)
                break;
            written += int(count);
        }
        ::close(fd);
    });
    const QByteArray read = FileManager::readFile(path("fifo"));
    writer.join();
    QVERIFY(read == data);
}

void TestWholeFiles::saysWhyAFileCannotBeRead()
{
    const QString none = path("none");
    QCOMPARE(FileManager::readFile(none), QByteArray());
    QCOMPARE(takeLines(), openError(none, "No such file or directory"));

    const QString directory = path("directory");
    QVERIFY(QDir().mkdir(directory));
    QCOMPARE(FileManager::readFile(directory), QByteArray());
    QCOMPARE(takeLines(), openError(directory, "file to open is a directory"));

    const QString link = path("link");
    QVERIFY(QFile::link("nowhere", link));
    QCOMPARE(FileManager::readFile(link), QByteArray());
    QCOMPARE(takeLines(), openError(link, "No such file or directory"));

    QVERIFY(store(path("file"), "x"));
    const QString through = path("file/inside");
    QCOMPARE(FileManager::readFile(through), QByteArray());
    QCOMPARE(takeLines(), openError(through, "Not a directory"));
}

void TestWholeFiles::givesNothingForAFileThatIsTooLarge()
{
    QFile file(path("huge"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    if (!file.resize(qint64(3) << 30))
        QSKIP("This file system has no files of 3 GiB");
    QCOMPARE(FileManager::readFile(file.fileName()), QByteArray());
}

void TestWholeFiles::writesANewFile()
{
    const QString file = path("new");
    const QByteArray bytes("some\0bytes\xff", 11);
    const mode_t before = ::umask(026);
    const bool written = FileManager::writeFile(bytes, file);
    ::umask(before);
    QVERIFY(written);
    QCOMPARE(contentOf(file), bytes);
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(file).constData(), &status), 0);
    QCOMPARE(status.st_mode & 07777U, 0640U);
}

void TestWholeFiles::leavesExactlyTheNewBytes()
{
    const QString file = path("old");
    QVERIFY(store(file, QByteArray(100'000, 'o')));
    QVERIFY(FileManager::writeFile("new", file));
    QCOMPARE(contentOf(file), QByteArray("new"));

    const QByteArray large(3'000'000, 'l');
    QVERIFY(FileManager::writeFile(large, file));
    QVERIFY(contentOf(file) == large);
}

void TestWholeFiles::writesAnEmptyFile()
{
    const QString file = path("old");
    QVERIFY(store(file, "old"));
    QVERIFY(FileManager::writeFile(QByteArray(), file));
    QVERIFY(QFile::exists(file));
    QCOMPARE(contentOf(file), QByteArray());
    QVERIFY(FileManager::writeFile("", path("new")));
    QVERIFY(QFile::exists(path("new")));
}

void TestWholeFiles::truncatesTwiceAndWritesInOneCall()
{
    const QString file = path("old");
    QVERIFY(store(file, QByteArray(100'000, 'o')));
    for (const int size : {0, 1, 5000, 3'000'000}) {
        const QByteArray data(size, 'n');
        faults.truncations = 0;
        const qint64 before = writeCalls();
        QVERIFY(FileManager::writeFile(data, file));
        const qint64 after = writeCalls();
        // The other truncation is open()'s.
        QCOMPARE(faults.truncations, 1);
        if (before != -1)
            QVERIFY2(after - before == (size > 0 ? 1 : 0), qPrintable(QString::number(size)));
        QVERIFY(contentOf(file) == data);
    }
    QVERIFY(store(file, "something longer"));
    faults.ignoresTruncation = true;
    const bool written = FileManager::writeFile("new", file);
    faults = {};
    QVERIFY(written);
    QCOMPARE(contentOf(file), QByteArray("new"));
    if (writeCalls() == -1)
        QSKIP("/proc/self/io does not count the write calls here");
}

void TestWholeFiles::keepsTheFileItself()
{
    const QString file = path("old");
    QVERIFY(store(file, "old"));
    const QByteArray name = QFile::encodeName(file);
    QCOMPARE(::chmod(name.constData(), 0604), 0);
    QCOMPARE(::link(name.constData(), QFile::encodeName(path("hardlink")).constData()), 0);
    QVERIFY(QFile::link(file, path("link")));
    QVERIFY(FileManager::writeFile("new", path("link")));

    QCOMPARE(contentOf(path("hardlink")), QByteArray("new"));
    QVERIFY(QFileInfo(path("link")).isSymLink());
    struct stat status = {};
    QCOMPARE(::stat(name.constData(), &status), 0);
    QCOMPARE(status.st_mode & 07777U, 0604U);
}

void TestWholeFiles::followsALinkThatPointsNowhere()
{
    QVERIFY(QFile::link("target", path("link")));
    QVERIFY(FileManager::writeFile("data", path("link")));
    QVERIFY(QFileInfo(path("link")).isSymLink());
    QCOMPARE(contentOf(path("target")), QByteArray("data"));
}

void TestWholeFiles::saysWhyAFileCannotBeWritten()
{
    const QString directory = path("directory");
    QVERIFY(QDir().mkdir(directory));
    QVERIFY(!FileManager::writeFile("x", directory));
    QCOMPARE(takeLines(), openError(directory, "Is a directory"));

    const QString nowhere = path("none/file");
    QVERIFY(!FileManager::writeFile("x", nowhere));
    QCOMPARE(takeLines(), openError(nowhere, "No such file or directory"));
    QVERIFY(!QFile::exists(path("none")));
}

void TestWholeFiles::aFullDiskIsAnError_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("a byte") << 1;
    QTest::newRow("less than a buffer") << 5000;
    QTest::newRow("more than a buffer") << 100'000;
}

void TestWholeFiles::aFullDiskIsAnError()
{
    QFETCH(int, size);
    const QString full = "/dev/full";
    QVERIFY(!FileManager::writeFile(QByteArray(size, 'x'), full));
    QCOMPARE(takeLines(), writeError(full));
}

void TestWholeFiles::aFifoRefusesToBeTruncatedAndIsWrittenTo()
{
    const QString fifo = path("fifo");
    const QByteArray name = QFile::encodeName(fifo);
    QCOMPARE(::mkfifo(name.constData(), 0600), 0);
    const int reader = ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    QVERIFY(reader != -1);
    QCOMPARE(::ftruncate(reader, 0), -1);

    QVERIFY(FileManager::writeFile("one", fifo));
    QVERIFY(FileManager::writeFile("two", fifo));
    QByteArray read(100, 0);
    read.truncate(int(::read(reader, read.data(), size_t(read.size()))));
    ::close(reader);
    QCOMPARE(read, QByteArray("onetwo"));
    QVERIFY(!QFileInfo(fifo).isFile());
}

void TestWholeFiles::aDeviceRefusesToBeTruncatedAndIsWrittenTo()
{
    QVERIFY(FileManager::writeFile("into the void", "/dev/null"));
    QVERIFY(FileManager::writeFile(QByteArray(), "/dev/full"));
}

void TestWholeFiles::writesNoLinesWhenWarningsAreOff()
{
    QLoggingCategory::setFilterRules("org.corvel.license.agent.warning=false");
    const bool found = FileManager::isFileExist(path("none"));
    const bool written = FileManager::writeFile("x", "/dev/full");
    const bool opened = FileManager::writeFile("x", path("none/file"));
    const QByteArray read = FileManager::readFile(path("none"));
    FileManager::writeIniConfigFile({{"g", {{"k", 1}}}}, path("f.ini"));
    FileManager::writeIniConfigFile({{"g", {{"k", 1}}}}, path("."));
    QLoggingCategory::setFilterRules(QString());
    QVERIFY(!found);
    QVERIFY(!written);
    QVERIFY(!opened);
    QCOMPARE(read, QByteArray());
    QCOMPARE(contentOf(path("f.ini")), QByteArray("[g]\nk=1\n"));
}

void TestWholeFiles::leavesNoDescriptorOpen()
{
    const int before = openDescriptors();
    for (const char *name : {"file", "none/file"}) {
        const QString file = path(name);
        FileManager::writeFile("data", file);
        FileManager::readFile(file);
        FileManager::isFileExist(file);
        FileManager::removeFile(file);
    }
    FileManager::writeFile("x", "/dev/full");
    for (const char *name : {"made/file.ini", "made"}) {
        const QString file = path(name);
        FileManager::writeIniConfigFile({{"g", {{"k", QStringLiteral("ü")}}}}, file);
        FileManager::writeIniConfigFile({{"g", {{"k", 1}}}}, file);
        FileManager::readIniConfigFile(file, "g", "k", QString());
        FileManager::readSettingFile(file, "g");
    }
    FileManager::checkPath(path("made/directory"));
    takeLines();
    QCOMPARE(openDescriptors(), before);
}

SYNCSTATUS_TEST(TestWholeFiles)
#include "tst_wholefiles.moc"
