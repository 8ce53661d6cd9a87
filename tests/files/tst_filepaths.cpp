// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filesfixture.h"
#include "ordinaryuser.h"
#include "testprogram.h"

#include <syncstatus/filemanager.h>

#include <QDir>
#include <QFileInfo>

#include <sys/stat.h>

using systemFileManager::FileManager;

namespace {

void allow(const QString &path, mode_t mode)
{
    QCOMPARE(::chmod(QFile::encodeName(path).constData(), mode), 0);
}

} // namespace

class TestFilePaths : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    void findsWhatIsThere();
    void saysWhatIsNotThere();
    void aPathThatIsThereNeedsNothing();
    void makesTheMissingPartOfARelativePath();
    void makesNoPathThroughAFile();
    void removesFilesAndLinks();
    void removesNoDirectoryAndNothingMissing();
    void takesAnyName_data();
    void takesAnyName();
    void takesARelativePath_data();
    void takesARelativePath();
    void takesAResource();
    void takesAPrefixOfTheSearchPaths();
    void doesNotDoWhatAFilesPermissionsForbid();
    void doesNotDoWhatADirectorysPermissionsForbid();
    void refusesAnEmptyPath();
    void refusesAPathWithANul();
};

void TestFilePaths::findsWhatIsThere()
{
    QVERIFY(store(path("file"), ""));
    QVERIFY(FileManager::isFileExist(path("file")));
    QVERIFY(QDir().mkdir(path("directory")));
    QVERIFY(FileManager::isFileExist(path("directory")));
    QVERIFY(QFile::link("file", path("link")));
    QVERIFY(FileManager::isFileExist(path("link")));
    QVERIFY(FileManager::isFileExist("/dev/null"));
}

void TestFilePaths::saysWhatIsNotThere()
{
    const QString none = path("none");
    QVERIFY(!FileManager::isFileExist(none));
    QCOMPARE(takeLines(), nonExistent(none));

    const QString link = path("link");
    QVERIFY(QFile::link("nowhere", link));
    QVERIFY(!FileManager::isFileExist(link));
    QCOMPARE(takeLines(), nonExistent(link));
}

void TestFilePaths::aPathThatIsThereNeedsNothing()
{
    QVERIFY(QDir().mkdir(path("directory")));
    QVERIFY(FileManager::checkPath(path("directory")));
    QVERIFY(QDir(path("directory")).isEmpty());
    QVERIFY(store(path("file"), "kept"));
    QVERIFY(FileManager::checkPath(path("file")));
    QCOMPARE(contentOf(path("file")), QByteArray("kept"));
    QVERIFY(FileManager::checkPath("."));
    QVERIFY(FileManager::checkPath("/"));
}

void TestFilePaths::makesTheMissingPartOfARelativePath()
{
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(path(QString())));
    QVERIFY(QDir().mkdir("one"));
    const bool made = FileManager::checkPath("one/two/three");
    const bool again = FileManager::checkPath("one/two/three");
    QVERIFY(QDir::setCurrent(before));
    QVERIFY(made);
    QVERIFY(again);
    QVERIFY(QFileInfo(path("one/two/three")).isDir());

    QVERIFY(FileManager::checkPath(path("an/absolute/one")));
    QVERIFY(QFileInfo(path("an/absolute/one")).isDir());
}

void TestFilePaths::makesNoPathThroughAFile()
{
    QVERIFY(store(path("file"), "kept"));
    QVERIFY(!FileManager::checkPath(path("file/directory")));
    QCOMPARE(contentOf(path("file")), QByteArray("kept"));
    QVERIFY(QFile::link("nowhere", path("link")));
    QVERIFY(!FileManager::checkPath(path("link")));
    QVERIFY(!FileManager::checkPath(path("made/" + QString(300, QLatin1Char('x')))));
    QVERIFY(QFileInfo(path("made")).isDir());
}

void TestFilePaths::removesFilesAndLinks()
{
    QVERIFY(store(path("file"), "x"));
    QVERIFY(QFile::link(path("file"), path("link")));
    QVERIFY(FileManager::removeFile(path("link")));
    QVERIFY(QFile::exists(path("file")));
    QVERIFY(FileManager::removeFile(path("file")));
    QVERIFY(!QFile::exists(path("file")));

    QVERIFY(QFile::link("nowhere", path("dangling")));
    QVERIFY(FileManager::removeFile(path("dangling")));
    QCOMPARE(::mkfifo(QFile::encodeName(path("fifo")).constData(), 0600), 0);
    QVERIFY(FileManager::removeFile(path("fifo")));
    QVERIFY(QDir(path(QString())).isEmpty(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot));
}

void TestFilePaths::removesNoDirectoryAndNothingMissing()
{
    QVERIFY(QDir().mkdir(path("directory")));
    QVERIFY(!FileManager::removeFile(path("directory")));
    QVERIFY(QFileInfo(path("directory")).isDir());
    QVERIFY(!FileManager::removeFile(path("none")));
}

void TestFilePaths::takesAnyName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("logged");
    QTest::newRow("blanks") << " a name with  blanks "
                            << " a name with  blanks ";
    QTest::newRow("new line") << "new\nline"
                              << "new\\nline";
    QTest::newRow("quotes") << R"(a"b\c)"
                            << R"(a\"b\\c)";
    QTest::newRow("non-ASCII") << QStringLiteral("häuser 网络 \U0001F600")
                               << QStringLiteral("häuser 网络 \U0001F600");
    QTest::newRow("placeholders") << "%1%2%s%n"
                                  << "%1%2%s%n";
}

void TestFilePaths::takesAnyName()
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

void TestFilePaths::takesARelativePath_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("here") << "file";
    QTest::newRow("above") << "../file";
    QTest::newRow("with a detour") << "./../here/../file";
    QTest::newRow("a colon behind a folder") << "./:file";
}

void TestFilePaths::takesARelativePath()
{
    QFETCH(QString, name);
    const QString absolute = path("here") + QLatin1Char('/') + name;

    QVERIFY(QDir().mkpath(path("here")));
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(path("here")));
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
    const bool made = FileManager::checkPath(name + "/directory");
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
    QVERIFY(QFileInfo(absolute + "/directory").isDir());
}

void TestFilePaths::takesAResource()
{
    const QString resource = ":/resource";
    QVERIFY(FileManager::isFileExist(resource));
    QVERIFY(FileManager::checkPath(resource));
    QVERIFY(FileManager::readFile(resource).contains("<qresource>"));
    QVERIFY(!FileManager::removeFile(resource));
    QVERIFY(!FileManager::isFileExist(":/absent"));
    QCOMPARE(takeLines(), nonExistent(":/absent"));
}

void TestFilePaths::takesAPrefixOfTheSearchPaths()
{
    const QString name = "prefix:file";
    const QString file = path("folder/file");
    QVERIFY(QDir().mkpath(path("folder")));
    QDir::setSearchPaths("prefix", {path("folder")});
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
    QDir::setSearchPaths("prefix", {});
}

void TestFilePaths::doesNotDoWhatAFilesPermissionsForbid()
{
    const OrdinaryUser user(path(QString()));
    if (!user.problem().isEmpty())
        QSKIP(qPrintable(user.problem()));

    const QString file = path("file");
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

    // The directory's permissions decide whether it can be removed.
    QVERIFY(FileManager::removeFile(file));
    QVERIFY(!QFile::exists(file));
}

void TestFilePaths::doesNotDoWhatADirectorysPermissionsForbid()
{
    const OrdinaryUser user(path(QString()));
    if (!user.problem().isEmpty())
        QSKIP(qPrintable(user.problem()));

    const QString directory = path("directory");
    const QString inside = path("directory/inside");
    QVERIFY(QDir().mkdir(directory));
    QVERIFY(store(inside, "kept"));
    allow(directory, 0555);
    QVERIFY(!FileManager::removeFile(inside));
    QVERIFY(!FileManager::checkPath(path("directory/new/newer")));
    const QString fresh = path("directory/fresh");
    QVERIFY(!FileManager::writeFile("x", fresh));
    QCOMPARE(takeLines(), openError(fresh, "Permission denied"));
    // It is written in place, so the directory's permissions do not count.
    QVERIFY(FileManager::writeFile("new", inside));
    QCOMPARE(contentOf(inside), QByteArray("new"));

    allow(directory, 0666); // may be listed, not searched
    QVERIFY(!FileManager::isFileExist(inside));
    QCOMPARE(takeLines(), nonExistent(inside));
    QCOMPARE(FileManager::readFile(inside), QByteArray());
    QCOMPARE(takeLines(), openError(inside, "Permission denied"));
    allow(directory, 0777);
}

void TestFilePaths::refusesAnEmptyPath()
{
    const QString qtOpen = "warning default: QFSFileEngine::open: No file name specified";
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
        QVERIFY2(line.startsWith("warning default: "), qPrintable(line));
}

void TestFilePaths::refusesAPathWithANul()
{
    // Cut at the NUL, the name would be that of another file.
    const QString other = path("other");
    QVERIFY(store(other, "kept"));
    const QString nul = other + QChar(QChar::Null) + "x";
    const QString logged = other + "\\u0000x";
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
        QVERIFY2(line.startsWith("warning default: "), qPrintable(line));
}

SYNCSTATUS_TEST(TestFilePaths)
#include "tst_filepaths.moc"
