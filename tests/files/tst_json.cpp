// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filesfixture.h"
#include "testprogram.h"

#include <syncstatus/filemanager.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QLoggingCategory>

using systemFileManager::FileManager;

namespace {

QString parseError(const char *reason)
{
    return agentWarning(latin1("json data error : \"%1\"").arg(reason));
}

QString transError(const char *reason)
{
    return agentWarning(latin1("QJsonParseError  \"%1\"").arg(reason));
}

const QString isEmptyLine = agentWarning(QStringLiteral("fileData isEmpty :"));

QByteArray nested(const char *begin, const char *inner, const char *end, int levels)
{
    return QByteArray(begin).repeated(levels) + inner + QByteArray(end).repeated(levels);
}

} // namespace

class TestJson : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    void parses_data();
    void parses();
    void refuses_data();
    void refuses();
    void leavesTheDocumentUntouchedOnFailure();
    void replacesTheDocument();
    void holdsToTheLimitOfDepth();
    void turnsAnObjectIntoAMap();
    void givesAnEmptyMapForWhatIsNoObject();
    void writesNoLinesWhenWarningsAreOff();
};

void TestJson::parses_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("compact");

    QTest::newRow("object") << QByteArray(R"({"b":1,"a":[true,null]})")
                            << QByteArray(R"({"a":[true,null],"b":1})");
    QTest::newRow("empty object") << QByteArray("{}") << QByteArray("{}");
    QTest::newRow("array") << QByteArray(" [ 1 , \"x\" ] \n") << QByteArray(R"([1,"x"])");
    QTest::newRow("empty array") << QByteArray("[]") << QByteArray("[]");
    QTest::newRow("UTF-8") << QByteArray("[\"\xc3\xbc\xf0\x9f\x98\x80\"]")
                           << QByteArray("[\"\xc3\xbc\xf0\x9f\x98\x80\"]");
    QTest::newRow("escapes") << QByteArray(R"(["\u00fc\ud83d\ude00\n\/"])")
                             << QByteArray("[\"\xc3\xbc\xf0\x9f\x98\x80\\n/\"]");
    QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbf[1]") << QByteArray("[1]");
    QTest::newRow("equal keys") << QByteArray(R"({"a":1,"a":2})") << QByteArray(R"({"a":2})");
    QTest::newRow("empty key") << QByteArray(R"({"":1})") << QByteArray(R"({"":1})");
    QTest::newRow("bare point") << QByteArray("[1.,-.5]") << QByteArray("[1,-0.5]");
    QTest::newRow("unknown escape") << QByteArray(R"(["\q"])") << QByteArray(R"(["q"])");
    QTest::newRow("control characters")
        << QByteArray("[\"a\0\nb\"]", 8) << QByteArray(R"(["a\u0000\nb"])");
    QTest::newRow("half a pair") << QByteArray(R"(["\ud800"])") << QByteArray(R"(["\ud800"])");
}

void TestJson::parses()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, compact);
    QJsonDocument document;
    QVERIFY(FileManager::parseJson(text, document));
    QCOMPARE(document.toJson(QJsonDocument::Compact), compact);
    QCOMPARE(FileManager::transQBytearrayToJsonDocument(text), document);
}

void TestJson::refuses_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("transLine");

    const auto row = [](const char *name, const QByteArray &text, const char *reason) {
        QTest::newRow(name) << text << parseError(reason) << transError(reason);
    };
    QTest::newRow("empty") << QByteArray("") << isEmptyLine << transError("illegal value");
    QTest::newRow("null bytes") << QByteArray() << isEmptyLine << transError("illegal value");
    row("blank", " \n", "illegal value");
    row("string at the top", "\"x\"", "illegal value");
    row("number at the top", "1", "illegal value");
    row("true at the top", "true", "illegal value");
    row("null at the top", "null", "illegal value");
    row("no JSON", "hello", "illegal value");
    row("byte order mark alone", "\xef\xbb\xbf", "illegal value");
    row("unterminated object", R"({"a":"x" )", "unterminated object");
    row("no colon", R"({"a" 1})", "missing name separator");
    row("unterminated array", "[1,", "unterminated array");
    row("no comma", "[1 2]", "missing value separator");
    row("leading zero", "[01]", "missing value separator");
    row("ends in a number", "[1", "invalid termination by number");
    row("no number", "[-]", "illegal number");
    row("too large a number", "[1e999]", "illegal number");
    row("too small a number", "[1e-400]", "illegal number");
    row("NaN", "[NaN]", "illegal number");
    row("no escape", R"(["\u12"])", "invalid escape sequence");
    row("no UTF-8", "[\"\xff\"]", "invalid UTF8 string");
    row("a surrogate in UTF-8", "[\"\xed\xa0\x80\"]", "invalid UTF8 string");
    row("unterminated string", "[\"x", "unterminated string");
    row("comma at the end", "[1,]", "object is missing after a comma");
    row("more after the end", "[1] x", "garbage at the end of the document");
    row("NUL after the end", QByteArray("[1]\0", 4), "garbage at the end of the document");
}

void TestJson::refuses()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, line);
    QFETCH(QString, transLine);
    QJsonDocument document;
    QVERIFY(!FileManager::parseJson(text, document));
    QCOMPARE(takeLines(), {line});
    QVERIFY(FileManager::transQBytearrayToJsonDocument(text).isNull());
    QCOMPARE(takeLines(), {transLine});
}

void TestJson::leavesTheDocumentUntouchedOnFailure()
{
    const QJsonDocument before(QJsonObject{{"kept", 1}});
    QJsonDocument document = before;
    QVERIFY(!FileManager::parseJson(QByteArray(), document));
    QCOMPARE(takeLines(), {isEmptyLine});
    QCOMPARE(document, before);
    QVERIFY(!FileManager::parseJson("[1,2", document));
    QCOMPARE(takeLines(), {parseError("invalid termination by number")});
    QCOMPARE(document, before);
}

void TestJson::replacesTheDocument()
{
    QJsonDocument document(QJsonObject{{"old", 1}});
    QVERIFY(FileManager::parseJson("[2]", document));
    QCOMPARE(document, QJsonDocument(QJsonArray{2}));
}

void TestJson::holdsToTheLimitOfDepth()
{
    QJsonDocument document;
    QVERIFY(FileManager::parseJson(nested("[", "", "]", 1024), document));
    QVERIFY(FileManager::parseJson(nested("{\"a\":", "1", "}", 1024), document));
    QVariant innermost = FileManager::parseJsonData(document);
    int levels = 0;
    for (; innermost.userType() == QMetaType::QVariantMap; ++levels)
        innermost = innermost.toMap().value("a");
    QCOMPARE(levels, 1024);

    const QStringList tooDeep{parseError("too deeply nested document")};
    QVERIFY(!FileManager::parseJson(nested("[", "", "]", 1025), document));
    QCOMPARE(takeLines(), tooDeep);
    QVERIFY(!FileManager::parseJson(nested("{\"a\":", "1", "}", 1025), document));
    QCOMPARE(takeLines(), tooDeep);
    QVERIFY(!FileManager::parseJson(nested("[", "", "", 1'000'000), document));
    QCOMPARE(takeLines(), tooDeep);
}

void TestJson::turnsAnObjectIntoAMap()
{
    const QJsonDocument document = FileManager::transQBytearrayToJsonDocument(
        R"({"b":true,"n":null,"i":7,"d":1.5,"s":"\u00fc","l":[1,[2]],"o":{"in":{"k":"v"}},"e":{}})");
    const QVariantMap map = FileManager::parseJsonData(document);
    QCOMPARE(map.size(), 8);
    QCOMPARE(map["b"], QVariant(true));
    QVERIFY(map["n"].isNull());
    QCOMPARE(map["i"].toDouble(), 7.0);
    QCOMPARE(map["d"], QVariant(1.5));
    QCOMPARE(map["s"], QVariant(QStringLiteral("ü")));
    QCOMPARE(map["l"].toList().at(1).toList().at(0).toInt(), 2);
    QCOMPARE(map["o"].toMap()["in"].toMap()["k"], QVariant("v"));
    QCOMPARE(map["e"], QVariant(QVariantMap()));
}

void TestJson::givesAnEmptyMapForWhatIsNoObject()
{
    QCOMPARE(FileManager::parseJsonData(QJsonDocument()), QVariantMap());
    QCOMPARE(FileManager::parseJsonData(QJsonDocument(QJsonArray{QJsonObject{{"a", 1}}})),
             QVariantMap());
    QCOMPARE(FileManager::parseJsonData(QJsonDocument(QJsonObject())), QVariantMap());
}

void TestJson::writesNoLinesWhenWarningsAreOff()
{
    QLoggingCategory::setFilterRules("org.corvel.license.agent.warning=false");
    QJsonDocument document;
    const bool empty = FileManager::parseJson("", document);
    const bool damaged = FileManager::parseJson("[", document);
    const bool null = FileManager::transQBytearrayToJsonDocument("[").isNull();
    QLoggingCategory::setFilterRules(QString());
    QVERIFY(!empty);
    QVERIFY(!damaged);
    QVERIFY(null);
}

SYNCSTATUS_TEST(TestJson)
#include "tst_json.moc"
