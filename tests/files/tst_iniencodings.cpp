// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filesfixture.h"
#include "ordinaryuser.h"
#include "testprogram.h"

#include <syncstatus/filemanager.h>

#include <QFileInfo>

#include <sys/stat.h>
#include <unistd.h>

using systemFileManager::FileManager;

class TestIniEncodings : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    void writesNoCharacterBeyondTheBasicPlane();
    void dropsAByteOrderMarkWithinAValue();
    void spoilsForeignBytesThatAreNoUtf8();
    void escapesForeignNames();
    void takesAByteOrderMarkForDamage_data();
    void takesAByteOrderMarkForDamage();
    void theReaderOfOneValueDecodesLatin1();
    void aByteOrderMarkMakesItDecodeUtf8();
    void theReaderOfAGroupDecodesUtf8();
    void aSectionStaysAsItsFirstReaderDecodedIt();
    void aWriteIsImmuneToTheOtherReadersDecoding();
    void aWriteIsImmuneInAFileOfAnotherOwner();
};

void TestIniEncodings::writesNoCharacterBeyondTheBasicPlane()
{
    const QString file = path("wide.ini");
    QVERIFY(store(file, "[g]\nold=a\xf0\x9f\x98\x80z\n"));
    QCOMPARE(FileManager::readSettingFile(file, "g"),
             (Values{{"old", QStringLiteral("a\U0001F600z")}}));

    FileManager::writeIniConfigFile({{"g", {{"new", QStringLiteral("b\U00020BB7y")}}}}, file);
    QCOMPARE(takeLines(), succeeded());
    QEXPECT_FAIL("", "QSettings encodes each half of a surrogate pair by itself", Continue);
    QCOMPARE(contentOf(file), QByteArray("[g]\nold=a\xf0\x9f\x98\x80z\nnew=b\xf0\xa0\xae\xb7y\n"));

    // Without its first character the value is a type.
    const QString type = path("type.ini");
    FileManager::writeIniConfigFile({{"g", {{"k", QStringLiteral("\U0001F600@Size(1 2)")}}}}, type);
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(type), QByteArray("[g]\nk=@Size(1 2)\n"));
    QVERIFY(QFile::copy(type, path("copy.ini")));
    QCOMPARE(FileManager::readSettingFile(path("copy.ini"), "g"), (Values{{"k", QString()}}));
}

void TestIniEncodings::dropsAByteOrderMarkWithinAValue()
{
    const QString file = path("marks.ini");
    FileManager::writeIniConfigFile({{"g",
                                      {{"first", QStringLiteral("\uFEFFa")},
                                       {"escape", QStringLiteral("a\t\uFEFFz")},
                                       {"middle", QStringLiteral("a\uFEFFz")}}}},
                                    file);
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(file), QByteArray("[g]\nescape=a\\t\xef\xbb\xbfz\n"
                                         "first=\xef\xbb\xbf"
                                         "a\nmiddle=a\xef\xbb\xbfz\n"));
    QVERIFY(QFile::copy(file, path("copy.ini")));
    QCOMPARE(FileManager::readSettingFile(path("copy.ini"), "g"),
             (Values{{"escape", "a\tz"}, {"first", "a"}, {"middle", QStringLiteral("a\uFEFFz")}}));
}

void TestIniEncodings::spoilsForeignBytesThatAreNoUtf8()
{
    const QString file = path("latin1.ini");
    QVERIFY(store(file, "[g]\nescaped=\\xfc\nk=a\xfcz\n"));
    QCOMPARE(FileManager::readSettingFile(file, "g").value("k"), QStringLiteral("a\uFFFDz"));
    FileManager::writeIniConfigFile({{"g", {{"new", 1}}}}, file);
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(file), QByteArray("[g]\nescaped=\xc3\xbc\nk=a\xef\xbf\xbdz\nnew=1\n"));

    // Also after the other reader has decoded it.
    const QString control = path("control.ini");
    QVERIFY(store(control, "[f]\nk=\x80\n"));
    QCOMPARE(FileManager::readIniConfigFile(control, "f", "k", QString()),
             QStringLiteral("\u0080"));
    FileManager::writeIniConfigFile({{"g", {{"new", 1}}}}, control);
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(control), QByteArray("[f]\nk=\xef\xbf\xbd\n\n[g]\nnew=1\n"));
}

void TestIniEncodings::escapesForeignNames()
{
    const QString file = path("names.ini");
    QVERIFY(store(file, "[\xc3\xbc]\na b=1\n\xfc=2\n"));
    FileManager::writeIniConfigFile({{"g", {{QStringLiteral("ü"), 3}}}}, file);
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(file), QByteArray("[g]\n%FC=3\n\n[%C3%BC]\na%20b=1\n%FC=2\n"));
}

void TestIniEncodings::takesAByteOrderMarkForDamage_data()
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

void TestIniEncodings::takesAByteOrderMarkForDamage()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, written);
    QFETCH(bool, reported);

    const QString file = path("bom.ini");
    QVERIFY(store(file, "\xef\xbb\xbf" + content));
    FileManager::writeIniConfigFile({{"z", {{"k", 1}}}}, file);
    QCOMPARE(takeLines(), reported ? failed("FormatError") : succeeded());
    QCOMPARE(contentOf(file), written);
}

void TestIniEncodings::theReaderOfOneValueDecodesLatin1()
{
    const QString file = path("utf8.ini");
    QVERIFY(store(file, "[g]\nutf8=\xc3\xbc\nlatin1=\xfc\nescaped=\\xfc\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "utf8", QString()), QStringLiteral("Ã¼"));
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "latin1", QString()), QStringLiteral("ü"));
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "escaped", QString()), QStringLiteral("ü"));

    // The same for what the writer has stored, on a path that this process has not decoded yet.
    const QString written = path("written.ini");
    FileManager::writeIniConfigFile({{"g", {{"k", QStringLiteral("ü")}}}}, written);
    QCOMPARE(takeLines(), succeeded());
    QVERIFY(QFile::copy(written, path("fresh.ini")));
    QCOMPARE(FileManager::readIniConfigFile(path("fresh.ini"), "g", "k", QString()),
             QStringLiteral("Ã¼"));
    QCOMPARE(FileManager::readIniConfigFile(written, "g", "k", QString()), QStringLiteral("ü"));
}

void TestIniEncodings::aByteOrderMarkMakesItDecodeUtf8()
{
    const QString file = path("bom.ini");
    QVERIFY(store(file, "\xef\xbb\xbf[g]\nk=\xc3\xbc\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, "g", "k", QString()), QStringLiteral("ü"));

    // Only the call that reads the file sees the mark; the next one has the rest from memory.
    const QString sections = path("sections.ini");
    QVERIFY(store(sections, "\xef\xbb\xbf[g]\nk=\xc3\xbc\n[h]\nk=\xc3\xbc\n"));
    QCOMPARE(FileManager::readIniConfigFile(sections, "g", "k", QString()), QStringLiteral("ü"));
    QCOMPARE(FileManager::readIniConfigFile(sections, "h", "k", QString()), QStringLiteral("Ã¼"));
}

void TestIniEncodings::theReaderOfAGroupDecodesUtf8()
{
    const QString file = path("utf8.ini");
    QVERIFY(store(file, "[g]\nk=\xc3\xbc \xe7\xbd\x91\n"));
    QCOMPARE(FileManager::readSettingFile(file, "g"), (Values{{"k", QStringLiteral("ü 网")}}));

    // Names are Latin-1 where they are not escaped, with any reader.
    const QString names = path("names.ini");
    QVERIFY(store(names, "[g]\n\xc3\xbc=1\n%FC=2\n%U7F51=3\n"));
    QCOMPARE(FileManager::readSettingFile(names, "g"), (Values{{QStringLiteral("Ã¼"), "1"},
                                                               {QStringLiteral("ü"), "2"},
                                                               {QStringLiteral("网"), "3"}}));
}

void TestIniEncodings::aSectionStaysAsItsFirstReaderDecodedIt()
{
    const QString file = path("shared.ini");
    QVERIFY(store(file, "[one]\nk=\xc3\xbc\n[two]\nk=\xc3\xbc\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, "one", "k", QString()), QStringLiteral("Ã¼"));
    QCOMPARE(FileManager::readSettingFile(file, "one").value("k"), QStringLiteral("Ã¼"));
    QCOMPARE(FileManager::readSettingFile(file, "two").value("k"), QStringLiteral("ü"));
    QCOMPARE(FileManager::readIniConfigFile(file, "two", "k", QString()), QStringLiteral("ü"));
}

void TestIniEncodings::aWriteIsImmuneToTheOtherReadersDecoding()
{
    const QString file = path("shared.ini");
    QVERIFY(store(file, "[one]\nk=\xc3\xbc\n\n[two]\nk=\xc3\xbc\n"));
    QCOMPARE(FileManager::readIniConfigFile(file, "one", "k", QString()), QStringLiteral("Ã¼"));
    FileManager::writeIniConfigFile({{"two", {{"new", 1}}}}, file);
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(file), QByteArray("[one]\nk=\xc3\xbc\n\n[two]\nk=\xc3\xbc\nnew=1\n"));
    QCOMPARE(FileManager::readSettingFile(file, "one").value("k"), QStringLiteral("ü"));
}

void TestIniEncodings::aWriteIsImmuneInAFileOfAnotherOwner()
{
    if (::geteuid() != 0)
        QSKIP("only root can make a file that belongs to somebody else");
    const QString file = path("roots.ini");
    QVERIFY(store(file, "[one]\nk=\xc3\xbc\n\n[two]\nk=\xc3\xbc\n"));
    QCOMPARE(::chmod(QFile::encodeName(file).constData(), 0666), 0);
    const OrdinaryUser user(path(QString()));
    if (!user.problem().isEmpty())
        QSKIP(qPrintable(user.problem()));

    QCOMPARE(FileManager::readIniConfigFile(file, "one", "k", QString()), QStringLiteral("Ã¼"));
    FileManager::writeIniConfigFile({{"two", {{"new", 1}}}}, file);
    QCOMPARE(takeLines(), succeeded());
    QCOMPARE(contentOf(file), QByteArray("[one]\nk=\xc3\xbc\n\n[two]\nk=\xc3\xbc\nnew=1\n"));
    // It is the writer's file now, with the permissions that it had.
    QCOMPARE(QFileInfo(file).ownerId(), uint(::geteuid()));
    QVERIFY(QFileInfo(file).permission(QFile::WriteOther));
}

SYNCSTATUS_TEST(TestIniEncodings)
#include "tst_iniencodings.moc"
