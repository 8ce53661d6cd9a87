// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filesfixture.h"
#include "jsonform.h"
#include "testprogram.h"
#include "testseed.h"

#include <syncstatus/filemanager.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QStandardPaths>

#include <cstring>

using systemFileManager::FileManager;

namespace {

// The library's result for a text, in the form of plain().
QByteArray parsed(const QByteArray &text)
{
    QJsonDocument document;
    if (!FileManager::parseJson(text, document))
        return "error";
    return plain(document.isObject() ? QVariant(FileManager::parseJsonData(document))
                                     : QVariant(document.array().toVariantList()));
}

/// Writes random JSON texts, and texts that are nearly JSON.
class RandomJson
{
public:
    explicit RandomJson(quint32 seed) : m_random(seed) {}

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

    // Begins with eight random digits, which is more than damage() copies. So no two keys are
    // equal: RFC 8259 does not say what equal keys mean.
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

    // Whether the two parsers disagree about it and may. Qt accepts numbers like "1." and ".5",
    // unknown escapes and half surrogate pairs. Python accepts numbers beyond a double's range.
    // Searches in strings too, so it leaves out more than it must.
    static bool isKnownDifference(const QByteArray &text)
    {
        static const QRegularExpression wholeEscape(
            R"(\\\\|\\u[dD][89abAB][0-9a-fA-F]{2}\\u[dD][c-fC-F][0-9a-fA-F]{2})");
        static const QRegularExpression difference(
            latin1(R"(\.(?![0-9])|(?<![0-9])\.|\\(?![\x22/bfnrtu])|\\u[dD][89a-fA-F]|)"
                   "[eE][+-]?[0-9]{3}"));
        return QString::fromLatin1(text.constData(), text.size())
            .replace(wholeEscape, " ")
            .contains(difference);
    }

    QRandomGenerator m_random;
};

} // namespace

class TestJsonPeers : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void agreesWithPython();

private:
    QByteArrayList judgementsOf(const QByteArrayList &texts, const QString &python) const;

    quint32 m_seed = 0;
};

// Before the first init(), which captures what is written.
void TestJsonPeers::initTestCase()
{
    m_seed = testSeed();
}

/// Python's result for each text; nothing when it fails.
QByteArrayList TestJsonPeers::judgementsOf(const QByteArrayList &texts, const QString &python) const
{
    QByteArray lines;
    for (const QByteArray &text : texts)
        lines += text.toHex() + '\n';
    QProcess judge;
    judge.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    judge.setStandardInputFile(path("texts"));
    judge.setStandardOutputFile(path("judgements"));
    if (!store(path("texts"), lines))
        return {};
    judge.start(python, {JSON_JUDGE});
    if (!judge.waitForFinished(120'000) || judge.exitCode() != 0)
        return {};
    return contentOf(path("judgements")).trimmed().split('\n');
}

void TestJsonPeers::agreesWithPython()
{
    const QString python = QStandardPaths::findExecutable("python3");
    if (python.isEmpty())
        QSKIP("There is no python3 to judge");

    constexpr int count = 100'000;
    RandomJson generator(m_seed);
    QByteArrayList texts;
    texts.reserve(count);
    for (int i = 0; i < count; ++i)
        texts += generator.text();
    const QByteArrayList judgements = judgementsOf(texts, python);
    QCOMPARE(judgements.size(), count);

    int refused = 0;
    for (int i = 0; i < count; ++i) {
        const QByteArray own = parsed(texts[i]);
        if (own != judgements[i])
            QFAIL(qPrintable(latin1("Seed %1, text %2 (in hex): %3\nhere:   %4\nPython: %5")
                                 .arg(m_seed)
                                 .arg(i)
                                 .arg(texts[i].toHex().constData(), own.constData(),
                                      judgements[i].constData())));
        const bool isNull = FileManager::transQBytearrayToJsonDocument(texts[i]).isNull();
        QCOMPARE(isNull, own == "error");
        refused += isNull;
    }
    QCOMPARE(takeLines().size(), 2 * refused);
    // Both answers are common.
    QVERIFY2(refused > count / 5 && refused < count * 4 / 5, qPrintable(QString::number(refused)));
}

SYNCSTATUS_TEST(TestJsonPeers)
#include "tst_jsonpeers.moc"
