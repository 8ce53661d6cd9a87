// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filesfixture.h"
#include "ordinaryuser.h"
#include "throwsnothing.h"

#include <syncstatus/filemanager.h>

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <thread>
#include <type_traits>

using systemFileManager::FileManager;

namespace {

int truncations = 0;
bool truncatesIndeed = true;

} // namespace

// Instead of the C library's, for Qt too.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): its names are reserved ones
extern "C" Q_DECL_EXPORT int ftruncate64(int descriptor, off64_t length) noexcept
{
    ++truncations;
    return truncatesIndeed ? int(::syscall(SYS_ftruncate, descriptor, length)) : 0;
}

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

QString latin1(const char *text)
{
    return QString::fromLatin1(text);
}

QString quoted(const QString &path)
{
    return QLatin1Char('"') + path + QLatin1Char('"');
}

QStringList openError(const QString &path, const char *reason)
{
    return {agentWarning(quoted(path) + latin1(" ---- ") + quoted(latin1(reason)))};
}

QStringList writeError(const QString &path)
{
    return {agentWarning(quoted(path) + latin1("  write error!"))};
}

QStringList nonExistent(const QString &path)
{
    return {agentWarning(quoted(path) + latin1("  non-existent."))};
}

} // namespace

static_assert(throwsNothing(FileManager::writeIniConfigFile, FileManager::readIniConfigFile,
                            FileManager::readSettingFile, FileManager::readFile,
                            FileManager::writeFile, FileManager::isFileExist,
                            FileManager::checkPath, FileManager::removeFile, FileManager::parseJson,
                            FileManager::parseJsonData,
                            FileManager::transQBytearrayToJsonDocument));
static_assert(!std::is_default_constructible_v<FileManager>);

class WholeFiles : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    // readFile
    void readsEveryByte();
    void readsAnEmptyFileInSilence();
    void readsFilesWhoseSizeSaysNothing();
    void readsAFifoToItsEnd();
    void saysWhyAFileCannotBeRead();
    void givesNothingForAFileThatIsTooLarge();

    // writeFile
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

    // isFileExist, checkPath, removeFile
    void findsWhatIsThere();
    void saysWhatIsNotThere();
    void aPathThatIsThereNeedsNothing();
    void makesTheMissingPartOfARelativePath();
    void makesNoPathThroughAFile();
    void removesFilesAndLinks();
    void removesNoDirectoryAndNothingMissing();

    // All
    void takesAnyName_data();
    void takesAnyName();
    void takesARelativePath_data();
    void takesARelativePath();
    void takesAResource();
    void takesAPrefixOfTheSearchPaths();
    void doesNotDoWhatPermissionsForbid();
    void refusesAnEmptyPath();
    void refusesAPathWithANul();
    void writesNoLinesWhenWarningsAreOff();
    void leavesNoDescriptorOpen();
};

void WholeFiles::readsEveryByte()
{
    QByteArray all;
    for (int i = 0; i < 300'000; ++i)
        all.append(char(i * 7 + i / 256));
    QVERIFY(store(path(latin1("all")), all));
    QVERIFY(FileManager::readFile(path(latin1("all"))) == all);
}

void WholeFiles::readsAnEmptyFileInSilence()
{
    QVERIFY(store(path(latin1("empty")), ""));
    QCOMPARE(FileManager::readFile(path(latin1("empty"))), QByteArray());
}

void WholeFiles::readsFilesWhoseSizeSaysNothing()
{
    QVERIFY(FileManager::readFile(latin1("/proc/self/status")).startsWith("Name:"));
}

void WholeFiles::readsAFifoToItsEnd()
{
    const QByteArray fifo = QFile::encodeName(path(latin1("fifo")));
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
    const QByteArray read = FileManager::readFile(path(latin1("fifo")));
    writer.join();
    QVERIFY(read == data);
}

void WholeFiles::saysWhyAFileCannotBeRead()
{
    const QString none = path(latin1("none"));
    QCOMPARE(FileManager::readFile(none), QByteArray());
    QCOMPARE(takeLines(), openError(none, "No such file or directory"));

    const QString directory = path(latin1("directory"));
    QVERIFY(QDir().mkdir(directory));
    QCOMPARE(FileManager::readFile(directory), QByteArray());
    QCOMPARE(takeLines(), openError(directory, "file to open is a directory"));

    const QString link = path(latin1("link"));
    QVERIFY(QFile::link(latin1("nowhere"), link));
    QCOMPARE(FileManager::readFile(link), QByteArray());
    QCOMPARE(takeLines(), openError(link, "No such file or directory"));

    QVERIFY(store(path(latin1("file")), "x"));
    const QString through = path(latin1("file/inside"));
    QCOMPARE(FileManager::readFile(through), QByteArray());
    QCOMPARE(takeLines(), openError(through, "Not a directory"));
}

void WholeFiles::givesNothingForAFileThatIsTooLarge()
{
    QFile file(path(latin1("huge")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    if (!file.resize(qint64(3) << 30))
        QSKIP("This file system has no files of 3 GiB");
    QCOMPARE(FileManager::readFile(file.fileName()), QByteArray());
}

void WholeFiles::writesANewFile()
{
    const QString file = path(latin1("new"));
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

void WholeFiles::leavesExactlyTheNewBytes()
{
    const QString file = path(latin1("old"));
    QVERIFY(store(file, QByteArray(100'000, 'o')));
    QVERIFY(FileManager::writeFile("new", file));
    QCOMPARE(contentOf(file), QByteArray("new"));

    const QByteArray large(3'000'000, 'l');
    QVERIFY(FileManager::writeFile(large, file));
    QVERIFY(contentOf(file) == large);
}

void WholeFiles::writesAnEmptyFile()
{
    const QString file = path(latin1("old"));
    QVERIFY(store(file, "old"));
    QVERIFY(FileManager::writeFile(QByteArray(), file));
    QVERIFY(QFile::exists(file));
    QCOMPARE(contentOf(file), QByteArray());
    QVERIFY(FileManager::writeFile("", path(latin1("new"))));
    QVERIFY(QFile::exists(path(latin1("new"))));
}

void WholeFiles::truncatesTwiceAndWritesInOneCall()
{
    const QString file = path(latin1("old"));
    QVERIFY(store(file, QByteArray(100'000, 'o')));
    for (const int size : {0, 1, 5000, 3'000'000}) {
        const QByteArray data(size, 'n');
        truncations = 0;
        const qint64 before = writeCalls();
        QVERIFY(FileManager::writeFile(data, file));
        const qint64 after = writeCalls();
        // The other truncation is open()'s.
        QCOMPARE(truncations, 1);
        if (before != -1)
            QVERIFY2(after - before == (size > 0 ? 1 : 0), qPrintable(QString::number(size)));
        QVERIFY(contentOf(file) == data);
    }
    QVERIFY(store(file, "something longer"));
    truncatesIndeed = false;
    const bool written = FileManager::writeFile("new", file);
    truncatesIndeed = true;
    QVERIFY(written);
    QCOMPARE(contentOf(file), QByteArray("new"));
    if (writeCalls() == -1)
        QSKIP("/proc/self/io does not count the write calls here");
}

void WholeFiles::keepsTheFileItself()
{
    const QString file = path(latin1("old"));
    QVERIFY(store(file, "old"));
    const QByteArray name = QFile::encodeName(file);
    QCOMPARE(::chmod(name.constData(), 0604), 0);
    QCOMPARE(::link(name.constData(), QFile::encodeName(path(latin1("hardlink"))).constData()), 0);
    QVERIFY(QFile::link(file, path(latin1("link"))));
    QVERIFY(FileManager::writeFile("new", path(latin1("link"))));

    QCOMPARE(contentOf(path(latin1("hardlink"))), QByteArray("new"));
    QVERIFY(QFileInfo(path(latin1("link"))).isSymLink());
    struct stat status = {};
    QCOMPARE(::stat(name.constData(), &status), 0);
    QCOMPARE(status.st_mode & 07777U, 0604U);
}

void WholeFiles::followsALinkThatPointsNowhere()
{
    QVERIFY(QFile::link(latin1("target"), path(latin1("link"))));
    QVERIFY(FileManager::writeFile("data", path(latin1("link"))));
    QVERIFY(QFileInfo(path(latin1("link"))).isSymLink());
    QCOMPARE(contentOf(path(latin1("target"))), QByteArray("data"));
}

void WholeFiles::saysWhyAFileCannotBeWritten()
{
    const QString directory = path(latin1("directory"));
    QVERIFY(QDir().mkdir(directory));
    QVERIFY(!FileManager::writeFile("x", directory));
    QCOMPARE(takeLines(), openError(directory, "Is a directory"));

    const QString nowhere = path(latin1("none/file"));
    QVERIFY(!FileManager::writeFile("x", nowhere));
    QCOMPARE(takeLines(), openError(nowhere, "No such file or directory"));
    QVERIFY(!QFile::exists(path(latin1("none"))));
}

void WholeFiles::aFullDiskIsAnError_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("a byte") << 1;
    QTest::newRow("less than a buffer") << 5000;
    QTest::newRow("more than a buffer") << 100'000;
}

void WholeFiles::aFullDiskIsAnError()
{
    QFETCH(int, size);
    const QString full = latin1("/dev/full");
    QVERIFY(!FileManager::writeFile(QByteArray(size, 'x'), full));
    QCOMPARE(takeLines(), writeError(full));
}

void WholeFiles::aFifoRefusesToBeTruncatedAndIsWrittenTo()
{
    const QString fifo = path(latin1("fifo"));
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

void WholeFiles::aDeviceRefusesToBeTruncatedAndIsWrittenTo()
{
    QVERIFY(FileManager::writeFile("into the void", latin1("/dev/null")));
    QVERIFY(FileManager::writeFile(QByteArray(), latin1("/dev/full")));
}

void WholeFiles::findsWhatIsThere()
{
    QVERIFY(store(path(latin1("file")), ""));
    QVERIFY(FileManager::isFileExist(path(latin1("file"))));
    QVERIFY(QDir().mkdir(path(latin1("directory"))));
    QVERIFY(FileManager::isFileExist(path(latin1("directory"))));
    QVERIFY(QFile::link(latin1("file"), path(latin1("link"))));
    QVERIFY(FileManager::isFileExist(path(latin1("link"))));
    QVERIFY(FileManager::isFileExist(latin1("/dev/null")));
}

void WholeFiles::saysWhatIsNotThere()
{
    const QString none = path(latin1("none"));
    QVERIFY(!FileManager::isFileExist(none));
    QCOMPARE(takeLines(), nonExistent(none));

    const QString link = path(latin1("link"));
    QVERIFY(QFile::link(latin1("nowhere"), link));
    QVERIFY(!FileManager::isFileExist(link));
    QCOMPARE(takeLines(), nonExistent(link));
}

void WholeFiles::aPathThatIsThereNeedsNothing()
{
    QVERIFY(QDir().mkdir(path(latin1("directory"))));
    QVERIFY(FileManager::checkPath(path(latin1("directory"))));
    QVERIFY(QDir(path(latin1("directory"))).isEmpty());
    QVERIFY(store(path(latin1("file")), "kept"));
    QVERIFY(FileManager::checkPath(path(latin1("file"))));
    QCOMPARE(contentOf(path(latin1("file"))), QByteArray("kept"));
    QVERIFY(FileManager::checkPath(latin1(".")));
    QVERIFY(FileManager::checkPath(latin1("/")));
}

void WholeFiles::makesTheMissingPartOfARelativePath()
{
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(path(QString())));
    QVERIFY(QDir().mkdir(latin1("one")));
    const bool made = FileManager::checkPath(latin1("one/two/three"));
    const bool again = FileManager::checkPath(latin1("one/two/three"));
    QVERIFY(QDir::setCurrent(before));
    QVERIFY(made);
    QVERIFY(again);
    QVERIFY(QFileInfo(path(latin1("one/two/three"))).isDir());

    QVERIFY(FileManager::checkPath(path(latin1("an/absolute/one"))));
    QVERIFY(QFileInfo(path(latin1("an/absolute/one"))).isDir());
}

void WholeFiles::makesNoPathThroughAFile()
{
    QVERIFY(store(path(latin1("file")), "kept"));
    QVERIFY(!FileManager::checkPath(path(latin1("file/directory"))));
    QCOMPARE(contentOf(path(latin1("file"))), QByteArray("kept"));
    QVERIFY(QFile::link(latin1("nowhere"), path(latin1("link"))));
    QVERIFY(!FileManager::checkPath(path(latin1("link"))));
    QVERIFY(!FileManager::checkPath(path(latin1("made/") + QString(300, QLatin1Char('x')))));
    QVERIFY(QFileInfo(path(latin1("made"))).isDir());
}

void WholeFiles::removesFilesAndLinks()
{
    QVERIFY(store(path(latin1("file")), "x"));
    QVERIFY(QFile::link(path(latin1("file")), path(latin1("link"))));
    QVERIFY(FileManager::removeFile(path(latin1("link"))));
    QVERIFY(QFile::exists(path(latin1("file"))));
    QVERIFY(FileManager::removeFile(path(latin1("file"))));
    QVERIFY(!QFile::exists(path(latin1("file"))));

    QVERIFY(QFile::link(latin1("nowhere"), path(latin1("dangling"))));
    QVERIFY(FileManager::removeFile(path(latin1("dangling"))));
    QCOMPARE(::mkfifo(QFile::encodeName(path(latin1("fifo"))).constData(), 0600), 0);
    QVERIFY(FileManager::removeFile(path(latin1("fifo"))));
    QVERIFY(QDir(path(QString())).isEmpty(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot));
}

void WholeFiles::removesNoDirectoryAndNothingMissing()
{
    QVERIFY(QDir().mkdir(path(latin1("directory"))));
    QVERIFY(!FileManager::removeFile(path(latin1("directory"))));
    QVERIFY(QFileInfo(path(latin1("directory"))).isDir());
    QVERIFY(!FileManager::removeFile(path(latin1("none"))));
}

void WholeFiles::takesAnyName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("logged");
    QTest::newRow("blanks") << latin1(" a name with  blanks ") << latin1(" a name with  blanks ");
    QTest::newRow("new line") << latin1("new\nline") << latin1("new\\nline");
    QTest::newRow("quotes") << latin1(R"(a"b\c)") << latin1(R"(a\"b\\c)");
    QTest::newRow("non-ASCII") << QStringLiteral("häuser 网络 \U0001F600")
                               << QStringLiteral("häuser 网络 \U0001F600");
    QTest::newRow("placeholders") << latin1("%1%2%s%n") << latin1("%1%2%s%n");
}

void WholeFiles::takesAnyName()
{
    QFETCH(QString, name);
    QFETCH(QString, logged);
    const QString file = path(name);

    QVERIFY(FileManager::writeFile("data", file));
    QCOMPARE(QDir(path(QString())).entryList(QDir::Files | QDir::Hidden), QStringList{name});
    QCOMPARE(FileManager::readFile(file), QByteArray("data"));
    QVERIFY(FileManager::isFileExist(file));
    QVERIFY(FileManager::removeFile(file));
    QVERIFY(!FileManager::isFileExist(file));
    QCOMPARE(takeLines(), nonExistent(path(logged)));
    QVERIFY(FileManager::checkPath(file));
    QVERIFY(QFileInfo(file).isDir());
}

void WholeFiles::takesARelativePath_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("here") << latin1("file");
    QTest::newRow("above") << latin1("../file");
    QTest::newRow("with a detour") << latin1("./../here/../file");
    QTest::newRow("a colon behind a folder") << latin1("./:file");
}

void WholeFiles::takesARelativePath()
{
    QFETCH(QString, name);
    const QString absolute = path(latin1("here")) + QLatin1Char('/') + name;

    QVERIFY(QDir().mkpath(path(latin1("here"))));
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(path(latin1("here"))));
    const bool none = FileManager::isFileExist(name);
    const QByteArray nothing = FileManager::readFile(name);
    const bool written = FileManager::writeFile("data", name);
    const QByteArray content = contentOf(absolute);
    const QByteArray read = FileManager::readFile(name);
    const bool found = FileManager::isFileExist(name);
    const bool path = FileManager::checkPath(name);
    const bool kept = QFileInfo(absolute).isFile();
    const bool removed = FileManager::removeFile(name);
    const bool gone = !QFileInfo::exists(absolute);
    const bool made = FileManager::checkPath(name + latin1("/directory"));
    QVERIFY(QDir::setCurrent(before));

    // A line has the path as it was given.
    QCOMPARE(takeLines(), nonExistent(name) + openError(name, "No such file or directory"));
    QVERIFY(!none);
    QCOMPARE(nothing, QByteArray());
    QVERIFY(written);
    QCOMPARE(content, QByteArray("data"));
    QCOMPARE(read, QByteArray("data"));
    QVERIFY(found);
    QVERIFY(path);
    QVERIFY(kept);
    QVERIFY(removed);
    QVERIFY(gone);
    QVERIFY(made);
    QVERIFY(QFileInfo(absolute + latin1("/directory")).isDir());
}

void WholeFiles::takesAResource()
{
    const QString resource = latin1(":/resource");
    QVERIFY(FileManager::isFileExist(resource));
    QVERIFY(FileManager::checkPath(resource));
    QVERIFY(FileManager::readFile(resource).contains("<qresource>"));
    QVERIFY(!FileManager::removeFile(resource));
    QVERIFY(!FileManager::isFileExist(latin1(":/absent")));
    QCOMPARE(takeLines(), nonExistent(latin1(":/absent")));
}

void WholeFiles::takesAPrefixOfTheSearchPaths()
{
    const QString name = latin1("prefix:file");
    const QString file = path(latin1("folder/file"));
    QVERIFY(QDir().mkpath(path(latin1("folder"))));
    QDir::setSearchPaths(latin1("prefix"), {path(latin1("folder"))});
    QVERIFY(!FileManager::isFileExist(name));
    QCOMPARE(takeLines(), nonExistent(name));
    QVERIFY(store(file, "stored"));
    QVERIFY(FileManager::isFileExist(name));
    QVERIFY(FileManager::checkPath(name));
    QCOMPARE(FileManager::readFile(name), QByteArray("stored"));
    QVERIFY(FileManager::writeFile("written", name));
    QCOMPARE(contentOf(file), QByteArray("written"));
    QVERIFY(FileManager::removeFile(name));
    QVERIFY(!QFileInfo::exists(file));
    QDir::setSearchPaths(latin1("prefix"), {});
}

void WholeFiles::doesNotDoWhatPermissionsForbid()
{
    const OrdinaryUser user(path(QString()));
    if (!user.problem().isEmpty())
        QSKIP(qPrintable(user.problem()));
    const auto allow = [](const QString &path, mode_t mode) {
        QCOMPARE(::chmod(QFile::encodeName(path).constData(), mode), 0);
    };

    const QString file = path(latin1("file"));
    QVERIFY(store(file, "kept"));
    allow(file, 0444);
    QVERIFY(!FileManager::writeFile("x", file));
    QCOMPARE(takeLines(), openError(file, "Permission denied"));
    QCOMPARE(FileManager::readFile(file), QByteArray("kept"));
    // For reading and writing: write permission alone is not enough.
    allow(file, 0222);
    QVERIFY(!FileManager::writeFile("x", file));
    QCOMPARE(takeLines(), openError(file, "Permission denied"));
    QCOMPARE(FileManager::readFile(file), QByteArray());
    QCOMPARE(takeLines(), openError(file, "Permission denied"));
    QVERIFY(FileManager::isFileExist(file));
    allow(file, 0444);
    QCOMPARE(contentOf(file), QByteArray("kept"));

    const QString directory = path(latin1("directory"));
    const QString inside = path(latin1("directory/inside"));
    QVERIFY(QDir().mkdir(directory));
    QVERIFY(store(inside, "kept"));
    allow(directory, 0555);
    QVERIFY(!FileManager::removeFile(inside));
    QVERIFY(!FileManager::checkPath(path(latin1("directory/new/newer"))));
    const QString fresh = path(latin1("directory/fresh"));
    QVERIFY(!FileManager::writeFile("x", fresh));
    QCOMPARE(takeLines(), openError(fresh, "Permission denied"));
    // In place, so the directory's permissions do not count.
    QVERIFY(FileManager::writeFile("new", inside));
    QCOMPARE(contentOf(inside), QByteArray("new"));

    allow(directory, 0666); // may be listed, not searched
    QVERIFY(!FileManager::isFileExist(inside));
    QCOMPARE(takeLines(), nonExistent(inside));
    QCOMPARE(FileManager::readFile(inside), QByteArray());
    QCOMPARE(takeLines(), openError(inside, "Permission denied"));
    allow(directory, 0777);

    // Removing is the directory's matter, not the file's.
    QVERIFY(FileManager::removeFile(file));
    QVERIFY(!QFile::exists(file));
}

void WholeFiles::refusesAnEmptyPath()
{
    const QString qtOpen = latin1("warning default: QFSFileEngine::open: No file name specified");
    const QString empty;
    QCOMPARE(FileManager::readFile(empty), QByteArray());
    QCOMPARE(takeLines(), QStringList{qtOpen} + openError(empty, "No file name specified"));
    QVERIFY(!FileManager::writeFile("x", empty));
    QCOMPARE(takeLines(), QStringList{qtOpen} + openError(empty, "No file name specified"));
    QVERIFY(!FileManager::isFileExist(empty));
    QCOMPARE(takeLines(), nonExistent(empty));
    QVERIFY(!FileManager::checkPath(empty));
    QVERIFY(!FileManager::removeFile(empty));
    const QStringList lines = takeLines();
    for (const QString &line : lines)
        QVERIFY2(line.startsWith(latin1("warning default: ")), qPrintable(line));
}

void WholeFiles::refusesAPathWithANul()
{
    // Cut at the NUL, the name would be that of another file.
    const QString other = path(latin1("other"));
    QVERIFY(store(other, "kept"));
    const QString nul = other + QChar(QChar::Null) + latin1("x");
    const QString logged = other + latin1("\\u0000x");
    QCOMPARE(FileManager::readFile(nul), QByteArray());
    QCOMPARE(takeLines().mid(1), openError(logged, "No file name specified"));
    QVERIFY(!FileManager::writeFile("x", nul));
    QCOMPARE(takeLines().mid(1), openError(logged, "No file name specified"));
    QVERIFY(!FileManager::isFileExist(nul));
    QCOMPARE(takeLines(), nonExistent(logged));
    QVERIFY(!FileManager::checkPath(nul));
    QVERIFY(!FileManager::removeFile(nul));
    QCOMPARE(contentOf(other), QByteArray("kept"));
    const QStringList lines = takeLines();
    for (const QString &line : lines)
        QVERIFY2(line.startsWith(latin1("warning default: ")), qPrintable(line));
}

void WholeFiles::writesNoLinesWhenWarningsAreOff()
{
    QLoggingCategory::setFilterRules(latin1("org.corvel.license.agent.warning=false"));
    const bool found = FileManager::isFileExist(path(latin1("none")));
    const bool written = FileManager::writeFile("x", latin1("/dev/full"));
    const bool opened = FileManager::writeFile("x", path(latin1("none/file")));
    const QByteArray read = FileManager::readFile(path(latin1("none")));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 1}}}}, path(latin1("f.ini")));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 1}}}}, path(latin1(".")));
    QLoggingCategory::setFilterRules(QString());
    QVERIFY(!found);
    QVERIFY(!written);
    QVERIFY(!opened);
    QCOMPARE(read, QByteArray());
    QCOMPARE(contentOf(path(latin1("f.ini"))), QByteArray("[g]\nk=1\n"));
}

void WholeFiles::leavesNoDescriptorOpen()
{
    const int before = openDescriptors();
    for (const char *name : {"file", "none/file"}) {
        const QString file = path(latin1(name));
        FileManager::writeFile("data", file);
        FileManager::readFile(file);
        FileManager::isFileExist(file);
        FileManager::removeFile(file);
    }
    FileManager::writeFile("x", latin1("/dev/full"));
    for (const char *name : {"made/file.ini", "made"}) {
        const QString file = path(latin1(name));
        FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), QStringLiteral("ü")}}}},
                                        file);
        FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 1}}}}, file);
        FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), QString());
        FileManager::readSettingFile(file, latin1("g"));
    }
    FileManager::checkPath(path(latin1("made/directory")));
    takeLines();
    QCOMPARE(openDescriptors(), before);
}

QTEST_GUILESS_MAIN(WholeFiles)
#include "wholefiles.moc"
