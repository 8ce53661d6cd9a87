// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filesfixture.h"

#include <syncstatus/filemanager.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonDocument>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <utility>

using systemFileManager::FileManager;

namespace {

// What a change needs: room for data, room for a name, nothing that can be used up.
enum class Need { Data, Name, Nothing };

// Set for one call of the library, in which no other file is written.
struct Faults
{
    int refusedFrom = 0;       // this change and all that follow are refused; 0 for none
    int error = 0;             // for which reason
    Need upTo = Need::Nothing; // what needs no more than this, the rest passes
    int changes = 0;           // how many have been asked for

    QByteArray vanishing;   // this file, or folder with all that is in it, is removed
    int vanishesBefore = 0; // before it, or what is in it, is used for the so many'th time
    int used = 0;

    QByteArray placed; // the last path that a new file has got
};
Faults faults; // clazy:exclude=non-pod-global-static

bool isRefused(Need need)
{
    if (faults.error == 0 || need > faults.upTo || ++faults.changes < faults.refusedFrom)
        return false;
    errno = faults.error;
    return true;
}

// To be called before something is done to the path.
void use(const QByteArray &path)
{
    if (faults.vanishing.isEmpty() ||
        (path != faults.vanishing && !path.startsWith(faults.vanishing + '/')) ||
        ++faults.used != faults.vanishesBefore)
        return;
    const QString vanishing = QFile::decodeName(std::exchange(faults.vanishing, {}));
    QFile::remove(vanishing);
    QDir(vanishing).removeRecursively();
}

void vanish(const QString &path, int before)
{
    faults.vanishing = QFile::encodeName(path);
    faults.vanishesBefore = before;
    faults.used = 0;
}

template <typename Function>
Function next(const char *name, Function /*own*/)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

// The program's own definitions come before the C library's, also for Qt and the library.

#define STANDIN extern "C" __attribute__((visibility("default")))
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): its names are reserved ones

STANDIN int open64(const char *path, int flags, ...)
{
    std::va_list list;
    va_start(list, flags);
    const bool isTemporary = (flags & O_TMPFILE) == O_TMPFILE;
    const mode_t mode = isTemporary || (flags & O_CREAT) ? va_arg(list, mode_t) : 0;
    va_end(list);
    if ((flags & O_ACCMODE) != O_RDONLY) {
        const bool isMade = isTemporary || ((flags & O_CREAT) && access(path, F_OK) != 0);
        if (isRefused(isMade ? Need::Name : Need::Nothing))
            return -1;
    }
    use(path);
    return next("open64", &open64)(path, flags, mode);
}

STANDIN ssize_t write(int descriptor, const void *data, size_t size)
{
    struct stat status = {};
    fstat(descriptor, &status);
    if (S_ISREG(status.st_mode) && isRefused(Need::Data)) // Qt wakes its event loop this way, too
        return -1;
    return next("write", &write)(descriptor, data, size);
}

STANDIN int ftruncate64(int descriptor, off64_t size) noexcept
{
    use(faults.vanishing); // nothing else is truncated
    return isRefused(Need::Nothing) ? -1 : next("ftruncate64", &ftruncate64)(descriptor, size);
}

STANDIN int futimens(int descriptor, const timespec times[2]) noexcept
{
    return isRefused(Need::Nothing) ? -1 : next("futimens", &futimens)(descriptor, times);
}

STANDIN int rename(const char *from, const char *to) noexcept
{
    use(from);
    if (isRefused(Need::Name) || next("rename", &rename)(from, to) != 0)
        return -1;
    faults.placed = to;
    return 0;
}

STANDIN int linkat(int fromFolder, const char *from, int toFolder, const char *to,
                   int flags) noexcept
{
    use(to);
    if (isRefused(Need::Name) ||
        next("linkat", &linkat)(fromFolder, from, toFolder, to, flags) != 0)
        return -1;
    faults.placed = to;
    return 0;
}

STANDIN int unlink(const char *path) noexcept
{
    use(path);
    return isRefused(Need::Nothing) ? -1 : next("unlink", &unlink)(path);
}

STANDIN int mkdir(const char *path, mode_t mode) noexcept
{
    return isRefused(Need::Name) ? -1 : next("mkdir", &mkdir)(path, mode);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

QString latin1(const char *text)
{
    return QString::fromLatin1(text);
}

QString line(const QString &path, const char *rest)
{
    return agentWarning(QLatin1Char('"') + path + QLatin1Char('"') + latin1(rest));
}

QStringList succeeded()
{
    return {agentWarning(QStringLiteral("write IniConfigFile succeed"))};
}

QStringList refused()
{
    return QStringList{
               agentWarning(QStringLiteral("write IniConfigFile fail:  QSettings::AccessError"))} +
           succeeded();
}

void set(const char *key, const QString &file)
{
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1(key), 1}}}}, file);
}

} // namespace

/// What goes wrong between two steps of one call, or because the process has run out of something.
class FileFaults : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    void anIniFileIsWholeWhereverItsFileSystemFails_data();
    void anIniFileIsWholeWhereverItsFileSystemFails();
    void aFileSystemThatFailsIsAnError_data();
    void aFileSystemThatFailsIsAnError();
    void aFullDiskIsAnError();
    void theEndOfAnIniFileOnAFullDiskIsLost();
    void aFileThatVanishesBeforeItIsReadIsMissing();
    void aFileThatVanishesWhileItIsWrittenIsMadeAnew();
    void aFolderThatVanishesWhileAnIniFileIsWrittenIsMadeAnew();
    void withoutDescriptorsNoFileIsReadOrChanged();
    void anIniFileLosesNothingForWantOfDescriptors();

private:
    // Without Qt's complaint of a lock that it may not take away.
    QStringList linesButQts()
    {
        QStringList lines = takeLines();
        if (lines.value(0).contains(latin1("ould not remove our own lock file")))
            lines.removeFirst();
        return lines;
    }
    // A lock that could not be taken away, made as old as one that may be taken over.
    static void ageLockOf(const QString &file)
    {
        const qint64 past = QDateTime::currentSecsSinceEpoch() - 40;
        const timespec times[] = {{time_t(past), 0}, {time_t(past), 0}};
        utimensat(AT_FDCWD, QFile::encodeName(file + latin1(".lock")).constData(), times, 0);
    }
};

void FileFaults::anIniFileIsWholeWhereverItsFileSystemFails_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<int>("upTo");
    QTest::newRow("it turns read-only") << EROFS << int(Need::Nothing);
    QTest::newRow("its disk breaks") << EIO << int(Need::Nothing);
    QTest::newRow("its disk is full") << ENOSPC << int(Need::Name);
}

// Each change that a write asks for, from the first to the last, is the first that is refused.
void FileFaults::anIniFileIsWholeWhereverItsFileSystemFails()
{
    QFETCH(const int, error);
    QFETCH(const int, upTo);

    // With a value that is not ASCII, for which a write does one thing more.
    const QByteArray before("[f]\nwide=\xc3\xbc\n\n[g]\nold=kept\n");
    const QByteArray after("[f]\nwide=\xc3\xbc\n\n[g]\nnew=1\nold=kept\n");
    bool isRefused = true;
    int from = 0;
    while (isRefused) {
        ++from;
        QVERIFY2(from < 50, "a write does not take as many changes");
        const QString file = path(QStringLiteral("%1.ini").arg(from));
        QVERIFY(store(file, before));
        faults.refusedFrom = from;
        faults.error = error;
        faults.upTo = Need(upTo);
        set("new", file);
        isRefused = faults.changes >= from;
        faults = {};

        const QByteArray content = contentOf(file);
        QVERIFY2(content == before || content == after, content.constData());
        QCOMPARE(linesButQts(), content == after ? succeeded() : refused());

        // What was refused is written with what comes next.
        ageLockOf(file);
        set("later", file);
        QCOMPARE(takeLines(), succeeded());
        QVERIFY2(contentOf(file).endsWith("\n\n[g]\nlater=1\nnew=1\nold=kept\n"),
                 contentOf(file).constData());
    }
    QVERIFY(from > 4);
    QVERIFY(isOverAtOnce());
}

void FileFaults::aFileSystemThatFailsIsAnError_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("text");
    QTest::newRow("it turns read-only") << EROFS << latin1("Read-only file system");
    QTest::newRow("its disk breaks") << EIO << latin1("Input/output error");
}

void FileFaults::aFileSystemThatFailsIsAnError()
{
    QFETCH(const int, error);
    QFETCH(const QString, text);

    const QString file = path(latin1("file"));
    const QString failure =
        line(file, " ---- \"") + text + QLatin1Char('"'); // before the file is touched
    for (int from = 1; from <= 3; ++from) {
        QVERIFY(store(file, "old"));
        faults.refusedFrom = from;
        faults.error = error;
        const bool result = FileManager::writeFile("new", file);
        const int changes = faults.changes;
        faults = {};
        QVERIFY(!result);
        QCOMPARE(changes, from == 1 ? 1 : 3); // the opening; the second truncation and the write
        QCOMPARE(takeLines(), QStringList{from == 1 ? failure : line(file, "  write error!")});
        QCOMPARE(contentOf(file), QByteArray(from == 1 ? "old" : ""));
    }

    faults.refusedFrom = 1;
    faults.error = error;
    const bool isRemoved = FileManager::removeFile(file);
    const bool isMade = FileManager::checkPath(path(latin1("directory")));
    faults = {};
    QVERIFY(!isRemoved);
    QVERIFY(!isMade);
    QVERIFY(QFile::exists(file));
    QVERIFY(isOverAtOnce());
}

void FileFaults::aFullDiskIsAnError()
{
    const QString file = path(latin1("file"));
    const QString missing = path(latin1("missing"));
    QVERIFY(store(file, "old"));
    faults.refusedFrom = 1;
    faults.error = ENOSPC;
    faults.upTo = Need::Name;
    const bool isReplaced = FileManager::writeFile("new", file);
    const bool isWritten = FileManager::writeFile("new", missing);
    const bool isMade = FileManager::checkPath(path(latin1("directory")));
    const bool isThere = QFile::exists(file);
    const bool isRemoved = FileManager::removeFile(file);
    faults = {};
    QVERIFY(!isReplaced);
    QVERIFY(!isWritten);
    QVERIFY(!isMade);
    QVERIFY(isThere && isRemoved);
    QCOMPARE(takeLines(), (QStringList{line(file, "  write error!"),
                                       line(missing, " ---- \"No space left on device\"")}));
    QVERIFY(!QFile::exists(missing));
    QVERIFY(isOverAtOnce());
}

// There is room for names, and of the two pieces of data the first or only the second is refused:
// what stands in the lock, what stands in the file.
void FileFaults::theEndOfAnIniFileOnAFullDiskIsLost()
{
    const QByteArray before("[g]\nold=kept\n");
    for (int from = 1; from <= 2; ++from) {
        const QString file = path(QStringLiteral("%1.ini").arg(from));
        QVERIFY(store(file, before));
        faults.refusedFrom = from;
        faults.error = ENOSPC;
        faults.upTo = Need::Data;
        set("new", file);
        const int changes = faults.changes;
        faults = {};
        QVERIFY(changes >= from);
        const bool isLost = from == 2;
        if (isLost)
            QEXPECT_FAIL("", "Qt 5 does not check whether its last buffer is written", Continue);
        QCOMPARE(takeLines(), refused());
        if (isLost)
            QEXPECT_FAIL("", "and puts what was written in the place of the old file", Continue);
        QCOMPARE(contentOf(file), before);
    }
    QVERIFY(isOverAtOnce());
}

void FileFaults::aFileThatVanishesBeforeItIsReadIsMissing()
{
    const QString file = path(latin1("file.ini"));
    const QByteArray content("[g]\nk=1\n");

    // It was there a moment ago.
    QVERIFY(store(file, content));
    QVERIFY(FileManager::isFileExist(file));
    vanish(file, 1);
    QCOMPARE(FileManager::readFile(file), QByteArray());
    QCOMPARE(takeLines(), QStringList{line(file, " ---- \"No such file or directory\"")});

    // QSettings itself looks first whether there is a file.
    QVERIFY(store(file, content));
    vanish(file, 1);
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), latin1("none")),
             latin1("none"));
    QCOMPARE(faults.used, 1);
    QVERIFY(store(file, content));
    vanish(file, 1);
    QVERIFY(FileManager::readSettingFile(file, latin1("g")).isEmpty());
    QCOMPARE(faults.used, 1);

    // And is read again when it is back.
    faults = {};
    QVERIFY(store(file, content));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), latin1("none")),
             latin1("1"));
    QVERIFY(isOverAtOnce());
}

void FileFaults::aFileThatVanishesWhileItIsWrittenIsMadeAnew()
{
    const QString whole = path(latin1("file"));
    QVERIFY(store(whole, "old"));
    vanish(whole, 1);
    QVERIFY(FileManager::writeFile("new", whole));
    QCOMPARE(contentOf(whole), QByteArray("new"));
    // Once it is open, nobody can tell.
    vanish(whole, 2);
    QVERIFY(FileManager::writeFile("newer", whole));
    QVERIFY(!QFile::exists(whole));
    QVERIFY(store(whole, "old"));
    vanish(whole, 1);
    QVERIFY(!FileManager::removeFile(whole));
    QCOMPARE(faults.used, 1);
    faults = {};

    int before = 0;
    bool hasVanished = true;
    while (hasVanished) {
        ++before;
        QVERIFY2(before < 20, "a write does not open it as often");
        const QString file = path(QStringLiteral("%1.ini").arg(before));
        QVERIFY(store(file, "[g]\nold=\"\xc3\xbc\"\n"));
        vanish(file, before);
        set("new", file);
        hasVanished = faults.used >= before;
        const bool isWritten = faults.placed == QFile::encodeName(file);
        faults = {};

        // A refusal may have been made good when the call returns.
        const QStringList lines = takeLines();
        QCOMPARE(lines, isWritten && lines.size() == 1 ? succeeded() : refused());
        // What was refused is written with what comes next.
        set("later", file);
        QCOMPARE(takeLines(), succeeded());
        const QStringList keys = FileManager::readSettingFile(file, latin1("g")).keys();
        QVERIFY(keys.contains(latin1("later")));
        QVERIFY(keys.contains(latin1("new")));
    }
    QVERIFY(before > 2);
    QVERIFY(isOverAtOnce());
}

void FileFaults::aFolderThatVanishesWhileAnIniFileIsWrittenIsMadeAnew()
{
    int before = 0;
    bool hasVanished = true;
    while (hasVanished) {
        ++before;
        QVERIFY2(before < 30, "a write does not use it as often");
        const QString folder = path(QString::number(before));
        const QString file = folder + latin1("/file.ini");
        QVERIFY(QDir().mkdir(folder));
        QVERIFY(store(file, "[g]\nold=\"\xc3\xbc\"\n"));
        vanish(folder, before);
        set("new", file);
        hasVanished = faults.used >= before;
        const bool isWritten = faults.placed == QFile::encodeName(file);
        faults = {};

        // A refusal may have been made good when the call returns.
        const QStringList lines = linesButQts();
        QCOMPARE(lines, isWritten && lines.size() == 1 ? succeeded() : refused());
        // What was refused is written with what comes next, what was written may have vanished.
        const bool isExpected = lines == refused() || QFile::exists(file);
        set("later", file);
        QCOMPARE(takeLines(), succeeded());
        const QStringList keys = FileManager::readSettingFile(file, latin1("g")).keys();
        QVERIFY(keys.contains(latin1("later")));
        QVERIFY(!isExpected || keys.contains(latin1("new")));
    }
    QVERIFY(before > 5);
    QVERIFY(isOverAtOnce());
}

void FileFaults::withoutDescriptorsNoFileIsReadOrChanged()
{
    const QString file = path(latin1("file.ini"));
    const QString other = path(latin1("other"));
    const QByteArray content("[g]\nk=1\n");
    QVERIFY(store(file, content));
    QVERIFY(store(other, content));

    bool isWritten = true;
    bool isMade = false;
    bool isThere = false;
    bool isRemoved = false;
    QByteArray read("something");
    QString value;
    QMap<QString, QString> values{{latin1("k"), latin1("something")}};
    QJsonDocument document;
    bool isParsed = false;
    {
        const DescriptorShortage shortage;
        isWritten = FileManager::writeFile("new", file);
        read = FileManager::readFile(file);
        value = FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), latin1("none"));
        values = FileManager::readSettingFile(file, latin1("g"));
        // What needs none works.
        isMade = FileManager::checkPath(path(latin1("directory")));
        isThere = FileManager::isFileExist(file);
        isRemoved = FileManager::removeFile(other);
        isParsed = FileManager::parseJson(R"({"k":1})", document);
    }
    const QString failure = line(file, " ---- \"Too many open files\"");
    QCOMPARE(takeLines(), (QStringList{failure, failure}));
    QVERIFY(!isWritten);
    QCOMPARE(read, QByteArray());
    QCOMPARE(value, latin1("none"));
    QVERIFY(values.isEmpty());
    QVERIFY(isMade);
    QVERIFY(isThere);
    QVERIFY(isRemoved);
    QVERIFY(!QFile::exists(other));
    QVERIFY(isParsed);

    QCOMPARE(contentOf(file), content);
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), latin1("none")),
             latin1("1"));
    // What has been read is still known.
    {
        const DescriptorShortage shortage;
        value = FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), latin1("none"));
    }
    QCOMPARE(value, latin1("1"));
    QVERIFY(isOverAtOnce());
}

void FileFaults::anIniFileLosesNothingForWantOfDescriptors()
{
    const QByteArray before("[f]\nwide=\xc3\xbc\n\n[g]\nold=kept\n");
    const QByteArray after("[f]\nwide=\xc3\xbc\n\n[g]\nnew=1\nold=kept\n");
    bool isEnough = false;
    int left = 0;
    for (; !isEnough; ++left) {
        QVERIFY2(left < 10, "a write does not take as many");
        const QString file = path(QStringLiteral("%1.ini").arg(left));
        QVERIFY(store(file, before));
        {
            const DescriptorShortage shortage(left);
            set("new", file);
        }
        isEnough = contentOf(file) != before;
        QCOMPARE(takeLines(), isEnough ? succeeded() : refused());
        if (isEnough)
            QCOMPARE(contentOf(file), after);

        // What was refused is written with what comes next, if QSettings could read the file.
        set("later", file);
        QCOMPARE(takeLines(), succeeded());
        QVERIFY2(contentOf(file).endsWith(left == 0 ? "\n\n[g]\nlater=1\nold=kept\n"
                                                    : "\n\n[g]\nlater=1\nnew=1\nold=kept\n"),
                 contentOf(file).constData());
    }
    QVERIFY(left > 1);
    QVERIFY(isOverAtOnce());
}

QTEST_GUILESS_MAIN(FileFaults)
#include "faults.moc"
