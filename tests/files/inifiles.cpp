// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filesfixture.h"
#include "ordinaryuser.h"

#include <syncstatus/filemanager.h>

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QSize>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using systemFileManager::FileManager;

namespace {

// What the file systems' time stamps do: the present is reached after that many milliseconds.
int tickAfter = 0;
QElapsedTimer sinceStart;
int stamps = 0;

} // namespace

// Instead of the C library's, for the library too.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): its names are reserved ones
extern "C" Q_DECL_EXPORT int futimens(int descriptor, const timespec times[2]) noexcept
{
    static const auto next =
        reinterpret_cast<int (*)(int, const timespec *)>(::dlsym(RTLD_NEXT, "futimens"));
    ++stamps;
    return tickAfter > 0 && sinceStart.elapsed() < tickAfter ? 0 : next(descriptor, times);
}

namespace {

using Config = QMap<QString, QVariantMap>;
using Values = QMap<QString, QString>;

const QString succeeded = agentWarning(QStringLiteral("write IniConfigFile succeed"));
QStringList failed(const char *status)
{
    return {agentWarning(QStringLiteral("write IniConfigFile fail:  QSettings::") +
                         QLatin1String(status)),
            succeeded};
}

QString latin1(const char *text)
{
    return QString::fromLatin1(text);
}

// For the modification time: some moment long past.
constexpr timespec longAgo[] = {{0, UTIME_OMIT}, {1'000'000'000, 0}};

bool isFromLongAgo(const QString &path)
{
    return QFileInfo(path).lastModified().toSecsSinceEpoch() == longAgo[1].tv_sec;
}

} // namespace

class IniFiles : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    // Writing
    void writesGroupsAndKeysInAscendingOrder();
    void sortsNewGroupsAndKeysIntoTheFile();
    void keepsTheLastOfNamesThatMeanOneKey();
    void keepsWhatItIsNotToldToChange();
    void writesAValueAs_data();
    void writesAValueAs();
    void writesNoCharacterBeyondTheBasicPlane();
    void dropsAByteOrderMarkWithinAValue();
    void logsAFailureAndThenTheSuccessAllTheSame();
    void logsAFailureForWhatMayNotBeWritten();
    void reportsADamagedFileAndWritesItAllTheSame_data();
    void reportsADamagedFileAndWritesItAllTheSame();
    void spoilsForeignBytesThatAreNoUtf8();
    void escapesForeignNames();
    void takesAByteOrderMarkForDamage_data();
    void takesAByteOrderMarkForDamage();
    void makesNoFileWhenThereIsNothingToSet();
    void leavesTheTimeStampWhenThereIsNothingToSet();
    void skipsAnEmptyKey();
    void doesNotFindWhatHasNoName();
    void makesMissingDirectoriesButNotThroughAFile();
    void makesFilesAsTheUmaskSays();
    void keepsPermissionsButNotHardLinks();
    void followsALinkThatPointsNowhere();
    void triesAFailedWriteAgainOnTheNextOperation();

    // Reading
    void givesTheDefaultForWhatIsMissing();
    void readsTheKeyOfTheGroup();
    void readsEmptyNamesAndSlashesAsOnePath_data();
    void readsEmptyNamesAndSlashesAsOnePath();
    void takesPlaceholdersInNamesAsTheyStand();
    void readsNoGroupAndTheGroupGeneral();
    void aSectionWithASlashHidesKeysFromTheReaderOfOneValue_data();
    void aSectionWithASlashHidesKeysFromTheReaderOfOneValue();
    void theReaderOfOneValueDecodesLatin1();
    void aByteOrderMarkMakesItDecodeUtf8();
    void theReaderOfAGroupDecodesUtf8();
    void aSectionStaysAsItsFirstReaderDecodedIt();
    void aWriteIsImmuneToTheOtherReadersDecoding();
    void aWriteIsImmuneInAFileOfAnotherOwner();
    void aWriteWaitsForACoarseTimeStamp_data();
    void aWriteWaitsForACoarseTimeStamp();
    void readsNestedGroups();
    void givesEveryValueAsText();
    void givesAnEmptyMapForWhatIsMissing();
    void givesNothingOfAFileThatMayNotBeRead();
    void readsWhatItCanOfADamagedFile();
    void followsChangesByOthers();

    // Both
    void takesAnyName_data();
    void takesAnyName();
    void takesARelativePath_data();
    void takesARelativePath();
    void takesAPrefixOfTheSearchPaths();
    void copesWithTenThousandKeys();
    void refusesAPathThatNoFileHas_data();
    void refusesAPathThatNoFileHas();
};

void IniFiles::writesGroupsAndKeysInAscendingOrder()
{
    Config config;
    config[latin1("b")][latin1("only")] = 3;
    config[latin1("a")][latin1("second")] = 2;
    config[latin1("a")][latin1("first")] = 1;
    FileManager::writeIniConfigFile(config, path(latin1("new.ini")));

    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(path(latin1("new.ini"))),
             QByteArray("[a]\nfirst=1\nsecond=2\n\n[b]\nonly=3\n"));
    QVERIFY(!QFile::exists(path(latin1("new.ini.lock"))));
}

void IniFiles::sortsNewGroupsAndKeysIntoTheFile()
{
    const QString file = path(latin1("old.ini"));
    QVERIFY(store(file, "[m]\nz=1\n"));
    FileManager::writeIniConfigFile({{latin1("z"), {{latin1("k"), 1}}},
                                     {latin1("a"), {{latin1("k"), 2}}},
                                     {latin1("m"), {{latin1("b"), 3}, {latin1("a"), 4}}}},
                                    file);

    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(file), QByteArray("[a]\nk=2\n\n[m]\na=4\nb=3\nz=1\n\n[z]\nk=1\n"));
}

void IniFiles::keepsTheLastOfNamesThatMeanOneKey()
{
    // What shows the order in which the groups and the keys are set: a file has them sorted anyway.
    const QString groups = path(latin1("groups.ini"));
    FileManager::writeIniConfigFile(
        {{latin1("a"), {{latin1("x/k"), 1}}}, {latin1("a/x"), {{latin1("k"), 2}}}}, groups);
    const QString keys = path(latin1("keys.ini"));
    FileManager::writeIniConfigFile({{latin1("a"), {{latin1("/k"), 1}, {latin1("k"), 2}}}}, keys);

    QCOMPARE(takeLines(), (QStringList{succeeded, succeeded}));
    QCOMPARE(contentOf(groups), QByteArray("[a]\nx\\k=2\n"));
    QCOMPARE(contentOf(keys), QByteArray("[a]\nk=2\n"));
}

void IniFiles::keepsWhatItIsNotToldToChange()
{
    const QString file = path(latin1("old.ini"));
    QVERIFY(
        store(file, "[General]\ntop=0\n\n[other]\nkept=\"a;b\"\n\n[mine]\nkept=1\nchanged=2\n"));
    FileManager::writeIniConfigFile({{latin1("mine"), {{latin1("changed"), latin1("new")}}}}, file);

    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(file), QByteArray("[General]\ntop=0\n\n[mine]\nchanged=new\nkept=1\n\n"
                                         "[other]\nkept=\"a;b\"\n"));
}

void IniFiles::writesAValueAs_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("written");
    QTest::addColumn<QString>("readBack");

    QTest::newRow("text") << QVariant(latin1("some text")) << QByteArray("some text")
                          << latin1("some text");
    QTest::newRow("no text") << QVariant(QString()) << QByteArray() << QString();
    QTest::newRow("non-ASCII") << QVariant(QStringLiteral("häuser, 网络"))
                               << QByteArray(R"("häuser, 网络")") << QStringLiteral("häuser, 网络");
    QTest::newRow("separators") << QVariant(latin1("a;b,c=d")) << QByteArray(R"("a;b,c=d")")
                                << latin1("a;b,c=d");
    QTest::newRow("quotes") << QVariant(latin1(R"(say "hi" \o/)"))
                            << QByteArray(R"(say \"hi\" \\o/)") << latin1(R"(say "hi" \o/)");
    QTest::newRow("blanks at the ends")
        << QVariant(latin1(" a ")) << QByteArray(R"(" a ")") << latin1(" a ");
    QTest::newRow("control characters")
        << QVariant(latin1("a\nb\tc\x01")) << QByteArray(R"(a\nb\tc\x1)") << latin1("a\nb\tc\x01");
    QTest::newRow("at sign") << QVariant(latin1("@x")) << QByteArray("@@x") << latin1("@x");
    QTest::newRow("percent") << QVariant(latin1("50%1")) << QByteArray("50%1") << latin1("50%1");
    QTest::newRow("bool") << QVariant(true) << QByteArray("true") << latin1("true");
    QTest::newRow("int") << QVariant(-7) << QByteArray("-7") << latin1("-7");
    QTest::newRow("double") << QVariant(1.5) << QByteArray("1.5") << latin1("1.5");
    QTest::newRow("bytes") << QVariant(QByteArray("b\0y", 3)) << QByteArray(R"(@ByteArray(b\0y))")
                           << latin1("b");
    QTest::newRow("list") << QVariant(QStringList{latin1("a"), latin1("b")}) << QByteArray("a, b")
                          << QString();
    QTest::newRow("size") << QVariant(QSize(1, 2)) << QByteArray("@Size(1 2)") << QString();
    QTest::newRow("nothing") << QVariant() << QByteArray("@Invalid()") << QString();
}

void IniFiles::writesAValueAs()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, written);
    QFETCH(QString, readBack);

    const QString file = path(latin1("values.ini"));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), value}}}}, file);
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(file), "[g]\nk=" + written + '\n');

    // From another path, where the answer does not come out of QSettings' memory.
    QVERIFY(QFile::copy(file, path(latin1("copy.ini"))));
    QCOMPARE(FileManager::readSettingFile(path(latin1("copy.ini")), latin1("g")),
             (Values{{latin1("k"), readBack}}));
}

void IniFiles::writesNoCharacterBeyondTheBasicPlane()
{
    const QString file = path(latin1("wide.ini"));
    QVERIFY(store(file, "[g]\nold=a\xf0\x9f\x98\x80z\n"));
    QCOMPARE(FileManager::readSettingFile(file, latin1("g")),
             (Values{{latin1("old"), QStringLiteral("a\U0001F600z")}}));

    FileManager::writeIniConfigFile(
        {{latin1("g"), {{latin1("new"), QStringLiteral("b\U00020BB7y")}}}}, file);
    QCOMPARE(takeLines(), {succeeded});
    QEXPECT_FAIL("", "QSettings encodes each half of a surrogate pair by itself", Continue);
    QCOMPARE(contentOf(file), QByteArray("[g]\nold=a\xf0\x9f\x98\x80z\nnew=b\xf0\xa0\xae\xb7y\n"));

    // What the character has kept from being a type.
    const QString type = path(latin1("type.ini"));
    FileManager::writeIniConfigFile(
        {{latin1("g"), {{latin1("k"), QStringLiteral("\U0001F600@Size(1 2)")}}}}, type);
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(type), QByteArray("[g]\nk=@Size(1 2)\n"));
    QVERIFY(QFile::copy(type, path(latin1("copy.ini"))));
    QCOMPARE(FileManager::readSettingFile(path(latin1("copy.ini")), latin1("g")),
             (Values{{latin1("k"), QString()}}));
}

void IniFiles::dropsAByteOrderMarkWithinAValue()
{
    const QString file = path(latin1("marks.ini"));
    FileManager::writeIniConfigFile({{latin1("g"),
                                      {{latin1("first"), QStringLiteral("\uFEFFa")},
                                       {latin1("escape"), QStringLiteral("a\t\uFEFFz")},
                                       {latin1("middle"), QStringLiteral("a\uFEFFz")}}}},
                                    file);
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(file), QByteArray("[g]\nescape=a\\t\xef\xbb\xbfz\n"
                                         "first=\xef\xbb\xbf"
                                         "a\nmiddle=a\xef\xbb\xbfz\n"));
    QVERIFY(QFile::copy(file, path(latin1("copy.ini"))));
    QCOMPARE(FileManager::readSettingFile(path(latin1("copy.ini")), latin1("g")),
             (Values{{latin1("escape"), latin1("a\tz")},
                     {latin1("first"), latin1("a")},
                     {latin1("middle"), QStringLiteral("a\uFEFFz")}}));
}

void IniFiles::logsAFailureAndThenTheSuccessAllTheSame()
{
    const QString file = path(latin1("directory"));
    QVERIFY(QDir().mkdir(file));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 1}}}}, file);

    QCOMPARE(takeLines(), failed("AccessError"));
    QVERIFY(QDir(file).isEmpty());
}

void IniFiles::logsAFailureForWhatMayNotBeWritten()
{
    const OrdinaryUser user(path(QString()));
    if (!user.problem().isEmpty())
        QSKIP(qPrintable(user.problem()));

    const QByteArray content("[g]\nk=\xc3\xbc\n");
    const QString file = path(latin1("read-only.ini"));
    QVERIFY(store(file, content));
    const QByteArray name = QFile::encodeName(file);
    QCOMPARE(::chmod(name.constData(), 0444), 0);
    QCOMPARE(::utimensat(AT_FDCWD, name.constData(), longAgo, 0), 0);
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 1}}}}, file);
    QCOMPARE(takeLines(), failed("AccessError"));
    QCOMPARE(contentOf(file), content);
    QVERIFY(isFromLongAgo(file));

    // A directory without room for the lock.
    const QByteArray directory = QFile::encodeName(path(latin1("directory")));
    QCOMPARE(::mkdir(directory.constData(), 0777), 0);
    const QString inside = path(latin1("directory/inside.ini"));
    QVERIFY(store(inside, content));
    const QByteArray allAscii("[g]\nk=\x7f\n");
    const QString ascii = path(latin1("directory/ascii.ini"));
    QVERIFY(store(ascii, allAscii));
    QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(ascii).constData(), longAgo, 0), 0);
    QCOMPARE(::chmod(directory.constData(), 0555), 0);
    for (const char *name : {"inside.ini", "ascii.ini", "new.ini"}) {
        FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 1}}}},
                                        path(latin1("directory/")) + latin1(name));
        QCOMPARE(takeLines(), failed("AccessError"));
    }
    QCOMPARE(contentOf(inside), content);
    QCOMPARE(contentOf(ascii), allAscii);
    QVERIFY(isFromLongAgo(ascii));
    QCOMPARE(QDir(path(latin1("directory"))).entryList(QDir::Files | QDir::Hidden),
             (QStringList{latin1("ascii.ini"), latin1("inside.ini")}));
    QCOMPARE(::chmod(directory.constData(), 0777), 0);
}

void IniFiles::reportsADamagedFileAndWritesItAllTheSame_data()
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

void IniFiles::reportsADamagedFileAndWritesItAllTheSame()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, written);
    QFETCH(bool, reported);

    const QString file = path(latin1("damaged.ini"));
    QVERIFY(store(file, content));
    FileManager::writeIniConfigFile({{latin1("next"), {{latin1("c"), 3}}}}, file);
    QCOMPARE(takeLines(), reported ? failed("FormatError") : QStringList{succeeded});
    QCOMPARE(contentOf(file), written);

    FileManager::writeIniConfigFile({{latin1("next"), {{latin1("c"), 4}}}}, file);
    QCOMPARE(takeLines(), {succeeded});
}

void IniFiles::spoilsForeignBytesThatAreNoUtf8()
{
    const QString file = path(latin1("latin1.ini"));
    QVERIFY(store(file, "[g]\nescaped=\\xfc\nk=a\xfcz\n"));
    QCOMPARE(FileManager::readSettingFile(file, latin1("g")).value(latin1("k")),
             QStringLiteral("a\uFFFDz"));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("new"), 1}}}}, file);
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(file), QByteArray("[g]\nescaped=\xc3\xbc\nk=a\xef\xbf\xbdz\nnew=1\n"));

    // Whatever the other reader made of it.
    const QString control = path(latin1("control.ini"));
    QVERIFY(store(control, "[f]\nk=\x80\n"));
    QCOMPARE(FileManager::readIniConfigFile(control, latin1("f"), latin1("k"), QString()),
             QStringLiteral("\u0080"));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("new"), 1}}}}, control);
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(control), QByteArray("[f]\nk=\xef\xbf\xbd\n\n[g]\nnew=1\n"));
}

void IniFiles::escapesForeignNames()
{
    const QString file = path(latin1("names.ini"));
    QVERIFY(store(file, "[\xc3\xbc]\na b=1\n\xfc=2\n"));
    FileManager::writeIniConfigFile({{latin1("g"), {{QStringLiteral("ü"), 3}}}}, file);
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(file), QByteArray("[g]\n%FC=3\n\n[%C3%BC]\na%20b=1\n%FC=2\n"));
}

void IniFiles::takesAByteOrderMarkForDamage_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("written");
    QTest::addColumn<bool>("reported");
    QTest::newRow("before a section")
        << QByteArray("[g]\nk=\xc3\xbc\n") << QByteArray("[g]\nk=\xc3\xbc\n\n[z]\nk=1\n") << true;
    QTest::newRow("before a comment") << QByteArray("; comment\n[g]\nk=\xc3\xbc\n")
                                      << QByteArray("[g]\nk=\xc3\xbc\n\n[z]\nk=1\n") << true;
    QTest::newRow("before a key") << QByteArray("k=\xc3\xbc\n")
                                  << QByteArray("[General]\n%EF%BB%BFk=\xc3\xbc\n\n[z]\nk=1\n")
                                  << false;
}

void IniFiles::takesAByteOrderMarkForDamage()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, written);
    QFETCH(bool, reported);

    const QString file = path(latin1("bom.ini"));
    QVERIFY(store(file, "\xef\xbb\xbf" + content));
    FileManager::writeIniConfigFile({{latin1("z"), {{latin1("k"), 1}}}}, file);
    QCOMPARE(takeLines(), reported ? failed("FormatError") : QStringList{succeeded});
    QCOMPARE(contentOf(file), written);
}

void IniFiles::makesNoFileWhenThereIsNothingToSet()
{
    FileManager::writeIniConfigFile({}, path(latin1("none.ini")));
    QCOMPARE(takeLines(), {succeeded});
    FileManager::writeIniConfigFile({{latin1("g"), {}}}, path(latin1("none.ini")));
    QCOMPARE(takeLines(), {succeeded});
    QVERIFY(!QFile::exists(path(latin1("none.ini"))));
}

void IniFiles::leavesTheTimeStampWhenThereIsNothingToSet()
{
    const QByteArray content("[g]\nk=\xc3\xbc\n");
    const QString file = path(latin1("old.ini"));
    QVERIFY(store(file, content));
    QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(file).constData(), longAgo, 0), 0);
    FileManager::writeIniConfigFile({}, file);
    FileManager::writeIniConfigFile({{latin1("g"), {}}}, file);
    QCOMPARE(takeLines(), (QStringList{succeeded, succeeded}));
    QVERIFY(isFromLongAgo(file));
    QCOMPARE(contentOf(file), content);
}

void IniFiles::skipsAnEmptyKey()
{
    const QString file = path(latin1("keys.ini"));
    FileManager::writeIniConfigFile({{latin1("g"), {{QString(), 1}, {latin1("k"), 2}}}}, file);

    QCOMPARE(
        takeLines(),
        (QStringList{latin1("warning default: QSettings::setValue: Empty key passed"), succeeded}));
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=2\n"));
}

void IniFiles::doesNotFindWhatHasNoName()
{
    const QString slashes = path(latin1("slashes.ini"));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("//"), 1}}}}, slashes);
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(slashes), QByteArray("[g]\n=1\n"));
    QCOMPARE(FileManager::readSettingFile(slashes, latin1("g")), (Values{{QString(), QString()}}));
    takeLines(); // Qt's

    const QString section = path(latin1("section.ini"));
    QVERIFY(store(section, "[]\nk=1\n"));
    QCOMPARE(FileManager::readIniConfigFile(section, QString(), latin1("k"), latin1("none")),
             latin1("none"));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 2}}}}, section);
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(section), QByteArray("[General]\nk=1\n\n[g]\nk=2\n"));
}

void IniFiles::makesMissingDirectoriesButNotThroughAFile()
{
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 1}}}}, path(latin1("a/b/c.ini")));
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(path(latin1("a/b/c.ini"))), QByteArray("[g]\nk=1\n"));

    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 1}}}},
                                    path(latin1("a/b/c.ini/d.ini")));
    QCOMPARE(takeLines(), failed("AccessError"));
    QCOMPARE(contentOf(path(latin1("a/b/c.ini"))), QByteArray("[g]\nk=1\n"));
}

void IniFiles::makesFilesAsTheUmaskSays()
{
    const mode_t before = ::umask(027);
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 1}}}}, path(latin1("new.ini")));
    ::umask(before);

    QCOMPARE(takeLines(), {succeeded});
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(path(latin1("new.ini"))).constData(), &status), 0);
    QCOMPARE(status.st_mode & 07777U, 0640U);
}

void IniFiles::keepsPermissionsButNotHardLinks()
{
    const QString file = path(latin1("old.ini"));
    QVERIFY(store(file, "[g]\nk=1\n"));
    const QByteArray name = QFile::encodeName(file);
    QCOMPARE(::chmod(name.constData(), 0604), 0);
    const QString other = path(latin1("hardlink"));
    QCOMPARE(::link(name.constData(), QFile::encodeName(other).constData()), 0);
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 2}}}}, file);

    QCOMPARE(takeLines(), {succeeded});
    struct stat status = {};
    QCOMPARE(::stat(name.constData(), &status), 0);
    QCOMPARE(status.st_mode & 07777U, 0604U);
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=2\n"));
    QCOMPARE(contentOf(other), QByteArray("[g]\nk=1\n"));
}

void IniFiles::followsALinkThatPointsNowhere()
{
    QVERIFY(QFile::link(latin1("target.ini"), path(latin1("link.ini"))));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 1}}}}, path(latin1("link.ini")));

    QCOMPARE(takeLines(), {succeeded});
    QVERIFY(QFileInfo(path(latin1("link.ini"))).isSymLink());
    QCOMPARE(contentOf(path(latin1("target.ini"))), QByteArray("[g]\nk=1\n"));
}

void IniFiles::triesAFailedWriteAgainOnTheNextOperation()
{
    const QString file = path(latin1("blocked.ini"));
    QVERIFY(store(file, "[g]\na=1\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("a"), QString()),
             latin1("1"));
    QVERIFY(QFile::remove(file));
    QVERIFY(QDir().mkdir(file));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("b"), 2}}}}, file);
    QCOMPARE(takeLines(), failed("AccessError"));

    QVERIFY(QDir().rmdir(file));
    QVERIFY(store(file, "[f]\nkept=\xc3\xbc\n\n[g]\na=10\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("b"), QString()),
             latin1("2"));
    QCOMPARE(FileManager::readSettingFile(file, latin1("g")),
             (Values{{latin1("a"), latin1("10")}, {latin1("b"), latin1("2")}}));
    QVERIFY(contentOf(file).endsWith("[g]\na=10\nb=2\n"));
    QEXPECT_FAIL("", "QSettings writes before it can be told the encoding", Continue);
    QCOMPARE(FileManager::readSettingFile(file, latin1("f")).value(latin1("kept")),
             QStringLiteral("ü"));
}

void IniFiles::givesTheDefaultForWhatIsMissing()
{
    const QString missing = latin1("the default");
    QCOMPARE(
        FileManager::readIniConfigFile(path(latin1("none.ini")), latin1("g"), latin1("k"), missing),
        missing);
    QVERIFY(!QFile::exists(path(latin1("none.ini"))));

    const QString file = path(latin1("some.ini"));
    QVERIFY(store(file, "[g]\nk=\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("other"), latin1("k"), missing), missing);
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("other"), missing), missing);
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("G"), latin1("K"), missing), missing);
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), missing), QString());
    QCOMPARE(FileManager::readIniConfigFile(path(QString()), latin1("g"), latin1("k"), missing),
             missing);
}

void IniFiles::readsTheKeyOfTheGroup()
{
    const QString file = path(latin1("some.ini"));
    QVERIFY(store(file, "[g]\nk=right\nsub\\k=deep\n[h]\nk=wrong\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), QString()),
             latin1("right"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("sub/k"), QString()),
             latin1("deep"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g/sub"), latin1("k"), QString()),
             latin1("deep"));
}

void IniFiles::readsEmptyNamesAndSlashesAsOnePath_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("expected");

    const auto row = [](const char *name, const char *group, const char *key, const char *value) {
        QTest::newRow(name) << group << key << value;
    };
    // "group/key" is one path to QSettings, whose empty steps do not count.
    row("no group", "", "top", "1");
    row("no key", "top", "", "1");
    row("no key, with a section of that name", "g", "", "3");
    row("neither", "", "", "the default");
    row("group in the key", "", "g/k", "2");
    row("slashes around the group", "/g/", "k", "2");
    row("slashes around the key", "g", "//k/", "2");
    row("only slashes", "/", "/", "the default");
}

void IniFiles::readsEmptyNamesAndSlashesAsOnePath()
{
    QFETCH(QString, group);
    QFETCH(QString, key);
    QFETCH(QString, expected);

    const QString file = path(latin1("some.ini"));
    QVERIFY(store(file, "g=3\ntop=1\n[g]\nk=2\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, group, key, latin1("the default")), expected);
}

void IniFiles::takesPlaceholdersInNamesAsTheyStand()
{
    // Filled in one after the other, "%1/%2" would become "k/k" and "%1/%1" "%1/%1/%2".
    const QString file = path(latin1("percent.ini"));
    FileManager::writeIniConfigFile({{latin1("%2"), {{latin1("k"), 1}, {latin1("%1"), 2}}},
                                     {latin1("%1"), {{latin1("%2"), 3}, {latin1("%99"), 4}}},
                                     {latin1("%L1"), {{latin1("%"), 5}}},
                                     {latin1("k"), {{latin1("k"), latin1("wrong")}}}},
                                    file);
    QCOMPARE(takeLines(), {succeeded});

    const auto read = [&file](const char *group, const char *key) {
        return FileManager::readIniConfigFile(file, latin1(group), latin1(key), QString());
    };
    QCOMPARE(read("%2", "k"), latin1("1"));
    QCOMPARE(read("%2", "%1"), latin1("2"));
    QCOMPARE(read("%1", "%2"), latin1("3"));
    QCOMPARE(read("%1", "%99"), latin1("4"));
    QCOMPARE(read("%L1", "%"), latin1("5"));
}

void IniFiles::readsNoGroupAndTheGroupGeneral()
{
    const QString file = path(latin1("general.ini"));
    QVERIFY(store(file, "top=0\n[General]\nk=1\n[%General]\nk=2\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, QString(), latin1("top"), QString()),
             latin1("0"));
    QCOMPARE(FileManager::readIniConfigFile(file, QString(), latin1("k"), QString()), latin1("1"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("General"), latin1("k"), QString()),
             latin1("2"));
    QCOMPARE(FileManager::readSettingFile(file, latin1("General")),
             (Values{{latin1("k"), latin1("2")}}));
    // Two names, and one line for both.
    for (const char *name : {"GENERAL", "general"}) {
        QVERIFY(store(file, "[%General]\nk=2\n"));
        FileManager::writeIniConfigFile({{latin1(name), {{latin1("k"), 3}}}}, file);
        QCOMPARE(takeLines(), {succeeded});
        QCOMPARE(FileManager::readSettingFile(file, latin1("General")),
                 (Values{{latin1("k"), latin1("2")}}));
    }

    const QString written = path(latin1("written.ini"));
    FileManager::writeIniConfigFile(
        {{QString(), {{latin1("k"), 1}}}, {latin1("General"), {{latin1("k"), 2}}}}, written);
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(written), QByteArray("[General]\nk=1\n\n[%General]\nk=2\n"));

    // The same word in small letters comes back with a capital.
    const QString small = path(latin1("small.ini"));
    FileManager::writeIniConfigFile({{latin1("general"), {{latin1("k"), 1}}}}, small);
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(small), QByteArray("[%General]\nk=1\n"));
    QVERIFY(QFile::copy(small, path(latin1("copy.ini"))));
    QCOMPARE(FileManager::readSettingFile(path(latin1("copy.ini")), QString()),
             (Values{{latin1("General/k"), latin1("1")}}));

    // A name with a slash of no group is found once another one of no group has been looked for.
    const QString slash = path(latin1("slash.ini"));
    QVERIFY(store(slash, "sub\\k=1\n"));
    for (const char *expected : {"none", "1"}) {
        QCOMPARE(FileManager::readIniConfigFile(slash, latin1("sub"), latin1("k"), latin1("none")),
                 latin1(expected));
        FileManager::readIniConfigFile(slash, QString(), latin1("k"), QString());
    }
}

void IniFiles::aSectionWithASlashHidesKeysFromTheReaderOfOneValue_data()
{
    QTest::addColumn<QByteArray>("hiding");

    QTest::newRow("slash") << QByteArray("[a/b]\nk=2\n");
    QTest::newRow("backslash") << QByteArray("[a\\b]\nk=2\n");
    QTest::newRow("escape") << QByteArray("[a%2Fb]\nk=2\n");
    QTest::newRow("nothing behind it") << QByteArray("[a/]\nk=2\n");
}

void IniFiles::aSectionWithASlashHidesKeysFromTheReaderOfOneValue()
{
    QFETCH(QByteArray, hiding);

    const QString file = path(latin1("some.ini"));
    QVERIFY(store(file, "[a]\nkey=1\n" + hiding));
    const auto read = [&file] {
        return FileManager::readIniConfigFile(file, latin1("a"), latin1("key"), latin1("none"));
    };
    QCOMPARE(read(), latin1("none"));
    QCOMPARE(FileManager::readSettingFile(file, latin1("a")).value(latin1("key")), latin1("1"));
    QCOMPARE(read(), latin1("1")); // QSettings has the whole file in memory now
}

void IniFiles::theReaderOfOneValueDecodesLatin1()
{
    const QString file = path(latin1("utf8.ini"));
    QVERIFY(store(file, "[g]\nutf8=\xc3\xbc\nlatin1=\xfc\nescaped=\\xfc\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("utf8"), QString()),
             QStringLiteral("Ã¼"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("latin1"), QString()),
             QStringLiteral("ü"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("escaped"), QString()),
             QStringLiteral("ü"));

    // The same for what the writer has stored, on a path that this process has not decoded yet.
    const QString written = path(latin1("written.ini"));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), QStringLiteral("ü")}}}}, written);
    QCOMPARE(takeLines(), {succeeded});
    QVERIFY(QFile::copy(written, path(latin1("fresh.ini"))));
    QCOMPARE(FileManager::readIniConfigFile(path(latin1("fresh.ini")), latin1("g"), latin1("k"),
                                            QString()),
             QStringLiteral("Ã¼"));
    QCOMPARE(FileManager::readIniConfigFile(written, latin1("g"), latin1("k"), QString()),
             QStringLiteral("ü"));
}

void IniFiles::aByteOrderMarkMakesItDecodeUtf8()
{
    const QString file = path(latin1("bom.ini"));
    QVERIFY(store(file, "\xef\xbb\xbf[g]\nk=\xc3\xbc\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), QString()),
             QStringLiteral("ü"));

    // Only the call that reads the file sees the mark; the next one has the rest from memory.
    const QString sections = path(latin1("sections.ini"));
    QVERIFY(store(sections, "\xef\xbb\xbf[g]\nk=\xc3\xbc\n[h]\nk=\xc3\xbc\n"));
    QCOMPARE(FileManager::readIniConfigFile(sections, latin1("g"), latin1("k"), QString()),
             QStringLiteral("ü"));
    QCOMPARE(FileManager::readIniConfigFile(sections, latin1("h"), latin1("k"), QString()),
             QStringLiteral("Ã¼"));
}

void IniFiles::theReaderOfAGroupDecodesUtf8()
{
    const QString file = path(latin1("utf8.ini"));
    QVERIFY(store(file, "[g]\nk=\xc3\xbc \xe7\xbd\x91\n"));
    QCOMPARE(FileManager::readSettingFile(file, latin1("g")),
             (Values{{latin1("k"), QStringLiteral("ü 网")}}));

    // Names are Latin-1 where they are not escaped, with any reader.
    const QString names = path(latin1("names.ini"));
    QVERIFY(store(names, "[g]\n\xc3\xbc=1\n%FC=2\n%U7F51=3\n"));
    QCOMPARE(FileManager::readSettingFile(names, latin1("g")),
             (Values{{QStringLiteral("Ã¼"), latin1("1")},
                     {QStringLiteral("ü"), latin1("2")},
                     {QStringLiteral("网"), latin1("3")}}));
}

void IniFiles::aSectionStaysAsItsFirstReaderDecodedIt()
{
    const QString file = path(latin1("shared.ini"));
    QVERIFY(store(file, "[one]\nk=\xc3\xbc\n[two]\nk=\xc3\xbc\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("one"), latin1("k"), QString()),
             QStringLiteral("Ã¼"));
    QCOMPARE(FileManager::readSettingFile(file, latin1("one")).value(latin1("k")),
             QStringLiteral("Ã¼"));
    QCOMPARE(FileManager::readSettingFile(file, latin1("two")).value(latin1("k")),
             QStringLiteral("ü"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("two"), latin1("k"), QString()),
             QStringLiteral("ü"));
}

void IniFiles::aWriteIsImmuneToTheOtherReadersDecoding()
{
    const QString file = path(latin1("shared.ini"));
    QVERIFY(store(file, "[one]\nk=\xc3\xbc\n\n[two]\nk=\xc3\xbc\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("one"), latin1("k"), QString()),
             QStringLiteral("Ã¼"));
    FileManager::writeIniConfigFile({{latin1("two"), {{latin1("new"), 1}}}}, file);
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(file), QByteArray("[one]\nk=\xc3\xbc\n\n[two]\nk=\xc3\xbc\nnew=1\n"));
    QCOMPARE(FileManager::readSettingFile(file, latin1("one")).value(latin1("k")),
             QStringLiteral("ü"));
}

void IniFiles::aWriteIsImmuneInAFileOfAnotherOwner()
{
    if (::geteuid() != 0)
        QSKIP("only root can make a file that belongs to somebody else");
    const QString file = path(latin1("roots.ini"));
    QVERIFY(store(file, "[one]\nk=\xc3\xbc\n\n[two]\nk=\xc3\xbc\n"));
    QCOMPARE(::chmod(QFile::encodeName(file).constData(), 0666), 0);
    const OrdinaryUser user(path(QString()));
    if (!user.problem().isEmpty())
        QSKIP(qPrintable(user.problem()));

    QCOMPARE(FileManager::readIniConfigFile(file, latin1("one"), latin1("k"), QString()),
             QStringLiteral("Ã¼"));
    FileManager::writeIniConfigFile({{latin1("two"), {{latin1("new"), 1}}}}, file);
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(file), QByteArray("[one]\nk=\xc3\xbc\n\n[two]\nk=\xc3\xbc\nnew=1\n"));
    // It is the writer's file now, with the permissions that it had.
    QCOMPARE(QFileInfo(file).ownerId(), uint(::geteuid()));
    QVERIFY(QFileInfo(file).permission(QFile::WriteOther));
}

void IniFiles::aWriteWaitsForACoarseTimeStamp_data()
{
    QTest::addColumn<int>("tick"); // milliseconds
    QTest::addColumn<bool>("reached");
    QTest::newRow("two seconds, FAT's") << 2000 << true;
    QTest::newRow("one that never comes") << 1'000'000 << false;
}

void IniFiles::aWriteWaitsForACoarseTimeStamp()
{
    QFETCH(int, tick);
    QFETCH(bool, reached);

    const QString file = path(latin1("coarse.ini"));
    QVERIFY(store(file, "[one]\nk=\xc3\xbc\n"));
    FileManager::readIniConfigFile(file, latin1("one"), latin1("k"), QString());
    stamps = 0;
    tickAfter = tick;
    sinceStart.start();
    FileManager::writeIniConfigFile({{latin1("two"), {{latin1("new"), 1}}}}, file);
    tickAfter = 0;
    const qint64 waited = sinceStart.elapsed();
    QCOMPARE(takeLines(), {succeeded});
    QVERIFY2(waited >= (reached ? tick : 3000), qPrintable(QString::number(waited)));
    // It sleeps in between: a busy loop would get to hundreds of thousands.
    QVERIFY2(stamps > 10 && stamps < 5000, qPrintable(QString::number(stamps)));
    const QByteArray kept(reached ? "\xc3\xbc" : "\xc3\x83\xc2\xbc");
    QCOMPARE(contentOf(file), "[one]\nk=" + kept + "\n\n[two]\nnew=1\n");
}

void IniFiles::readsNestedGroups()
{
    const QString file = path(latin1("nested.ini"));
    FileManager::writeIniConfigFile(
        {{latin1("g"), {{latin1("sub/deep/b"), 1}, {latin1("z"), 2}, {latin1("sub/a"), 3}}},
         {latin1("g/sub"), {{latin1("c"), 4}}},
         {latin1("gg"), {{latin1("not"), latin1("this")}}}},
        file);
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(file),
             QByteArray("[g]\nsub\\a=3\nsub\\c=4\nsub\\deep\\b=1\nz=2\n\n[gg]\nnot=this\n"));

    QCOMPARE(FileManager::readSettingFile(file, latin1("g")),
             (Values{{latin1("sub/a"), latin1("3")},
                     {latin1("sub/c"), latin1("4")},
                     {latin1("sub/deep/b"), latin1("1")},
                     {latin1("z"), latin1("2")}}));
    QCOMPARE(FileManager::readSettingFile(file, latin1("g/sub")),
             (Values{{latin1("a"), latin1("3")},
                     {latin1("c"), latin1("4")},
                     {latin1("deep/b"), latin1("1")}}));
    QCOMPARE(FileManager::readSettingFile(file, QString()).keys(),
             (QStringList{latin1("g/sub/a"), latin1("g/sub/c"), latin1("g/sub/deep/b"),
                          latin1("g/z"), latin1("gg/not")}));
}

void IniFiles::givesEveryValueAsText()
{
    const QString file = path(latin1("values.ini"));
    QVERIFY(store(file, "[g]\nb=true\nd=1.50\nempty=\nn=007\nlist=a, b\nquoted=\"a, b\"\n"
                        " spaced  =  two words  \nsize=@Size(1 2)\nhash=#1\n"));
    QCOMPARE(FileManager::readSettingFile(file, latin1("g")),
             (Values{{latin1("b"), latin1("true")},
                     {latin1("d"), latin1("1.50")},
                     {latin1("empty"), QString()},
                     {latin1("n"), latin1("007")},
                     {latin1("list"), QString()},
                     {latin1("quoted"), latin1("a, b")},
                     {latin1("spaced"), latin1("two words")},
                     {latin1("size"), QString()},
                     {latin1("hash"), latin1("#1")}}));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("list"), latin1("default")),
             QString());
}

void IniFiles::givesAnEmptyMapForWhatIsMissing()
{
    QCOMPARE(FileManager::readSettingFile(path(latin1("none.ini")), latin1("g")), Values());
    const QString file = path(latin1("some.ini"));
    QVERIFY(store(file, "[g]\nk=1\n"));
    QCOMPARE(FileManager::readSettingFile(file, latin1("other")), Values());
    QVERIFY(store(path(latin1("empty.ini")), ""));
    QCOMPARE(FileManager::readSettingFile(path(latin1("empty.ini")), latin1("g")), Values());
    QCOMPARE(FileManager::readSettingFile(path(QString()), latin1("g")), Values());
}

void IniFiles::givesNothingOfAFileThatMayNotBeRead()
{
    const OrdinaryUser user(path(QString()));
    if (!user.problem().isEmpty())
        QSKIP(qPrintable(user.problem()));

    const QString file = path(latin1("secret.ini"));
    QVERIFY(store(file, "[g]\nk=1\n"));
    QCOMPARE(::chmod(QFile::encodeName(file).constData(), 0), 0);
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), latin1("default")),
             latin1("default"));
    QCOMPARE(FileManager::readSettingFile(file, latin1("g")), Values());
    QCOMPARE(::chmod(QFile::encodeName(file).constData(), 0400), 0);
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), latin1("default")),
             latin1("1"));
    QCOMPARE(FileManager::readSettingFile(file, latin1("g")).size(), 1);
}

void IniFiles::readsWhatItCanOfADamagedFile()
{
    const QString file = path(latin1("damaged.ini"));
    QVERIFY(store(file, QByteArray("stray\n[open\na=1\n=nameless\n[g]\nno equals sign\nb=2\n"
                                   "c=\"never closed\n[h]\nd=3\n\xff\xfe\0=4\n",
                                   74)));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("open"), latin1("a"), QString()),
             latin1("1"));
    const Values group = FileManager::readSettingFile(file, latin1("g"));
    QCOMPARE(group.value(latin1("b")), latin1("2"));
    QVERIFY(group.value(latin1("c")).startsWith(latin1("never closed")));
    QCOMPARE(FileManager::readSettingFile(file, latin1("h")), Values());

    QVERIFY(store(path(latin1("binary.ini")), QByteArray("\0\x01\xff]=[\"\\\n;", 10).repeated(99)));
    FileManager::readSettingFile(path(latin1("binary.ini")), QString());
    QCOMPARE(FileManager::readIniConfigFile(path(latin1("binary.ini")), latin1("g"), latin1("k"),
                                            latin1("default")),
             latin1("default"));
}

void IniFiles::followsChangesByOthers()
{
    const QString file = path(latin1("changing.ini"));
    QVERIFY(store(file, "[g]\nk=1\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), QString()),
             latin1("1"));
    QVERIFY(store(file, "[g]\nk=22\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), QString()),
             latin1("22"));
    QVERIFY(QFile::remove(file));
    QCOMPARE(FileManager::readSettingFile(file, latin1("g")), Values());
}

void IniFiles::takesAnyName_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("blanks") << latin1(" a name with  blanks ");
    QTest::newRow("new lines") << latin1("new\nline\r\n");
    QTest::newRow("non-ASCII") << QStringLiteral("häuser 网络 \U0001F600");
    QTest::newRow("INI's own characters") << latin1(R"([a]=;"b",#%41\c)");
    QTest::newRow("a leading dot") << latin1(".hidden");
}

void IniFiles::takesAnyName()
{
    QFETCH(QString, name);

    const QString file = path(name);
    // A backslash separates groups as a slash does.
    const QString keyName = QString(name).replace(QLatin1Char('\\'), QLatin1Char('-'));
    FileManager::writeIniConfigFile({{keyName, {{keyName, 1}}}}, file);
    QCOMPARE(takeLines(), {succeeded});
    QVERIFY(QFile::copy(file, path(latin1("copy.ini"))));
    for (const QString &each : {file, path(latin1("copy.ini"))}) {
        QCOMPARE(FileManager::readSettingFile(each, keyName), (Values{{keyName, latin1("1")}}));
        QCOMPARE(FileManager::readIniConfigFile(each, keyName, keyName, QString()), latin1("1"));
    }
}

void IniFiles::takesARelativePath_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("in a directory") << latin1("a/file.ini");
    QTest::newRow("with a detour") << latin1("a/../b/file.ini");
}

void IniFiles::takesARelativePath()
{
    QFETCH(QString, name);

    QVERIFY(QDir().mkdir(path(latin1("a"))));
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(path(QString())));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 1}}}}, name);
    const QString value =
        FileManager::readIniConfigFile(name, latin1("g"), latin1("k"), latin1("default"));
    const Values values = FileManager::readSettingFile(name, latin1("g"));
    const Values detour = FileManager::readSettingFile(latin1("./a/../") + name, latin1("g"));
    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(path(QString()) + QLatin1Char('/') + name), QByteArray("[g]\nk=1\n"));
    QCOMPARE(value, latin1("1"));
    QCOMPARE(values, (Values{{latin1("k"), latin1("1")}}));
    QCOMPARE(detour, values);
}

void IniFiles::takesAPrefixOfTheSearchPaths()
{
    const QString name = latin1("prefix:file.ini");
    QVERIFY(QDir().mkdir(path(latin1("folder"))));
    QVERIFY(store(path(latin1("folder/file.ini")), "[g]\nk=1\n"));
    QDir::setSearchPaths(latin1("prefix"), {path(latin1("folder"))});
    QCOMPARE(FileManager::readIniConfigFile(name, latin1("g"), latin1("k"), QString()),
             latin1("1"));
    QCOMPARE(FileManager::readSettingFile(name, latin1("g")), (Values{{latin1("k"), latin1("1")}}));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 2}}}}, name);
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(path(latin1("folder/file.ini"))), QByteArray("[g]\nk=2\n"));
    QDir::setSearchPaths(latin1("prefix"), {});
}

void IniFiles::copesWithTenThousandKeys()
{
    Config config;
    Values expected;
    for (int i = 0; i < 10'000; ++i) {
        const QString key = QStringLiteral("key%1").arg(i, 5, 10, QLatin1Char('0'));
        config[latin1("many")][key] = QStringLiteral("wert-ü-%1").arg(i);
        expected[key] = QStringLiteral("wert-ü-%1").arg(i);
    }
    const QString file = path(latin1("many.ini"));
    FileManager::writeIniConfigFile(config, file);
    QCOMPARE(takeLines(), {succeeded});
    QVERIFY(QFile::copy(file, path(latin1("copy.ini"))));
    QCOMPARE(FileManager::readSettingFile(path(latin1("copy.ini")), latin1("many")), expected);

    FileManager::writeIniConfigFile({{latin1("many"), {{latin1("key05000"), 1}}}}, file);
    QCOMPARE(takeLines(), {succeeded});
    expected[latin1("key05000")] = latin1("1");
    QCOMPARE(FileManager::readSettingFile(file, latin1("many")), expected);
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("many"), latin1("key05000"), QString()),
             latin1("1"));
}

void IniFiles::refusesAPathThatNoFileHas_data()
{
    QTest::addColumn<bool>("nul");
    QTest::newRow("empty") << false;
    QTest::newRow("NUL inside") << true;
}

void IniFiles::refusesAPathThatNoFileHas()
{
    QFETCH(bool, nul);

    const QString other = path(latin1("other.ini"));
    QVERIFY(store(other, "[g]\nk=other\n"));
    const QString file = nul ? other + QChar(QChar::Null) + latin1("x") : QString();
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 1}}}}, file);
    const QStringList lines = takeLines();
    QCOMPARE(lines.mid(lines.size() - 2), failed("AccessError"));
    QCOMPARE(FileManager::readIniConfigFile(file, latin1("g"), latin1("k"), latin1("default")),
             latin1("default"));
    QCOMPARE(FileManager::readSettingFile(file, latin1("g")), Values());
    QCOMPARE(contentOf(other), QByteArray("[g]\nk=other\n"));
    const QStringList others = lines.mid(0, lines.size() - 2) + takeLines();
    for (const QString &line : others)
        QVERIFY2(line.startsWith(latin1("warning default: ")), qPrintable(line));
}

QTEST_GUILESS_MAIN(IniFiles)
#include "inifiles.moc"
