// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filesfixture.h"
#include "ordinaryuser.h"
#include "testprogram.h"

#include <syncstatus/filemanager.h>

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QSize>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using systemFileManager::FileManager;

namespace {

// A modification time.
constexpr timespec longAgo[] = {{0, UTIME_OMIT}, {1'000'000'000, 0}};

bool isFromLongAgo(const QString &path)
{
    return QFileInfo(path).lastModified().toSecsSinceEpoch() == longAgo[1].tv_sec;
}

} // namespace

class TestIniWriting : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    void writesGroupsAndKeysInAscendingOrder();
    void sortsNewGroupsAndKeysIntoTheFile();
    void keepsTheLastOfNamesThatMeanOneKey();
    void keepsWhatItIsNotToldToChange();
    void writesAValueAs_data();
    void writesAValueAs();
    void logsAFailureAndThenTheSuccessAllTheSame();
    void logsAFailureForWhatMayNotBeWritten();
    void reportsADamagedFileAndWritesItAllTheSame_data();
    void reportsADamagedFileAndWritesItAllTheSame();
    void makesNoFileWhenThereIsNothingToSet();
    void leavesTheTimeStampWhenThereIsNothingToSet();
    void skipsAnEmptyKey();
    void doesNotFindWhatHasNoName();
    void makesMissingDirectoriesButNotThroughAFile();
    void makesFilesAsTheUmaskSays();
    void keepsPermissionsButNotHardLinks();
    void followsALinkThatPointsNowhere();
    void triesAFailedWriteAgainOnTheNextOperation();
    void copesWithTenThousandKeys();
};

void TestIniWriting::writesGroupsAndKeysInAscendingOrder()
{
    Config config;
    config["b"]["only"] = 3;
    config["a"]["second"] = 2;
    config["a"]["first"] = 1;
    FileManager::writeIniConfigFile(config, path("new.ini"));

    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(path("new.ini")), QByteArray("[a]\nfirst=1\nsecond=2\n\n[b]\nonly=3\n"));
    QVERIFY(!QFile::exists(path("new.ini.lock")));
}

void TestIniWriting::sortsNewGroupsAndKeysIntoTheFile()
{
    const QString file = path("old.ini");
    QVERIFY(store(file, "[m]\nz=1\n"));
    FileManager::writeIniConfigFile(
        {{"z", {{"k", 1}}}, {"a", {{"k", 2}}}, {"m", {{"b", 3}, {"a", 4}}}}, file);

    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(file), QByteArray("[a]\nk=2\n\n[m]\na=4\nb=3\nz=1\n\n[z]\nk=1\n"));
}

void TestIniWriting::keepsTheLastOfNamesThatMeanOneKey()
{
    // This shows the order of the writes, which the file, always sorted, does not.
    const QString groups = path("groups.ini");
    FileManager::writeIniConfigFile({{"a", {{"x/k", 1}}}, {"a/x", {{"k", 2}}}}, groups);
    const QString keys = path("keys.ini");
    FileManager::writeIniConfigFile({{"a", {{"/k", 1}, {"k", 2}}}}, keys);

    QCOMPARE(takeLines(), succeeded() + succeeded());
    QCOMPARE(contentOf(groups), QByteArray("[a]\nx\\k=2\n"));
    QCOMPARE(contentOf(keys), QByteArray("[a]\nk=2\n"));
}

void TestIniWriting::keepsWhatItIsNotToldToChange()
{
    const QString file = path("old.ini");
    QVERIFY(
        store(file, "[General]\ntop=0\n\n[other]\nkept=\"a;b\"\n\n[mine]\nkept=1\nchanged=2\n"));
    FileManager::writeIniConfigFile({{"mine", {{"changed", "new"}}}}, file);

    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(file), QByteArray("[General]\ntop=0\n\n[mine]\nchanged=new\nkept=1\n\n"
                                         "[other]\nkept=\"a;b\"\n"));
}

void TestIniWriting::writesAValueAs_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("written");
    QTest::addColumn<QString>("readBack");

    QTest::newRow("text") << QVariant("some text") << QByteArray("some text") << "some text";
    QTest::newRow("no text") << QVariant(QString()) << QByteArray() << QString();
    QTest::newRow("non-ASCII") << QVariant(QStringLiteral("häuser, 网络"))
                               << QByteArray(R"("häuser, 网络")") << QStringLiteral("häuser, 网络");
    QTest::newRow("separators") << QVariant("a;b,c=d") << QByteArray(R"("a;b,c=d")") << "a;b,c=d";
    QTest::newRow("quotes") << QVariant(R"(say "hi" \o/)") << QByteArray(R"(say \"hi\" \\o/)")
                            << R"(say "hi" \o/)";
    QTest::newRow("blanks at the ends") << QVariant(" a ") << QByteArray(R"(" a ")") << " a ";
    QTest::newRow("control characters")
        << QVariant("a\nb\tc\x01") << QByteArray(R"(a\nb\tc\x1)") << "a\nb\tc\x01";
    QTest::newRow("at sign") << QVariant("@x") << QByteArray("@@x") << "@x";
    QTest::newRow("percent") << QVariant("50%1") << QByteArray("50%1") << "50%1";
    QTest::newRow("bool") << QVariant(true) << QByteArray("true") << "true";
    QTest::newRow("int") << QVariant(-7) << QByteArray("-7") << "-7";
    QTest::newRow("double") << QVariant(1.5) << QByteArray("1.5") << "1.5";
    QTest::newRow("bytes") << QVariant(QByteArray("b\0y", 3)) << QByteArray(R"(@ByteArray(b\0y))")
                           << "b";
    QTest::newRow("list") << QVariant(QStringList{"a", "b"}) << QByteArray("a, b") << QString();
    QTest::newRow("size") << QVariant(QSize(1, 2)) << QByteArray("@Size(1 2)") << QString();
    QTest::newRow("nothing") << QVariant() << QByteArray("@Invalid()") << QString();
}

void TestIniWriting::writesAValueAs()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, written);
    QFETCH(QString, readBack);

    const QString file = path("values.ini");
    FileManager::writeIniConfigFile({{"g", {{"k", value}}}}, file);
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(file), "[g]\nk=" + written + '\n');

    // From another path, so that QSettings reads the file and not its cache.
    QVERIFY(QFile::copy(file, path("copy.ini")));
    QCOMPARE(FileManager::readSettingFile(path("copy.ini"), "g"), (Values{{"k", readBack}}));
}

void TestIniWriting::logsAFailureAndThenTheSuccessAllTheSame()
{
    const QString file = path("directory");
    QVERIFY(QDir().mkdir(file));
    FileManager::writeIniConfigFile({{"g", {{"k", 1}}}}, file);

    QCOMPARE(takeLines(), failed("AccessError"));
    QVERIFY(QDir(file).isEmpty());
}

void TestIniWriting::logsAFailureForWhatMayNotBeWritten()
{
    const OrdinaryUser user(path(QString()));
    if (!user.problem().isEmpty())
        QSKIP(qPrintable(user.problem()));

    const QByteArray content("[g]\nk=\xc3\xbc\n");
    const QString file = path("read-only.ini");
    QVERIFY(store(file, content));
    const QByteArray name = QFile::encodeName(file);
    QCOMPARE(::chmod(name.constData(), 0444), 0);
    QCOMPARE(::utimensat(AT_FDCWD, name.constData(), longAgo, 0), 0);
    FileManager::writeIniConfigFile({{"g", {{"k", 1}}}}, file);
    QCOMPARE(takeLines(), failed("AccessError"));
    QCOMPARE(contentOf(file), content);
    QVERIFY(isFromLongAgo(file));

    // A directory in which no lock can be made.
    const QByteArray directory = QFile::encodeName(path("directory"));
    QCOMPARE(::mkdir(directory.constData(), 0777), 0);
    const QString inside = path("directory/inside.ini");
    QVERIFY(store(inside, content));
    const QByteArray allAscii("[g]\nk=\x7f\n");
    const QString ascii = path("directory/ascii.ini");
    QVERIFY(store(ascii, allAscii));
    QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(ascii).constData(), longAgo, 0), 0);
    QCOMPARE(::chmod(directory.constData(), 0555), 0);
    for (const char *name : {"inside.ini", "ascii.ini", "new.ini"}) {
        FileManager::writeIniConfigFile({{"g", {{"k", 1}}}}, path("directory/") + name);
        QCOMPARE(takeLines(), failed("AccessError"));
    }
    QCOMPARE(contentOf(inside), content);
    QCOMPARE(contentOf(ascii), allAscii);
    QVERIFY(isFromLongAgo(ascii));
    QCOMPARE(QDir(path("directory")).entryList(QDir::Files | QDir::Hidden),
             (QStringList{"ascii.ini", "inside.ini"}));
    QCOMPARE(::chmod(directory.constData(), 0777), 0);
}

void TestIniWriting::reportsADamagedFileAndWritesItAllTheSame_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("written");
    QTest::addColumn<bool>("reported");

    QTest::newRow("a section that is not closed")
        << QByteArray("[open\na=1\n") << QByteArray("[next]\nc=3\n\n[open]\na=1\n") << true;
    QTest::newRow("a line without an equals sign")
        << QByteArray("[next]\nno equals sign\nb=2\n") << QByteArray("[next]\nb=2\nc=3\n") << true;
    QTest::newRow("a comment that is none to QSettings")
        << QByteArray("[next]\n# comment\nb=2\n") << QByteArray("[next]\nb=2\nc=3\n") << true;
    QTest::newRow("a comment") << QByteArray("[next]\n; comment\nb=2 ; another\n")
                               << QByteArray("[next]\nb=2\nc=3\n") << false;
    QTest::newRow("a quote that is not closed")
        << QByteArray("[g]\na=\"open\n[next]\nb=2\n")
        << QByteArray("[g]\na=\"open\\n[next]\\nb=2\\n\"\n\n[next]\nc=3\n") << false;
    QTest::newRow("a key twice") << QByteArray("[next]\nb=1\nb=2\n[next]\na=3\n")
                                 << QByteArray("[next]\na=3\nb=2\nc=3\n") << false;
    QTest::newRow("DOS lines") << QByteArray("[next]\r\na=1\r\nb=2\r\n")
                               << QByteArray("[next]\na=1\nb=2\nc=3\n") << false;
}

void TestIniWriting::reportsADamagedFileAndWritesItAllTheSame()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, written);
    QFETCH(bool, reported);

    const QString file = path("damaged.ini");
    QVERIFY(store(file, content));
    FileManager::writeIniConfigFile({{"next", {{"c", 3}}}}, file);
    QCOMPARE(takeLines(), reported ? failed("FormatError") : succeeded());
    QCOMPARE(contentOf(file), written);

    FileManager::writeIniConfigFile({{"next", {{"c", 4}}}}, file);
    QCOMPARE(takeLines(), succeeded());
}

void TestIniWriting::makesNoFileWhenThereIsNothingToSet()
{
    FileManager::writeIniConfigFile({}, path("none.ini"));
    QCOMPARE(takeLines(), succeeded());
    FileManager::writeIniConfigFile({{"g", {}}}, path("none.ini"));
    QCOMPARE(takeLines(), succeeded());
    QVERIFY(!QFile::exists(path("none.ini")));
}

void TestIniWriting::leavesTheTimeStampWhenThereIsNothingToSet()
{
    const QByteArray content("[g]\nk=\xc3\xbc\n");
    const QString file = path("old.ini");
    QVERIFY(store(file, content));
    QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(file).constData(), longAgo, 0), 0);
    FileManager::writeIniConfigFile({}, file);
    FileManager::writeIniConfigFile({{"g", {}}}, file);
    QCOMPARE(takeLines(), succeeded() + succeeded());
    QVERIFY(isFromLongAgo(file));
    QCOMPARE(contentOf(file), content);
}

void TestIniWriting::skipsAnEmptyKey()
{
    const QString file = path("keys.ini");
    FileManager::writeIniConfigFile({{"g", {{QString(), 1}, {"k", 2}}}}, file);

    QCOMPARE(takeLines(),
             QStringList{"warning default: QSettings::setValue: Empty key passed"} + succeeded());
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=2\n"));
}

void TestIniWriting::doesNotFindWhatHasNoName()
{
    const QString slashes = path("slashes.ini");
    FileManager::writeIniConfigFile({{"g", {{"//", 1}}}}, slashes);
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(slashes), QByteArray("[g]\n=1\n"));
    QCOMPARE(FileManager::readSettingFile(slashes, "g"), (Values{{QString(), QString()}}));
    takeLines(); // Qt's

    const QString section = path("section.ini");
    QVERIFY(store(section, "[]\nk=1\n"));
    QCOMPARE(FileManager::readIniConfigFile(section, QString(), "k", "none"), latin1("none"));
    FileManager::writeIniConfigFile({{"g", {{"k", 2}}}}, section);
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(section), QByteArray("[General]\nk=1\n\n[g]\nk=2\n"));
}

void TestIniWriting::makesMissingDirectoriesButNotThroughAFile()
{
    FileManager::writeIniConfigFile({{"g", {{"k", 1}}}}, path("a/b/c.ini"));
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(path("a/b/c.ini")), QByteArray("[g]\nk=1\n"));

    FileManager::writeIniConfigFile({{"g", {{"k", 1}}}}, path("a/b/c.ini/d.ini"));
    QCOMPARE(takeLines(), failed("AccessError"));
    QCOMPARE(contentOf(path("a/b/c.ini")), QByteArray("[g]\nk=1\n"));
}

void TestIniWriting::makesFilesAsTheUmaskSays()
{
    const mode_t before = ::umask(027);
    FileManager::writeIniConfigFile({{"g", {{"k", 1}}}}, path("new.ini"));
    ::umask(before);

    QCOMPARE(takeLines(), succeeded());
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(path("new.ini")).constData(), &status), 0);
    QCOMPARE(status.st_mode & 07777U, 0640U);
}

void TestIniWriting::keepsPermissionsButNotHardLinks()
{
    const QString file = path("old.ini");
    QVERIFY(store(file, "[g]\nk=1\n"));
    const QByteArray name = QFile::encodeName(file);
    QCOMPARE(::chmod(name.constData(), 0604), 0);
    const QString other = path("hardlink");
    QCOMPARE(::link(name.constData(), QFile::encodeName(other).constData()), 0);
    FileManager::writeIniConfigFile({{"g", {{"k", 2}}}}, file);

    QCOMPARE(takeLines(), succeeded());
    struct stat status = {};
    QCOMPARE(::stat(name.constData(), &status), 0);
    QCOMPARE(status.st_mode & 07777U, 0604U);
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=2\n"));
    QCOMPARE(contentOf(other), QByteArray("[g]\nk=1\n"));
}

void TestIniWriting::followsALinkThatPointsNowhere()
{
    QVERIFY(QFile::link("target.ini", path("link.ini")));
    FileManager::writeIniConfigFile({{"g", {{"k", 1}}}}, path("link.ini"));

    QCOMPARE(takeLines(), succeeded());
    QVERIFY(QFileInfo(path("link.ini")).isSymLink());
    QCOMPARE(contentOf(path("target.ini")), QByteArray("[g]\nk=1\n"));
}

void TestIniWriting::triesAFailedWriteAgainOnTheNextOperation()
{
    const QString file = path("blocked.ini");
    QVERIFY(store(file, "[g]\na=1\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "a", QString()), latin1("1"));
    QVERIFY(QFile::remove(file));
    QVERIFY(QDir().mkdir(file));
    FileManager::writeIniConfigFile({{"g", {{"b", 2}}}}, file);
    QCOMPARE(takeLines(), failed("AccessError"));

    QVERIFY(QDir().rmdir(file));
    QVERIFY(store(file, "[f]\nkept=\xc3\xbc\n\n[g]\na=10\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "b", QString()), latin1("2"));
    QCOMPARE(FileManager::readSettingFile(file, "g"), (Values{{"a", "10"}, {"b", "2"}}));
    QVERIFY(contentOf(file).endsWith("[g]\na=10\nb=2\n"));
    QEXPECT_FAIL("", "QSettings writes before it can be told the encoding", Continue);
    QCOMPARE(FileManager::readSettingFile(file, "f").value("kept"), QStringLiteral("ü"));
}

void TestIniWriting::copesWithTenThousandKeys()
{
    Config config;
    Values expected;
    for (int i = 0; i < 10'000; ++i) {
        const QString key = QStringLiteral("key%1").arg(i, 5, 10, QLatin1Char('0'));
        config["many"][key] = QStringLiteral("wert-ü-%1").arg(i);
        expected[key] = QStringLiteral("wert-ü-%1").arg(i);
    }
    const QString file = path("many.ini");
    FileManager::writeIniConfigFile(config, file);
    QCOMPARE(takeLines(), succeeded());
    QVERIFY(QFile::copy(file, path("copy.ini")));
    QCOMPARE(FileManager::readSettingFile(path("copy.ini"), "many"), expected);

    FileManager::writeIniConfigFile({{"many", {{"key05000", 1}}}}, file);
    QCOMPARE(takeLines(), succeeded());
    expected["key05000"] = "1";
    QCOMPARE(FileManager::readSettingFile(file, "many"), expected);
    QCOMPARE(FileManager::readIniConfigFile(file, "many", "key05000", QString()), latin1("1"));
}

SYNCSTATUS_TEST(TestIniWriting)
#include "tst_iniwriting.moc"
