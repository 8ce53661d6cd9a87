// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filesfixture.h"
#include "jsonform.h"
#include "testseed.h"

#include <syncstatus/filemanager.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QStandardPaths>

#include <cstring>

using systemFileManager::FileManager;

namespace {

QString latin1(const char *text)
{
    return QString::fromLatin1(text);
}

QString parseError(const char *reason)
{
    return agentWarning(latin1("json data error : \"%1\"").arg(latin1(reason)));
}

QString transError(const char *reason)
{
    return agentWarning(latin1("QJsonParseError  \"%1\"").arg(latin1(reason)));
}

const QString isEmptyLine = agentWarning(QStringLiteral("fileData isEmpty :"));

QByteArray nested(const char *begin, const char *inner, const char *end, int levels)
{
    return QByteArray(begin).repeated(levels) + inner + QByteArray(end).repeated(levels);
}

// What the library makes of a text, in the same form.
QByteArray parsed(const QByteArray &text)
{
    QJsonDocument document;
    if (!FileManager::parseJson(text, document))
        return "error";
    return plain(document.isObject() ? QVariant(FileManager::parseJsonData(document))
                                     : QVariant(document.array().toVariantList()));
}

/// Writes random JSON texts, and texts that are nearly JSON.
class Generator
{
public:
    explicit Generator(quint32 seed) : m_random(seed) {}

    QByteArray text()
    {
        for (;;) {
            QByteArray text = space() + (one(2) ? object(0) : array(0)) + space();
            if (one(2)) {
                for (int i = 0; i <= int(m_random.bounded(3)); ++i)
                    damage(text);
            }
            if (!text.isEmpty() && !isKnownDifference(text))
                return text;
        }
    }

private:
    bool one(int in) { return m_random.bounded(in) == 0; }
    char oneOf(const char *characters)
    {
        return characters[m_random.bounded(int(std::strlen(characters)))];
    }

    QByteArray space() { return one(3) ? QByteArray(1, oneOf(" \t\n\r")) + space() : QByteArray(); }

    QByteArray digits(int most)
    {
        QByteArray result;
        for (int i = m_random.bounded(most); i >= 0; --i)
            result += oneOf("0123456789");
        return result;
    }

    QByteArray number()
    {
        QByteArray result;
        if (one(3))
            result += '-';
        result += one(4) ? QByteArray("0") : oneOf("123456789") + digits(19);
        if (one(3))
            result += '.' + digits(18);
        if (one(4))
            result += oneOf("eE") + QByteArray(one(2) ? 1 : 0, oneOf("+-")) + digits(2);
        return result;
    }

    QByteArray string()
    {
        QByteArray result = "\"";
        for (int i = m_random.bounded(8); i > 0; --i) {
            switch (m_random.bounded(8)) {
            case 0:
                result += QByteArray("\\") + oneOf("\"\\/bfnrt");
                break;
            case 1:
                result += "\\u" + QByteArray::number(m_random.bounded(0x1000, 0xd800), 16);
                break;
            case 2:
                result +=
                    "\\u00" + QByteArray(1, oneOf("01234567")) + oneOf("0123456789abcdefABCDEF");
                break;
            case 3: // a surrogate pair
                result += "\\ud" + QByteArray::number(m_random.bounded(0x800, 0xc00), 16) + "\\uD" +
                          QByteArray::number(m_random.bounded(0xc00, 0x1000), 16).toUpper();
                break;
            case 4: {
                const uint character = m_random.bounded(0xe000, 0x110000);
                result += QString::fromUcs4(&character, 1).toUtf8();
                break;
            }
            case 5: {
                const uint character = m_random.bounded(0x80, 0xd800);
                result += QString::fromUcs4(&character, 1).toUtf8();
                break;
            }
            default:
                result += oneOf("abc XYZ019{}[]:,'/\t\x01\x7f");
            }
        }
        return result + '"';
    }

    // Begins with eight random digits, more than damage() copies, so that no two keys are equal:
    // RFC 8259 leaves open what those mean.
    QByteArray key()
    {
        return string().insert(1, QByteArray::number(m_random.bounded(0x10000000, 0x7fffffff), 16));
    }

    QByteArray value(int depth)
    {
        switch (m_random.bounded(depth < 6 ? 10 : 8)) {
        case 0:
            return "null";
        case 1:
            return "true";
        case 2:
            return "false";
        case 3:
        case 4:
            return string();
        case 8:
            return object(depth + 1);
        case 9:
            return array(depth + 1);
        default:
            return number();
        }
    }

    QByteArray array(int depth)
    {
        QByteArrayList items;
        for (int i = m_random.bounded(5); i > 0; --i)
            items += space() + value(depth) + space();
        return '[' + (items.isEmpty() ? space() : items.join(',')) + ']';
    }

    QByteArray object(int depth)
    {
        QByteArrayList members;
        for (int i = m_random.bounded(5); i > 0; --i)
            members += space() + key() + space() + ':' + space() + value(depth) + space();
        return '{' + (members.isEmpty() ? space() : members.join(',')) + '}';
    }

    void damage(QByteArray &text)
    {
        if (text.isEmpty())
            return;
        const int at = m_random.bounded(text.size());
        switch (m_random.bounded(6)) {
        case 0:
            text.remove(at, 1);
            break;
        case 1:
            text.insert(at, oneOf("{}[]:,\"\\/0123456789eE+-.truefalsn \t\n"));
            break;
        case 2:
            text[at] = oneOf("{}[]:,\"\\/0123456789eE+-.truefalsn \t\n");
            break;
        case 3:
            text.insert(at, char(m_random.bounded(256)));
            break;
        case 4:
            text.truncate(at);
            break;
        default:
            text.insert(at, text.mid(m_random.bounded(text.size()), m_random.bounded(9)));
        }
    }

    // Where the two parsers are known to disagree, and are both within their rights: numbers like
    // "1." and ".5", unknown escapes and half surrogate pairs, which Qt forgives, and numbers
    // beyond a double's range, which Python forgives. (Searched in strings too, to be on the safe
    // side.) By construction there are no documents as deep as Qt's limit.
    static bool isKnownDifference(const QByteArray &text)
    {
        static const QRegularExpression wholeEscape(
            latin1(R"(\\\\|\\u[dD][89abAB][0-9a-fA-F]{2}\\u[dD][c-fC-F][0-9a-fA-F]{2})"));
        static const QRegularExpression difference(
            latin1(R"(\.(?![0-9])|(?<![0-9])\.|\\(?![\x22/bfnrtu])|\\u[dD][89a-fA-F]|)"
                   "[eE][+-]?[0-9]{3}"));
        return QString::fromLatin1(text.constData(), text.size())
            .replace(wholeEscape, latin1(" "))
            .contains(difference);
    }

    QRandomGenerator m_random;
};

} // namespace

class Json : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
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
    void agreesWithPython();

private:
    quint32 m_seed = 0;
};

void Json::initTestCase()
{
    m_seed = testSeed();
}

void Json::parses_data()
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

void Json::parses()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, compact);
    QJsonDocument document;
    QVERIFY(FileManager::parseJson(text, document));
    QCOMPARE(document.toJson(QJsonDocument::Compact), compact);
    QCOMPARE(FileManager::transQBytearrayToJsonDocument(text), document);
}

void Json::refuses_data()
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

void Json::refuses()
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

void Json::leavesTheDocumentUntouchedOnFailure()
{
    const QJsonDocument before(QJsonObject{{latin1("kept"), 1}});
    QJsonDocument document = before;
    QVERIFY(!FileManager::parseJson(QByteArray(), document));
    QCOMPARE(takeLines(), {isEmptyLine});
    QCOMPARE(document, before);
    QVERIFY(!FileManager::parseJson("[1,2", document));
    QCOMPARE(takeLines(), {parseError("invalid termination by number")});
    QCOMPARE(document, before);
}

void Json::replacesTheDocument()
{
    QJsonDocument document(QJsonObject{{latin1("old"), 1}});
    QVERIFY(FileManager::parseJson("[2]", document));
    QCOMPARE(document, QJsonDocument(QJsonArray{2}));
}

void Json::holdsToTheLimitOfDepth()
{
    QJsonDocument document;
    QVERIFY(FileManager::parseJson(nested("[", "", "]", 1024), document));
    QVERIFY(FileManager::parseJson(nested("{\"a\":", "1", "}", 1024), document));
    QVariant innermost = FileManager::parseJsonData(document);
    int levels = 0;
    for (; innermost.userType() == QMetaType::QVariantMap; ++levels)
        innermost = innermost.toMap().value(latin1("a"));
    QCOMPARE(levels, 1024);

    const QStringList tooDeep{parseError("too deeply nested document")};
    QVERIFY(!FileManager::parseJson(nested("[", "", "]", 1025), document));
    QCOMPARE(takeLines(), tooDeep);
    QVERIFY(!FileManager::parseJson(nested("{\"a\":", "1", "}", 1025), document));
    QCOMPARE(takeLines(), tooDeep);
    QVERIFY(!FileManager::parseJson(nested("[", "", "", 1'000'000), document));
    QCOMPARE(takeLines(), tooDeep);
}

void Json::turnsAnObjectIntoAMap()
{
    const QJsonDocument document = FileManager::transQBytearrayToJsonDocument(
        R"({"b":true,"n":null,"i":7,"d":1.5,"s":"\u00fc","l":[1,[2]],"o":{"in":{"k":"v"}},"e":{}})");
    const QVariantMap map = FileManager::parseJsonData(document);
    QCOMPARE(map.size(), 8);
    QCOMPARE(map[latin1("b")], QVariant(true));
    QVERIFY(map[latin1("n")].isNull());
    QCOMPARE(map[latin1("i")].toDouble(), 7.0);
    QCOMPARE(map[latin1("d")], QVariant(1.5));
    QCOMPARE(map[latin1("s")], QVariant(QStringLiteral("ü")));
    QCOMPARE(map[latin1("l")].toList().at(1).toList().at(0).toInt(), 2);
    QCOMPARE(map[latin1("o")].toMap()[latin1("in")].toMap()[latin1("k")], QVariant(latin1("v")));
    QCOMPARE(map[latin1("e")], QVariant(QVariantMap()));
}

void Json::givesAnEmptyMapForWhatIsNoObject()
{
    QCOMPARE(FileManager::parseJsonData(QJsonDocument()), QVariantMap());
    QCOMPARE(FileManager::parseJsonData(QJsonDocument(QJsonArray{QJsonObject{{latin1("a"), 1}}})),
             QVariantMap());
    QCOMPARE(FileManager::parseJsonData(QJsonDocument(QJsonObject())), QVariantMap());
}

void Json::writesNoLinesWhenWarningsAreOff()
{
    QLoggingCategory::setFilterRules(latin1("org.corvel.license.agent.warning=false"));
    QJsonDocument document;
    const bool empty = FileManager::parseJson("", document);
    const bool damaged = FileManager::parseJson("[", document);
    const bool null = FileManager::transQBytearrayToJsonDocument("[").isNull();
    QLoggingCategory::setFilterRules(QString());
    QVERIFY(!empty);
    QVERIFY(!damaged);
    QVERIFY(null);
}

void Json::agreesWithPython()
{
    const QString python = QStandardPaths::findExecutable(latin1("python3"));
    if (python.isEmpty())
        QSKIP("There is no python3 to judge");

    constexpr int count = 100'000;
    Generator generator(m_seed);
    QByteArrayList texts;
    texts.reserve(count);
    QFile input(path(latin1("texts")));
    QVERIFY(input.open(QIODevice::WriteOnly));
    for (int i = 0; i < count; ++i) {
        texts += generator.text();
        input.write(texts.last().toHex() + '\n');
    }
    input.close();

    QProcess judge;
    judge.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    judge.setStandardInputFile(input.fileName());
    judge.setStandardOutputFile(path(latin1("judgements")));
    judge.start(python, {latin1(JSON_JUDGE)});
    QVERIFY(judge.waitForFinished(120'000));
    QCOMPARE(judge.exitCode(), 0);
    const QByteArrayList judgements = contentOf(path(latin1("judgements"))).trimmed().split('\n');
    QCOMPARE(judgements.size(), count);

    int refused = 0;
    for (int i = 0; i < count; ++i) {
        const QByteArray own = parsed(texts[i]);
        if (own != judgements[i])
            QFAIL(qPrintable(latin1("Seed %1, text %2 (in hex): %3\nhere:   %4\nPython: %5")
                                 .arg(m_seed)
                                 .arg(i)
                                 .arg(latin1(texts[i].toHex().constData()), latin1(own.constData()),
                                      latin1(judgements[i].constData()))));
        const bool isNull = FileManager::transQBytearrayToJsonDocument(texts[i]).isNull();
        QCOMPARE(isNull, own == "error");
        refused += isNull;
    }
    QCOMPARE(takeLines().size(), 2 * refused);
    // Neither kind is a rarity, or this would compare little.
    QVERIFY2(refused > count / 5 && refused < count * 4 / 5, qPrintable(QString::number(refused)));
}

QTEST_GUILESS_MAIN(Json)
#include "json.moc"
