// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "atonce.h"
#include "logcapture.h"
#include "networkjudges.h"
#include "testprogram.h"
#include "testseed.h"

#include <syncstatus/utils.h>

#include <QRandomGenerator>
#include <QtTest>

#include <atomic>

using utility::Utils;

namespace {

/// Makes addresses and texts that are nearly addresses: three to five numbers of up to four digits
/// around the limits. Sometimes a character is changed, added or removed.
class RandomAddresses
{
public:
    explicit RandomAddresses(quint32 seed) : m_random(seed) {}

    QString next()
    {
        const int numbers = one(8) ? 3 + below(3) : 4;
        QString text = number();
        for (int i = 1; i < numbers; ++i)
            text += QLatin1Char('.') + number();
        if (one(4))
            spoil(text);
        return text;
    }

private:
    int below(int bound) { return m_random.bounded(bound); }
    bool one(int in) { return below(in) == 0; }

    QString number()
    {
        if (one(30))
            return {};
        const int value = one(12) ? 240 + below(120) : below(256);
        const int width = one(6) ? 1 + below(4) : 0;
        return QStringLiteral("%1").arg(value, width, 10, QLatin1Char('0'));
    }

    void spoil(QString &text)
    {
        static const QString characters =
            QStringLiteral("0123456789.., :/-+\t\n\raAxX\u00b2\u0663\uff11\u3002") + QChar(0);
        const QChar c = characters.at(below(characters.size()));
        switch (below(3)) {
        case 0:
            text.insert(below(text.size() + 1), c);
            break;
        case 1:
            text.remove(below(text.size()), 1);
            break;
        default:
            text[below(text.size())] = c;
            break;
        }
    }

    QRandomGenerator m_random;
};

} // namespace

class TestAddresses : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onlyDottedQuadsAreValid_data();
    void onlyDottedQuadsAreValid();
    void numbersUpTo255AreValidInEachPlace();
    void randomTextsAgreeWithAPlainParser();
    void threadsThatCallAtOnceShareNoExpression();
    void nothingIsLogged();
};

void TestAddresses::onlyDottedQuadsAreValid_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");

    const auto row = [](const QString &text, bool valid) {
        QTest::newRow(qPrintable(QLatin1Char('<') + text + QLatin1Char('>'))) << text << valid;
    };
    for (const char *text : {"0.0.0.0", "255.255.255.255", "010.001.000.099", "1.2.3.4",
                             "192.168.100.200", "007.010.08.9", "249.250.199.200", "00.0.000.0"})
        row(QLatin1String(text), true);
    for (const char *text :
         {"",           "256.1.1.1", "1.256.1.1",       "1.1.256.1", "1.1.1.256",
          "1.2.3",      "1.2.3.4.5", "1.2.3.4 ",        " 1.2.3.4",  "1.2.3.4:80",
          "1.2.3.4/24", "1.2.3.4\n", "1.2.3.4\t",       "1..3.4",    ".1.2.3.4",
          "1.2.3.4.",   "1.2.3.",    "1,2,3,4",         "1.2.3.x",   "0x1.2.3.4",
          "1.2.3.-4",   "+1.2.3.4",  "0001.2.3.4",      "300.1.1.1", "260.1.1.1",
          "1.2.3.1000", "::1",       "::ffff:1.2.3.4",  "1.2. 3.4",  "a1.2.3.4",
          "localhost",  "1234",      "1.2.3.4,5.6.7.8", "1a2a3a4",   "....",
          "..."})
        row(QLatin1String(text), false);
    row(QStringLiteral("1.2.3.\u0664"), false); // an Arabic four
    row(QStringLiteral("\uff11.2.3.4"), false); // a wide one
    row(QStringLiteral("1\u30022\u30023\u30024"), false);
    row(QStringLiteral("1.2.3.4") + QChar(0), false);
}

void TestAddresses::onlyDottedQuadsAreValid()
{
    QFETCH(QString, text);
    QFETCH(bool, valid);
    QCOMPARE(Utils::isValidIp(text), valid);
    QCOMPARE(isDottedQuad(text), valid);
}

void TestAddresses::numbersUpTo255AreValidInEachPlace()
{
    for (int value = 0; value < 1100; ++value) {
        for (int width = 1; width <= 4; ++width) {
            const QString number = QStringLiteral("%1").arg(value, width, 10, QLatin1Char('0'));
            const bool valid = value <= 255 && number.size() <= 3;
            for (const char *place : {"%1.2.3.4", "1.%1.3.4", "1.2.%1.4", "1.2.3.%1"}) {
                const QString text = QString::fromLatin1(place).arg(number);
                QVERIFY2(Utils::isValidIp(text) == valid, qPrintable(text));
            }
        }
    }
}

void TestAddresses::randomTextsAgreeWithAPlainParser()
{
    constexpr int count = 100000;
    RandomAddresses generator(testSeed());
    int valid = 0;
    for (int i = 0; i < count; ++i) {
        const QString text = generator.next();
        const bool expected = isDottedQuad(text);
        QVERIFY2(Utils::isValidIp(text) == expected, qPrintable(text));
        valid += expected;
    }
    // Both answers are common.
    QVERIFY2(valid > count / 5 && valid < count * 4 / 5, qPrintable(QString::number(valid)));
}

void TestAddresses::threadsThatCallAtOnceShareNoExpression()
{
    constexpr int threads = 8;
    constexpr int rounds = 5000;
    std::atomic<int> good{0};
    atOnce(threads, [&good](int thread) {
        const QString address = QStringLiteral("10.0.%1.255").arg(thread);
        for (int round = 0; round < rounds; ++round)
            good += Utils::isValidIp(address) && !Utils::isValidIp(address + QLatin1Char('5'));
    });
    QCOMPARE(good.load(), threads * rounds);
}

void TestAddresses::nothingIsLogged()
{
    LogCapture log;
    Utils::isValidIp(QStringLiteral("1.2.3.4"));
    Utils::isValidIp(QStringLiteral("x"));
    QCOMPARE(log.takeLines(), QStringList());
}

SYNCSTATUS_TEST(TestAddresses)
#include "tst_addresses.moc"
