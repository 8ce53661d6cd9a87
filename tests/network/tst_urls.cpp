// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logcapture.h"
#include "networkjudges.h"
#include "testprogram.h"
#include "testseed.h"

#include <syncstatus/utils.h>

#include <QRandomGenerator>
#include <QStringList>
#include <QtTest>

using utility::Utils;

namespace {

class RandomUrls
{
public:
    explicit RandomUrls(quint32 seed) : m_random(seed) {}

    /// Two URLs that have their remainder in common as often as not.
    QPair<QString, QString> next()
    {
        const QString common = remainder();
        return {dressed(common), dressed(m_random.bounded(4) ? common : changed(common))};
    }

private:
    QString pick(const QStringList &from) { return from.at(m_random.bounded(from.size())); }

    QString remainder()
    {
        static const QStringList pieces{
            QStringLiteral("a"),  QStringLiteral("Host"),    QStringLiteral(".example"),
            QStringLiteral("/"),  QStringLiteral(":80"),     QStringLiteral("?q=A"),
            QStringLiteral("#F"), QStringLiteral("http://"), QStringLiteral("%2F"),
            QStringLiteral(" "),  QStringLiteral("\u00c9")};
        QString text;
        for (int i = m_random.bounded(5); i > 0; --i)
            text += pick(pieces);
        return text;
    }

    QString changed(QString text)
    {
        if (text.isEmpty() || m_random.bounded(2))
            return text + pick({QStringLiteral("/"), QStringLiteral("x"), QStringLiteral(" ")});
        text.remove(m_random.bounded(text.size()), 1);
        return text;
    }

    QString dressed(const QString &remainder)
    {
        static const QStringList blanks{QString(),
                                        QString(),
                                        QString(),
                                        QStringLiteral(" "),
                                        QStringLiteral("\t"),
                                        QStringLiteral("\r\n"),
                                        QStringLiteral("\u00a0\u2003")};
        static const QStringList good{QStringLiteral("http://"), QStringLiteral("https://")};
        static const QStringList bad{QString(),
                                     QStringLiteral("ftp://"),
                                     QStringLiteral("http:/"),
                                     QStringLiteral("https:"),
                                     QStringLiteral("httpss://"),
                                     QStringLiteral("http ://"),
                                     QStringLiteral("://"),
                                     QStringLiteral("x http://")};
        QString text = pick(m_random.bounded(8) ? good : bad) + remainder;
        for (QChar &c : text) {
            if (m_random.bounded(6) == 0)
                c = c.isUpper() ? c.toLower() : c.toUpper();
        }
        return pick(blanks) + text + pick(blanks);
    }

    QRandomGenerator m_random;
};

} // namespace

class TestUrls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void schemeCaseAndOuterWhiteSpaceDoNotCount_data();
    void schemeCaseAndOuterWhiteSpaceDoNotCount();
    void randomPairsAgreeWithASecondFormulation();
    void nothingIsLogged();
};

void TestUrls::schemeCaseAndOuterWhiteSpaceDoNotCount_data()
{
    QTest::addColumn<QString>("one");
    QTest::addColumn<QString>("other");
    QTest::addColumn<bool>("equal");

    const auto row = [](const char *name, const QString &one, const QString &other, bool equal) {
        QTest::newRow(name) << one << other << equal;
    };
    row("scheme", "http://host/a", "https://host/a", true);
    row("same scheme, other case", "http://host/a", "HTTP://HOST/A", true);
    row("case of the path", "http://host/Path?Q=V#F", "https://HOST/path?q=v#f", true);
    row("case beyond ASCII", QStringLiteral("http://host/\u00c9"),
        QStringLiteral("https://host/\u00e9"), true);
    row("lower case, not case folding", QStringLiteral("http://\u03c2"),
        QStringLiteral("https://\u03c3"), false);
    row("upper case and a trailing slash", "HTTP://HOST.EXAMPLE", "https://host.example/", false);
    row("upper case and a trailing blank", "HTTP://HOST.EXAMPLE ", "https://host.example", true);
    row("white space around both", "\t\n http://host \r\n", " https://host\v\f", true);
    row("white space beyond ASCII", QStringLiteral("\u00a0\u3000http://host\u2003"), "https://host",
        true);
    row("white space inside", "http://ho st", "https://host", false);
    row("white space behind the scheme", "http:// host", "https://host", false);
    row("no remainder", "http://", "https://", true);
    row("no remainder, one with white space", " HTTP:// ", "https://", true);
    row("other host", "http://host", "http://host2", false);
    row("a longer remainder", "http://host/a", "https://host/ab", false);
    row("default port", "http://host:80", "http://host", false);
    row("escape", "http://host/%41", "http://host/A", false);
    row("dot segment", "http://host/./a", "http://host/a", false);
    row("bare host", "host", "http://host", false);
    row("bare host, the other way round", "http://host", "host", false);
    row("identical without a scheme", "host", "host", true);
    row("identical white space", " ", " ", true);
    row("identical and empty", "", "", true);
    row("empty and a scheme", "", "http://", false);
    row("bare hosts that differ in case", "host", "HOST", false);
    row("bare hosts that differ in white space", "host", "host ", false);
    row("identical with another scheme", "ftp://host", "ftp://host", true);
    row("another scheme, other case", "ftp://host", "FTP://host", false);
    row("another scheme on one side", "ftp://host", "http://host", false);
    row("only the first prefix is removed", "http://https://host", "https://https://host", true);
    row("both prefixes are not removed", "http://https://host", "http://host", false);
    row("half a prefix", "http:/host", "https:/host", false);
    row("no slashes", "http:host", "https:host", false);
    row("a longer scheme", "httpss://host", "http://host", false);
    row("scheme not at the start", "see http://host", "see https://host", false);
    row("null and empty are identical", QString(), "", true);
}

void TestUrls::schemeCaseAndOuterWhiteSpaceDoNotCount()
{
    QFETCH(QString, one);
    QFETCH(QString, other);
    QFETCH(bool, equal);
    QCOMPARE(Utils::compareUrlIgnoreHttpPrefix(one, other), equal);
    QCOMPARE(Utils::compareUrlIgnoreHttpPrefix(other, one), equal);
    QCOMPARE(UrlJudge::equal(one, other), equal);
}

void TestUrls::randomPairsAgreeWithASecondFormulation()
{
    constexpr int count = 100000;
    RandomUrls generator(testSeed());
    int equal = 0;
    for (int i = 0; i < count; ++i) {
        const auto pair = generator.next();
        const bool expected = UrlJudge::equal(pair.first, pair.second);
        QVERIFY2(Utils::compareUrlIgnoreHttpPrefix(pair.first, pair.second) == expected,
                 qPrintable(QStringLiteral("<%1> <%2>").arg(pair.first, pair.second)));
        equal += expected;
    }
    // Both answers are common.
    QVERIFY2(equal > count / 5 && equal < count * 4 / 5, qPrintable(QString::number(equal)));
}

void TestUrls::nothingIsLogged()
{
    LogCapture log;
    Utils::compareUrlIgnoreHttpPrefix(QStringLiteral("http://a"), QStringLiteral("https://a"));
    Utils::compareUrlIgnoreHttpPrefix(QStringLiteral("a"), QStringLiteral("b"));
    QCOMPARE(log.takeLines(), QStringList());
}

SYNCSTATUS_TEST(TestUrls)
#include "tst_urls.moc"
