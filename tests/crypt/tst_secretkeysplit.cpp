// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "atonce.h"
#include "testprogram.h"

#include <custompluginmanager/secretkeysplit.h>

#include <QCryptographicHash>
#include <QRegularExpression>
#include <QSet>
#include <QtTest>

#include <algorithm>
#include <vector>

namespace {

const char keyText[] =
    "-----BEGIN PUBLIC KEY-----\nMIIB-not-a-real-one\n-----END PUBLIC KEY-----\n";

QByteArray secret()
{
    return keyText;
}

QByteArray payloadOf(const QString &piece)
{
    return QByteArray::fromHex(piece.section(QLatin1Char('-'), 2).toLatin1());
}

} // namespace

class TestSecretkeySplit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void piecesJoinToTheSecret_data();
    void piecesJoinToTheSecret();
    void piecesJoinInAnyOrder();
    void aPieceIsPlainAsciiInThreeFields();
    void thePayloadsXorToDigestAndSecret();
    void fewerPiecesAreEvenlySpread();
    void splitsOfOneSecretAreTheSame();
    void theMasksAreAsDocumented();
    void masksOfDifferentCountsHaveNothingInCommon();
    void whatCannotBeSplitGivesNothing();
    void badPiecesAreRefused_data();
    void badPiecesAreRefused();
    void aChangedPayloadIsRefused();
    void mixedPiecesAreRefused();
    void threadsDoNotDisturbEachOther();
};

void TestSecretkeySplit::piecesJoinToTheSecret_data()
{
    QTest::addColumn<QByteArray>("secret");
    QTest::addColumn<int>("count");

    QByteArray allBytes;
    for (int i = 0; i < 256; ++i)
        allBytes += char(i);
    const QList<QPair<QByteArray, QByteArray>> secrets = {
        {"one byte", "x"},
        {"NUL", QByteArray(1, '\0')},
        {"31 bytes", QByteArray(31, 'a')},
        {"32 bytes", QByteArray(32, 'a')},
        {"33 bytes", QByteArray(33, 'a')},
        {"a key", secret()},
        {"all bytes", allBytes},
        {"64 KiB", QByteArray(65536, '\xff')},
    };
    for (const auto &entry : secrets)
        for (const int count : {2, 3, 10, 12})
            QTest::addRow("%s, %d pieces", entry.first.constData(), count) << entry.second << count;
}

void TestSecretkeySplit::piecesJoinToTheSecret()
{
    QFETCH(QByteArray, secret);
    QFETCH(int, count);

    const QStringList pieces = SecretkeySplit::splitSecretKey(secret, count);
    QCOMPARE(pieces.size(), count);
    QCOMPARE(SecretkeySplit::recoverSecretKey(pieces), secret);
}

void TestSecretkeySplit::piecesJoinInAnyOrder()
{
    QStringList pieces = SecretkeySplit::splitSecretKey(secret(), 4);
    std::sort(pieces.begin(), pieces.end());
    int orders = 0;
    do {
        QCOMPARE(SecretkeySplit::recoverSecretKey(pieces), secret());
        ++orders;
    } while (std::next_permutation(pieces.begin(), pieces.end()));
    QCOMPARE(orders, 24);
}

void TestSecretkeySplit::aPieceIsPlainAsciiInThreeFields()
{
    const QStringList pieces = SecretkeySplit::splitSecretKey(secret(), 12);
    for (int i = 0; i < 12; ++i) {
        const QRegularExpression form(
            QStringLiteral("\\A12-%1-[0-9a-f]{%2}\\z").arg(i + 1).arg(2 * (secret().size() + 32)));
        QVERIFY2(form.match(pieces.at(i)).hasMatch(), qPrintable(pieces.at(i)));
    }
}

void TestSecretkeySplit::thePayloadsXorToDigestAndSecret()
{
    const QStringList pieces = SecretkeySplit::splitSecretKey(secret(), 3);
    QByteArray joined;
    for (int i = 0; i < secret().size() + 32; ++i)
        joined += char(payloadOf(pieces.at(0)).at(i) ^ payloadOf(pieces.at(1)).at(i) ^
                       payloadOf(pieces.at(2)).at(i));
    QCOMPARE(joined, QCryptographicHash::hash(secret(), QCryptographicHash::Sha256) + secret());
}

// With a secret of equal bits, a piece that carried any of it would lean to one side.
void TestSecretkeySplit::fewerPiecesAreEvenlySpread()
{
    const QStringList pieces = SecretkeySplit::splitSecretKey(QByteArray(65536, '\xff'), 3);
    const auto shareOfOnes = [](const QByteArray &bytes) {
        int ones = 0;
        for (const char byte : bytes)
            ones += int(qPopulationCount(quint8(byte)));
        return ones / (8.0 * bytes.size());
    };
    for (int left = 0; left < 3; ++left) {
        // All that two pieces have to say is each of them and the two together.
        QByteArray both = payloadOf(pieces.at((left + 1) % 3));
        const QByteArray other = payloadOf(pieces.at((left + 2) % 3));
        QVERIFY(qAbs(shareOfOnes(other) - 0.5) < 0.01);
        for (int i = 0; i < both.size(); ++i)
            both[i] = char(both.at(i) ^ other.at(i));
        // The deviation is 0.0007: this is more than ten of them.
        QVERIFY(qAbs(shareOfOnes(both) - 0.5) < 0.01);
    }
}

void TestSecretkeySplit::splitsOfOneSecretAreTheSame()
{
    QCOMPARE(SecretkeySplit::splitSecretKey(secret(), 3),
             SecretkeySplit::splitSecretKey(secret(), 3));
    QVERIFY(SecretkeySplit::splitSecretKey(secret(), 3) !=
            SecretkeySplit::splitSecretKey(secret() + '\n', 3));
}

// Made with: printf %s 2-1-0 | openssl dgst -sha256 -hmac key, and the same of 2-1-1.
void TestSecretkeySplit::theMasksAreAsDocumented()
{
    const QStringList pieces = SecretkeySplit::splitSecretKey("key", 2);
    QCOMPARE(pieces.at(0),
             QStringLiteral("2-1-"
                            "aa9efa26fcb31442579506ec8a09a10b27aa2058eed80713213e21a8550ec7fd"
                            "06f2e2"));
}

void TestSecretkeySplit::masksOfDifferentCountsHaveNothingInCommon()
{
    QSet<QByteArray> payloads;
    for (const int count : {2, 3, 4}) {
        const QStringList split = SecretkeySplit::splitSecretKey(secret(), count);
        for (const QString &piece : split)
            payloads += payloadOf(piece);
    }
    QCOMPARE(payloads.size(), 9);
}

void TestSecretkeySplit::whatCannotBeSplitGivesNothing()
{
    QCOMPARE(SecretkeySplit::splitSecretKey(QByteArray(), 3), QStringList());
    for (const int count : {-1, 0, 1})
        QCOMPARE(SecretkeySplit::splitSecretKey(secret(), count), QStringList());
}

void TestSecretkeySplit::badPiecesAreRefused_data()
{
    QTest::addColumn<QStringList>("pieces");

    const QStringList good = SecretkeySplit::splitSecretKey(secret(), 3);
    const QString &one = good.at(0);
    const QString &two = good.at(1);
    const QString &three = good.at(2);
    const QString payload = one.mid(4);
    const auto row = [&](const char *name, const QString &first) {
        QTest::newRow(name) << QStringList{first, two, three};
    };

    QTest::newRow("none") << QStringList();
    QTest::newRow("one") << QStringList{one};
    QTest::newRow("one missing") << QStringList{one, three};
    QTest::newRow("one doubled for another") << QStringList{one, two, two};
    QTest::newRow("one too many") << QStringList{one, two, three, three};
    QTest::newRow("all twice") << good + good;
    QTest::newRow("an empty one too many") << QStringList{one, two, three, QString()};
    QTest::newRow("a later one longer") << QStringList{one, two + QLatin1String("00"), three};
    QTest::newRow("a later one shorter") << QStringList{one, two.chopped(2), three};
    QTest::newRow("the last one longer") << QStringList{one, two, three + QLatin1String("00")};
    QTest::newRow("one of one") << QStringList{QLatin1String("1-1-") + payload};
    // What a split into one would give.
    QTest::newRow("one of one, digest and secret") << QStringList{
        QLatin1String("1-1-") +
        QLatin1String(
            (QCryptographicHash::hash(secret(), QCryptographicHash::Sha256) + secret()).toHex())};
    row("empty", QString());
    row("only hyphens", QStringLiteral("--"));
    row("no payload", QStringLiteral("3-1-"));
    row("no hyphen after the number", QStringLiteral("3-1"));
    row("payload alone", payload);
    row("another hyphen", one + QLatin1Char('-'));
    row("a hyphen in the payload", QString(one).insert(20, QLatin1Char('-')));
    row("number 0", QLatin1String("3-0-") + payload);
    row("number 4", QLatin1String("3-4-") + payload);
    row("a number twice, every payload once", QLatin1String("3-2-") + payload);
    row("a number far from it", QLatin1String("3-2000000000-") + payload);
    row("a negative number", QLatin1String("3--1-") + payload);
    row("a huge number", QLatin1String("3-99999999999999999999-") + payload);
    row("no number", QLatin1String("3--") + payload);
    row("a word for a number", QLatin1String("3-one-") + payload);
    row("a sign", QLatin1String("3-+1-") + payload);
    row("a leading zero", QLatin1String("3-01-") + payload);
    row("a leading zero of the count", QLatin1String("03-1-") + payload);
    row("a blank before the number", QLatin1String("3- 1-") + payload);
    row("another count", QLatin1String("4-1-") + payload);
    row("no count", QLatin1String("-1-") + payload);
    row("a leading blank", QLatin1Char(' ') + one);
    row("a trailing newline", one + QLatin1Char('\n'));
    row("an upper-case digit", QLatin1String("3-1-") + payload.toUpper());
    row("half a byte more", one + QLatin1Char('0'));
    row("a byte more", one + QLatin1String("00"));
    row("a byte less", one.chopped(2));
    row("no digit", one.chopped(1) + QLatin1Char('g'));
    row("not Latin-1", one.chopped(1) + QChar(0x0660));
    row("a NUL", one.chopped(1) + QChar(0));
    // All of one short length: only the digest's size speaks against them.
    QTest::newRow("payloads shorter than a digest")
        << QStringList{one.left(20), two.left(20), three.left(20)};
    QTest::newRow("payloads of a digest alone")
        << QStringList{one.left(68), two.left(68), three.left(68)};
    QTest::newRow("no payload in any") << QStringList{one.left(4), two.left(4), three.left(4)};
    // The one that has a payload would join by itself: it is the digest and the secret, unmasked.
    const QByteArray secret("secret");
    const QString bare = QString::fromLatin1(
        (QCryptographicHash::hash(secret, QCryptographicHash::Sha256) + secret).toHex());
    QTest::newRow("no payload in the first")
        << QStringList{QStringLiteral("2-1-"), QLatin1String("2-2-") + bare};
    QTest::newRow("no payload in the last")
        << QStringList{QLatin1String("2-1-") + bare, QStringLiteral("2-2-")};
    // What it lacks would change nothing in the others.
    QTest::newRow("a zero less in the last")
        << QStringList{QLatin1String("2-1-") + bare,
                       QLatin1String("2-2-") + QString(bare.size() - 2, QLatin1Char('0'))};
    // Such a digit would add 256, which a byte does not hold.
    QTest::newRow("a digit beyond f")
        << QStringList{QLatin1String("2-1-") + bare,
                       QLatin1String("2-2-g") + QString(bare.size() - 1, QLatin1Char('0'))};
}

void TestSecretkeySplit::badPiecesAreRefused()
{
    QFETCH(QStringList, pieces);
    QCOMPARE(SecretkeySplit::recoverSecretKey(pieces), QByteArray());
}

void TestSecretkeySplit::aChangedPayloadIsRefused()
{
    const QStringList good = SecretkeySplit::splitSecretKey("a short secret", 2);
    for (int piece = 0; piece < 2; ++piece) {
        for (int i = 4; i < good.at(piece).size(); ++i) {
            QStringList pieces = good;
            pieces[piece][i] = QLatin1Char(pieces[piece][i] == QLatin1Char('0') ? '1' : '0');
            QCOMPARE(SecretkeySplit::recoverSecretKey(pieces), QByteArray());
        }
    }
    QCOMPARE(SecretkeySplit::recoverSecretKey(good), QByteArray("a short secret"));
}

void TestSecretkeySplit::mixedPiecesAreRefused()
{
    const QStringList a = SecretkeySplit::splitSecretKey(secret(), 3);
    const QStringList b = SecretkeySplit::splitSecretKey(secret().toUpper(), 3);
    for (int which = 1; which < 7; ++which) {
        QStringList pieces;
        for (int i = 0; i < 3; ++i)
            pieces += which & (1 << i) ? a.at(i) : b.at(i);
        QCOMPARE(SecretkeySplit::recoverSecretKey(pieces), QByteArray());
    }
}

void TestSecretkeySplit::threadsDoNotDisturbEachOther()
{
    std::vector<int> good(8);
    atOnce(int(good.size()), [&good](int thread) {
        const QByteArray mine = secret() + QByteArray::number(thread);
        const QStringList pieces = SecretkeySplit::splitSecretKey(mine, 3);
        for (int i = 0; i < 100; ++i)
            good[size_t(thread)] += SecretkeySplit::recoverSecretKey(pieces) == mine &&
                                    SecretkeySplit::splitSecretKey(mine, 3) == pieces;
    });
    QCOMPARE(good, std::vector<int>(8, 100));
}

SYNCSTATUS_TEST(TestSecretkeySplit)
#include "tst_secretkeysplit.moc"
