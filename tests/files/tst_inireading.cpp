// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filesfixture.h"
#include "ordinaryuser.h"
#include "testprogram.h"

#include <syncstatus/filemanager.h>

#include <QDir>

#include <sys/stat.h>

using systemFileManager::FileManager;

class TestIniReading : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    void givesTheDefaultForWhatIsMissing();
    void readsTheKeyOfTheGroup();
    void readsEmptyNamesAndSlashesAsOnePath_data();
    void readsEmptyNamesAndSlashesAsOnePath();
    void takesPlaceholdersInNamesAsTheyStand();
    void readsNoGroupAndTheGroupGeneral();
    void tellsNoGroupFromTheGroupGeneralAsItWasWritten();
    void findsASlashOfNoGroupOnceAnotherKeyOfNoGroupWasLookedFor();
    void aSectionWithASlashHidesKeysFromTheReaderOfOneValue_data();
    void aSectionWithASlashHidesKeysFromTheReaderOfOneValue();
    void readsNestedGroups();
    void givesEveryValueAsText();
    void givesAnEmptyMapForWhatIsMissing();
    void givesNothingOfAFileThatMayNotBeRead();
    void readsWhatItCanOfADamagedFile();
    void followsChangesByOthers();
    void takesAnyName_data();
    void takesAnyName();
    void takesARelativePath_data();
    void takesARelativePath();
    void takesAPrefixOfTheSearchPaths();
    void refusesAPathThatNoFileHas_data();
    void refusesAPathThatNoFileHas();
};

void TestIniReading::givesTheDefaultForWhatIsMissing()
{
    const QString missing = "the default";
    QCOMPARE(FileManager::readIniConfigFile(path("none.ini"), "g", "k", missing), missing);
    QVERIFY(!QFile::exists(path("none.ini")));

    const QString file = path("some.ini");
    QVERIFY(store(file, "[g]\nk=\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, "other", "k", missing), missing);
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "other", missing), missing);
    QCOMPARE(FileManager::readIniConfigFile(file, "G", "K", missing), missing);
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "k", missing), QString());
    QCOMPARE(FileManager::readIniConfigFile(path(QString()), "g", "k", missing), missing);
}

void TestIniReading::readsTheKeyOfTheGroup()
{
    const QString file = path("some.ini");
    QVERIFY(store(file, "[g]\nk=right\nsub\\k=deep\n[h]\nk=wrong\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "k", QString()), latin1("right"));
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "sub/k", QString()), latin1("deep"));
    QCOMPARE(FileManager::readIniConfigFile(file, "g/sub", "k", QString()), latin1("deep"));
}

void TestIniReading::readsEmptyNamesAndSlashesAsOnePath_data()
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

void TestIniReading::readsEmptyNamesAndSlashesAsOnePath()
{
    QFETCH(QString, group);
    QFETCH(QString, key);
    QFETCH(QString, expected);

    const QString file = path("some.ini");
    QVERIFY(store(file, "g=3\ntop=1\n[g]\nk=2\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, group, key, "the default"), expected);
}

void TestIniReading::takesPlaceholdersInNamesAsTheyStand()
{
    // Filled in one after the other, "%1/%2" would become "k/k" and "%1/%1" "%1/%1/%2".
    const QString file = path("percent.ini");
    FileManager::writeIniConfigFile({{"%2", {{"k", 1}, {"%1", 2}}},
                                     {"%1", {{"%2", 3}, {"%99", 4}}},
                                     {"%L1", {{"%", 5}}},
                                     {"k", {{"k", "wrong"}}}},
                                    file);
    QCOMPARE(takeLines(), succeeded());

    const auto read = [&file](const char *group, const char *key) {
        return FileManager::readIniConfigFile(file, group, key, QString());
    };
    QCOMPARE(read("%2", "k"), latin1("1"));
    QCOMPARE(read("%2", "%1"), latin1("2"));
    QCOMPARE(read("%1", "%2"), latin1("3"));
    QCOMPARE(read("%1", "%99"), latin1("4"));
    QCOMPARE(read("%L1", "%"), latin1("5"));
}

void TestIniReading::readsNoGroupAndTheGroupGeneral()
{
    const QString file = path("general.ini");
    QVERIFY(store(file, "top=0\n[General]\nk=1\n[%General]\nk=2\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, QString(), "top", QString()), latin1("0"));
    QCOMPARE(FileManager::readIniConfigFile(file, QString(), "k", QString()), latin1("1"));
    QCOMPARE(FileManager::readIniConfigFile(file, "General", "k", QString()), latin1("2"));
    QCOMPARE(FileManager::readSettingFile(file, "General"), (Values{{"k", "2"}}));
    // Names that differ in case, and one line for both.
    for (const char *name : {"GENERAL", "general"}) {
        QVERIFY(store(file, "[%General]\nk=2\n"));
        FileManager::writeIniConfigFile({{name, {{"k", 3}}}}, file);
        QCOMPARE(takeLines(), succeeded());
        QCOMPARE(FileManager::readSettingFile(file, "General"), (Values{{"k", "2"}}));
    }
}

void TestIniReading::tellsNoGroupFromTheGroupGeneralAsItWasWritten()
{
    const QString written = path("written.ini");
    FileManager::writeIniConfigFile({{QString(), {{"k", 1}}}, {"General", {{"k", 2}}}}, written);
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(written), QByteArray("[General]\nk=1\n\n[%General]\nk=2\n"));

    // "general" is read as "General".
    const QString small = path("small.ini");
    FileManager::writeIniConfigFile({{"general", {{"k", 1}}}}, small);
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(small), QByteArray("[%General]\nk=1\n"));
    QVERIFY(QFile::copy(small, path("copy.ini")));
    QCOMPARE(FileManager::readSettingFile(path("copy.ini"), QString()),
             (Values{{"General/k", "1"}}));
}

void TestIniReading::findsASlashOfNoGroupOnceAnotherKeyOfNoGroupWasLookedFor()
{
    const QString slash = path("slash.ini");
    QVERIFY(store(slash, "sub\\k=1\n"));
    for (const char *expected : {"none", "1"}) {
        QCOMPARE(FileManager::readIniConfigFile(slash, "sub", "k", "none"), latin1(expected));
        FileManager::readIniConfigFile(slash, QString(), "k", QString());
    }
}

void TestIniReading::aSectionWithASlashHidesKeysFromTheReaderOfOneValue_data()
{
    QTest::addColumn<QByteArray>("hiding");

    QTest::newRow("slash") << QByteArray("[a/b]\nk=2\n");
    QTest::newRow("backslash") << QByteArray("[a\\b]\nk=2\n");
    QTest::newRow("escape") << QByteArray("[a%2Fb]\nk=2\n");
    QTest::newRow("nothing behind it") << QByteArray("[a/]\nk=2\n");
}

void TestIniReading::aSectionWithASlashHidesKeysFromTheReaderOfOneValue()
{
    QFETCH(QByteArray, hiding);

    const QString file = path("some.ini");
    QVERIFY(store(file, "[a]\nkey=1\n" + hiding));
    const auto read = [&file] { return FileManager::readIniConfigFile(file, "a", "key", "none"); };
    QCOMPARE(read(), latin1("none"));
    QCOMPARE(FileManager::readSettingFile(file, "a").value("key"), latin1("1"));
    QCOMPARE(read(), latin1("1")); // QSettings has the whole file in memory now
}

void TestIniReading::readsNestedGroups()
{
    const QString file = path("nested.ini");
    FileManager::writeIniConfigFile({{"g", {{"sub/deep/b", 1}, {"z", 2}, {"sub/a", 3}}},
                                     {"g/sub", {{"c", 4}}},
                                     {"gg", {{"not", "this"}}}},
                                    file);
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(file),
             QByteArray("[g]\nsub\\a=3\nsub\\c=4\nsub\\deep\\b=1\nz=2\n\n[gg]\nnot=this\n"));

    QCOMPARE(FileManager::readSettingFile(file, "g"),
             (Values{{"sub/a", "3"}, {"sub/c", "4"}, {"sub/deep/b", "1"}, {"z", "2"}}));
    QCOMPARE(FileManager::readSettingFile(file, "g/sub"),
             (Values{{"a", "3"}, {"c", "4"}, {"deep/b", "1"}}));
    QCOMPARE(FileManager::readSettingFile(file, QString()).keys(),
             (QStringList{"g/sub/a", "g/sub/c", "g/sub/deep/b", "g/z", "gg/not"}));
}

void TestIniReading::givesEveryValueAsText()
{
    const QString file = path("values.ini");
    QVERIFY(store(file, "[g]\nb=true\nd=1.50\nempty=\nn=007\nlist=a, b\nquoted=\"a, b\"\n"
                        " spaced  =  two words  \nsize=@Size(1 2)\nhash=#1\n"));
    QCOMPARE(FileManager::readSettingFile(file, "g"), (Values{{"b", "true"},
                                                              {"d", "1.50"},
                                                              {"empty", QString()},
                                                              {"n", "007"},
                                                              {"list", QString()},
                                                              {"quoted", "a, b"},
                                                              {"spaced", "two words"},
                                                              {"size", QString()},
                                                              {"hash", "#1"}}));
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "list", "default"), QString());
}

void TestIniReading::givesAnEmptyMapForWhatIsMissing()
{
    QCOMPARE(FileManager::readSettingFile(path("none.ini"), "g"), Values());
    const QString file = path("some.ini");
    QVERIFY(store(file, "[g]\nk=1\n"));
    QCOMPARE(FileManager::readSettingFile(file, "other"), Values());
    QVERIFY(store(path("empty.ini"), ""));
    QCOMPARE(FileManager::readSettingFile(path("empty.ini"), "g"), Values());
    QCOMPARE(FileManager::readSettingFile(path(QString()), "g"), Values());
}

void TestIniReading::givesNothingOfAFileThatMayNotBeRead()
{
    const OrdinaryUser user(path(QString()));
    if (!user.problem().isEmpty())
        QSKIP(qPrintable(user.problem()));

    const QString file = path("secret.ini");
    QVERIFY(store(file, "[g]\nk=1\n"));
    QCOMPARE(::chmod(QFile::encodeName(file).constData(), 0), 0);
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "k", "default"), latin1("default"));
    QCOMPARE(FileManager::readSettingFile(file, "g"), Values());
    QCOMPARE(::chmod(QFile::encodeName(file).constData(), 0400), 0);
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "k", "default"), latin1("1"));
    QCOMPARE(FileManager::readSettingFile(file, "g").size(), 1);
}

void TestIniReading::readsWhatItCanOfADamagedFile()
{
    const QString file = path("damaged.ini");
    QVERIFY(store(file, QByteArray("stray\n[open\na=1\n=nameless\n[g]\nno equals sign\nb=2\n"
                                   "c=\"never closed\n[h]\nd=3\n\xff\xfe\0=4\n",
                                   74)));
    QCOMPARE(FileManager::readIniConfigFile(file, "open", "a", QString()), latin1("1"));
    const Values group = FileManager::readSettingFile(file, "g");
    QCOMPARE(group.value("b"), latin1("2"));
    QVERIFY(group.value("c").startsWith("never closed"));
    QCOMPARE(FileManager::readSettingFile(file, "h"), Values());

    QVERIFY(store(path("binary.ini"), QByteArray("\0\x01\xff]=[\"\\\n;", 10).repeated(99)));
    FileManager::readSettingFile(path("binary.ini"), QString());
    QCOMPARE(FileManager::readIniConfigFile(path("binary.ini"), "g", "k", "default"),
             latin1("default"));
}

void TestIniReading::followsChangesByOthers()
{
    const QString file = path("changing.ini");
    QVERIFY(store(file, "[g]\nk=1\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "k", QString()), latin1("1"));
    QVERIFY(store(file, "[g]\nk=22\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "k", QString()), latin1("22"));
    QVERIFY(QFile::remove(file));
    QCOMPARE(FileManager::readSettingFile(file, "g"), Values());
}

void TestIniReading::takesAnyName_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("blanks") << " a name with  blanks ";
    QTest::newRow("new lines") << "new\nline\r\n";
    QTest::newRow("non-ASCII") << QStringLiteral("häuser 网络 \U0001F600");
    QTest::newRow("INI's own characters") << R"([a]=;"b",#%41\c)";
    QTest::newRow("a leading dot") << ".hidden";
}

void TestIniReading::takesAnyName()
{
    QFETCH(QString, name);

    const QString file = path(name);
    // A backslash separates groups as a slash does.
    const QString keyName = QString(name).replace(QLatin1Char('\\'), QLatin1Char('-'));
    FileManager::writeIniConfigFile({{keyName, {{keyName, 1}}}}, file);
    QCOMPARE(takeLines(), succeeded());
    QVERIFY(QFile::copy(file, path("copy.ini")));
    for (const QString &each : {file, path("copy.ini")}) {
        QCOMPARE(FileManager::readSettingFile(each, keyName), (Values{{keyName, "1"}}));
        QCOMPARE(FileManager::readIniConfigFile(each, keyName, keyName, QString()), latin1("1"));
    }
}

void TestIniReading::takesARelativePath_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("in a directory") << "a/file.ini";
    QTest::newRow("with a detour") << "a/../b/file.ini";
}

void TestIniReading::takesARelativePath()
{
    QFETCH(QString, name);

    QVERIFY(QDir().mkdir(path("a")));
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(path(QString())));
    FileManager::writeIniConfigFile({{"g", {{"k", 1}}}}, name);
    const QString value = FileManager::readIniConfigFile(name, "g", "k", "default");
    const Values values = FileManager::readSettingFile(name, "g");
    const Values detour = FileManager::readSettingFile("./a/../" + name, "g");
    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(path(QString()) + QLatin1Char('/') + name), QByteArray("[g]\nk=1\n"));
    QCOMPARE(value, latin1("1"));
    QCOMPARE(values, (Values{{"k", "1"}}));
    QCOMPARE(detour, values);
}

void TestIniReading::takesAPrefixOfTheSearchPaths()
{
    const QString name = "prefix:file.ini";
    QVERIFY(QDir().mkdir(path("folder")));
    QVERIFY(store(path("folder/file.ini"), "[g]\nk=1\n"));
    QDir::setSearchPaths("prefix", {path("folder")});
    QCOMPARE(FileManager::readIniConfigFile(name, "g", "k", QString()), latin1("1"));
    QCOMPARE(FileManager::readSettingFile(name, "g"), (Values{{"k", "1"}}));
    FileManager::writeIniConfigFile({{"g", {{"k", 2}}}}, name);
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(path("folder/file.ini")), QByteArray("[g]\nk=2\n"));
    QDir::setSearchPaths("prefix", {});
}

void TestIniReading::refusesAPathThatNoFileHas_data()
{
    QTest::addColumn<bool>("nul");
    QTest::newRow("empty") << false;
    QTest::newRow("NUL inside") << true;
}

void TestIniReading::refusesAPathThatNoFileHas()
{
    QFETCH(bool, nul);

    const QString other = path("other.ini");
    QVERIFY(store(other, "[g]\nk=other\n"));
    const QString file = nul ? other + QChar(QChar::Null) + "x" : QString();
    FileManager::writeIniConfigFile({{"g", {{"k", 1}}}}, file);
    const QStringList lines = takeLines();
    QCOMPARE(lines.mid(lines.size() - 2), failed("AccessError"));
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "k", "default"), latin1("default"));
    QCOMPARE(FileManager::readSettingFile(file, "g"), Values());
    QCOMPARE(contentOf(other), QByteArray("[g]\nk=other\n"));
    const QStringList others = lines.mid(0, lines.size() - 2) + takeLines();
    for (const QString &line : others)
        QVERIFY2(line.startsWith("warning default: "), qPrintable(line));
}

SYNCSTATUS_TEST(TestIniReading)
#include "tst_inireading.moc"
