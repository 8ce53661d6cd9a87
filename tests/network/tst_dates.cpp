// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logcapture.h"
#include "networkjudges.h"
#include "testprogram.h"
#include "testseed.h"

#include <syncstatus/utils.h>

#include <QDate>
#include <QFile>
#include <QLocale>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QVariant>
#include <QtTest>

#include <time.h> // NOLINT(modernize-deprecated-headers): tzset is POSIX's

#include <cstdio>
#include <limits>

using utility::Utils;

namespace {

constexpr qint64 hour = 3600;
constexpr qint64 day = 24 * hour;
constexpr qint64 maximum = std::numeric_limits<qint64>::max();
constexpr qint64 minimum = std::numeric_limits<qint64>::min();
/// There is no date from here on, nor from its negative downwards.
constexpr qint64 furthest = 9'000'000'000'000'000;

/// The process's time zone for a scope. Only while no other thread runs.
class LocalTimeZone
{
public:
    explicit LocalTimeZone(const QString &zone)
        : m_wasSet(qEnvironmentVariableIsSet("TZ")), m_previous(qgetenv("TZ"))
    {
        qputenv("TZ", zone.toLatin1());
        tzset();
    }
    ~LocalTimeZone()
    {
        // An empty TZ is UTC; without one, /etc/localtime counts.
        if (m_wasSet)
            qputenv("TZ", m_previous);
        else
            qunsetenv("TZ");
        tzset();
    }
    Q_DISABLE_COPY(LocalTimeZone)

private:
    bool m_wasSet;
    QByteArray m_previous;
};

struct FixedZone
{
    const char *name; // POSIX: what is added to local time to get UTC
    qint64 offset;    // seconds east of UTC
};
constexpr FixedZone fixedZones[] = {{"UTC0", 0},
                                    {"JST-9", 9 * hour},
                                    {"IST-5:30", 5 * hour + hour / 2},
                                    {"<+14>-14", 14 * hour},
                                    {"EST5", -5 * hour},
                                    {"<-12>12", -12 * hour},
                                    {"<+24>-24", 24 * hour},
                                    {"<-24>24", -24 * hour}};

/// A zone nine hours east of UTC in the format of /etc/localtime (RFC 8536): one block of data for
/// each of the format's two versions, here the same, and the rule for all later times.
QByteArray compiledZone()
{
    QByteArray block("TZif2");
    block += QByteArray(15, 0);
    // Six counts of four bytes: one type of local time, four letters for it, nothing else.
    block += QByteArray(19, 0) + '\1' + QByteArray(3, 0) + '\4';
    block += QByteArray("\0\0\x7e\x90\0\0JST\0", 10); // 32400 seconds, no daylight saving
    return block + block + "\nJST-9\n";
}

} // namespace

class TestDates : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void secondsGiveADate_data();
    void secondsGiveADate();
    void theDateIsThatOfTheLocalZone_data();
    void theDateIsThatOfTheLocalZone();
    void theMachinesZoneCountsWithoutTz();
    void thereIsNoDateBeyondTheRange_data();
    void thereIsNoDateBeyondTheRange();
    void randomMomentsAgreeWithACountedCalendar();
    void nothingIsLogged();
};

void TestDates::initTestCase()
{
    QVERIFY2(QLocale::system().zeroDigit() != QLatin1Char('0'), "LC_ALL=fa_IR.UTF-8 is missing");
}

void TestDates::secondsGiveADate_data()
{
    QTest::addColumn<QVariant>("timestamp");
    QTest::addColumn<QString>("expected");

    const auto row = [](const char *name, const QVariant &timestamp, const QString &expected) {
        QTest::newRow(name) << timestamp << expected;
    };
    const QString nothing;
    const QString first = QStringLiteral("1970-01-01");
    const QString second = QStringLiteral("1970-01-02");
    row("null", QVariant(), nothing);
    row("null of a type", QVariant(QVariant::LongLong), nothing);
    row("null text", QVariant(QString()), nothing);
    row("zero", QVariant(0), nothing);
    row("zero in 64 bits", QVariant(qint64(0)), nothing);
    row("zero as text", QVariant(QStringLiteral("0")), nothing);
    row("zero in floating point", QVariant(0.0), nothing);
    row("empty text", QVariant(QLatin1String("")), nothing);
    row("text", QVariant(QStringLiteral("today")), nothing);
    row("number and text", QVariant(QStringLiteral("86400s")), nothing);
    row("a fraction as text", QVariant(QStringLiteral("86400.5")), nothing);
    row("a number too long", QVariant(QStringLiteral("99999999999999999999")), nothing);
    row("hexadecimal", QVariant(QStringLiteral("0x15180")), nothing);
    row("a list", QVariant(QVariantList{86400}), nothing);
    row("a date", QVariant(QDate(2024, 1, 1)), nothing);
    row("false", QVariant(false), nothing);
    row("true", QVariant(true), first);
    row("int", QVariant(86400), second);
    row("unsigned", QVariant(86400U), second);
    row("64 bits", QVariant(qint64(86400)), second);
    row("unsigned 64 bits", QVariant(quint64(86400)), second);
    row("floating point", QVariant(86400.0), second);
    row("a fraction, down", QVariant(86399.4), first);
    row("a fraction, a half", QVariant(86399.5), second);
    row("a fraction below zero, a half", QVariant(-86400.5), QStringLiteral("1969-12-31"));
    row("a fraction below zero, down", QVariant(-86400.6), QStringLiteral("1969-12-30"));
    row("a fraction that counts as zero", QVariant(0.4), nothing);
    row("a fraction that counts as one", QVariant(0.5), first);
    row("a fraction below zero that counts as zero", QVariant(-0.5), nothing);
    row("a fraction below zero that counts as one", QVariant(-0.6), QStringLiteral("1969-12-31"));
    row("a short floating point", QVariant(86399.5F), second);
    row("numeric text", QVariant(QStringLiteral("86400")), second);
    row("numeric text with a sign", QVariant(QStringLiteral("+86400")), second);
    row("numeric text with white space around", QVariant(QStringLiteral(" \t86400\n")), second);
    row("numeric text with leading zeros", QVariant(QStringLiteral("0086400")), second);
    row("numeric text with a separator", QVariant(QStringLiteral("86,400")), nothing);
    row("an exponent as text", QVariant(QStringLiteral("864e2")), nothing);
    row("numeric bytes", QVariant(QByteArray("86400")), second);
    row("bytes beyond the range, cut off by a NUL", QVariant(QByteArray("9223372036337854\0x", 18)),
        QString());
    row("negative text", QVariant(QStringLiteral("-1")), QStringLiteral("1969-12-31"));
    row("one", QVariant(1), first);
    row("last second of a day", QVariant(86399), first);
    row("first second of a day", QVariant(86400), second);
    row("recent", QVariant(1700000000), QStringLiteral("2023-11-14"));
    row("beyond 32 bits", QVariant(qint64(2147483648)), QStringLiteral("2038-01-19"));
    row("milliseconds", QVariant(qint64(1700000000000)), QStringLiteral("55840-11-08"));
    row("before 1970", QVariant(-86401), QStringLiteral("1969-12-30"));
    row("leap day", QVariant(951782400), QStringLiteral("2000-02-29"));
    row("no leap day", QVariant(qint64(-2203891200)), QStringLiteral("1900-03-01"));
    row("year 9999", QVariant(qint64(253402300799)), QStringLiteral("9999-12-31"));
    row("year 10000", QVariant(qint64(253402300800)), QStringLiteral("10000-01-01"));
    row("year 1", QVariant(qint64(-62135596800)), QStringLiteral("0001-01-01"));
    row("before year 1", QVariant(qint64(-62135596801)), QStringLiteral("-0001-12-31"));

    row("most", QVariant(maximum), nothing);
    row("least", QVariant(minimum), nothing);
    row("most as text", QVariant(QString::number(maximum)), nothing);
    row("most unsigned", QVariant(std::numeric_limits<quint64>::max()), nothing);
    row("unsigned that wraps to -1 day", QVariant(std::numeric_limits<quint64>::max() - 86399),
        nothing);
    row("milliseconds that wrap to a day", QVariant(qint64(86400 + (qint64(1) << 61))),
        nothing); // times 1000, modulo 2^64
    row("floating point, far off", QVariant(1e300), nothing);
    row("floating point, far off below", QVariant(-1e300), nothing);
    row("infinite", QVariant(std::numeric_limits<double>::infinity()), nothing);
    row("no number", QVariant(std::numeric_limits<double>::quiet_NaN()), nothing);
}

void TestDates::secondsGiveADate()
{
    QFETCH(QVariant, timestamp);
    QFETCH(QString, expected);
    const LocalTimeZone zone(QStringLiteral("UTC0"));
    QCOMPARE(Utils::getServerDateTime(timestamp), expected);
}

void TestDates::theDateIsThatOfTheLocalZone_data()
{
    QTest::addColumn<QString>("zone");
    QTest::addColumn<QString>("moment");
    QTest::addColumn<QString>("expected");

    const auto row = [](const char *zone, const char *moment, const char *expected) {
        QTest::newRow(
            qPrintable(QStringLiteral("%1 %2").arg(QLatin1String(zone), QLatin1String(moment))))
            << zone << moment << expected;
    };
    // East and west of UTC, around midnight there.
    row("JST-9", "2024-05-31T14:59:59Z", "2024-05-31");
    row("JST-9", "2024-05-31T15:00:00Z", "2024-06-01");
    row("IST-5:30", "2024-02-28T18:29:59Z", "2024-02-28");
    row("IST-5:30", "2024-02-28T18:30:00Z", "2024-02-29");
    row("<+14>-14", "2023-12-31T09:59:59Z", "2023-12-31");
    row("<+14>-14", "2023-12-31T10:00:00Z", "2024-01-01");
    row("<-12>12", "2024-01-01T11:59:59Z", "2023-12-31");
    row("<-12>12", "2024-01-01T12:00:00Z", "2024-01-01");

    // Daylight saving, north: begins on 10 March 2024 at 07:00Z, ends on 3 November at 06:00Z.
    const char *north = "EST5EDT,M3.2.0,M11.1.0";
    row(north, "2024-03-10T04:59:59Z", "2024-03-09");
    row(north, "2024-03-10T05:00:00Z", "2024-03-10");
    row(north, "2024-03-10T06:59:59Z", "2024-03-10");
    row(north, "2024-03-10T07:00:00Z", "2024-03-10");
    row(north, "2024-03-11T03:59:59Z", "2024-03-10");
    row(north, "2024-03-11T04:00:00Z", "2024-03-11");
    row(north, "2024-11-03T03:59:59Z", "2024-11-02");
    row(north, "2024-11-03T04:00:00Z", "2024-11-03");
    row(north, "2024-11-03T05:30:00Z", "2024-11-03"); // 01:30 for the first time
    row(north, "2024-11-03T06:30:00Z", "2024-11-03"); // and for the second
    row(north, "2024-11-04T04:59:59Z", "2024-11-03");
    row(north, "2024-11-04T05:00:00Z", "2024-11-04");
    // South: ends on 7 April 2024, begins on 6 October.
    const char *south = "AEST-10AEDT,M10.1.0,M4.1.0/3";
    row(south, "2024-01-01T12:59:59Z", "2024-01-01");
    row(south, "2024-01-01T13:00:00Z", "2024-01-02");
    row(south, "2024-07-01T13:59:59Z", "2024-07-01");
    row(south, "2024-07-01T14:00:00Z", "2024-07-02");
    // At midnight: on 6 October 2024 there is no 00:30 and on 7 April 23:30 comes twice.
    const char *midnight = "<-04>4<-03>,M10.1.0/0,M4.1.0/0";
    row(midnight, "2024-10-06T03:59:59Z", "2024-10-05");
    row(midnight, "2024-10-06T04:00:00Z", "2024-10-06");
    row(midnight, "2024-04-07T02:30:00Z", "2024-04-06");
    row(midnight, "2024-04-07T03:30:00Z", "2024-04-06");
    row(midnight, "2024-04-07T04:00:00Z", "2024-04-07");

    // Around 1970 itself; the epoch's own second is no time stamp.
    row("JST-9", "1969-12-31T23:59:59Z", "1970-01-01");
    row("EST5", "1970-01-01T00:00:01Z", "1969-12-31");
    // Before 1970 there is no daylight saving: midnight is at 05:00Z in summer too.
    row(north, "1969-07-02T04:59:59Z", "1969-07-01");
    row(north, "1969-07-02T05:00:00Z", "1969-07-02");
    row(north, "1970-07-02T03:59:59Z", "1970-07-01");
    row(north, "1970-07-02T04:00:00Z", "1970-07-02");
    row(south, "1960-01-01T13:59:59Z", "1960-01-01");
    row(south, "1960-01-01T14:00:00Z", "1960-01-02");

    // A zone that went over the date line had no 30 December 2011.
    if (QFile::exists(QStringLiteral("/usr/share/zoneinfo/Pacific/Apia"))) {
        row("Pacific/Apia", "2011-12-30T09:59:59Z", "2011-12-29");
        row("Pacific/Apia", "2011-12-30T10:00:00Z", "2011-12-31");
    }
}

void TestDates::theDateIsThatOfTheLocalZone()
{
    QFETCH(QString, zone);
    QFETCH(QString, moment);
    QFETCH(QString, expected);
    const qint64 seconds = QDateTime::fromString(moment, Qt::ISODate).toSecsSinceEpoch();
    QVERIFY(seconds != 0);
    const LocalTimeZone local(zone);
    QCOMPARE(Utils::getServerDateTime(seconds), expected);
}

void TestDates::theMachinesZoneCountsWithoutTz()
{
    // In another process, with another /etc/localtime.
    QTemporaryDir directory;
    QFile zone(directory.filePath(QStringLiteral("zone")));
    QVERIFY(zone.open(QIODevice::WriteOnly) && zone.write(compiledZone()) > 0);
    zone.close();
    const auto run = [&zone](const QString &command, QString *complaint) {
        QProcess process;
        process.start(
            QStringLiteral("unshare"),
            {QStringLiteral("--user"), QStringLiteral("--map-root-user"), QStringLiteral("--mount"),
             QStringLiteral("sh"), QStringLiteral("-euc"),
             QStringLiteral("mount --bind \"$1\" /etc/localtime; unset TZ; shift; ") + command,
             QStringLiteral("sh"), zone.fileName(), QStringLiteral(PRINT_DATE),
             QStringLiteral("1717167600")}); // 2024-05-31T15:00:00Z
        if (!process.waitForFinished() || process.exitCode() != 0)
            *complaint =
                process.errorString() + QString::fromLocal8Bit(process.readAllStandardError());
        return process.readAllStandardOutput();
    };
    QString complaint;
    run(QStringLiteral("true"), &complaint);
    if (!complaint.isEmpty())
        QSKIP(qPrintable(QStringLiteral("no /etc/localtime of its own here: ") + complaint));

    QCOMPARE(run(QStringLiteral("exec \"$@\""), &complaint), QByteArray("2024-06-01\n"));
    QCOMPARE(run(QStringLiteral("TZ=UTC0 exec \"$@\""), &complaint), QByteArray("2024-05-31\n"));
    QCOMPARE(complaint, QString());
}

void TestDates::thereIsNoDateBeyondTheRange_data()
{
    QTest::addColumn<QString>("zone");
    QTest::addColumn<qint64>("offset");
    for (const FixedZone &zone : fixedZones)
        QTest::newRow(zone.name) << zone.name << zone.offset;
}

void TestDates::thereIsNoDateBeyondTheRange()
{
    QFETCH(QString, zone);
    QFETCH(qint64, offset);
    const LocalTimeZone local(zone);

    // On either side of both ends, to the second; nothing wraps around.
    for (const qint64 inside : {furthest - 1, furthest - day, 1 - furthest, day - furthest})
        QCOMPARE(Utils::getServerDateTime(inside), dateOfMoment(inside, offset));
    for (const qint64 beyond : {furthest, furthest + day, maximum / 1000, maximum / 1000 + 1})
        for (const qint64 seconds : {beyond, -beyond})
            QCOMPARE(Utils::getServerDateTime(seconds), QString());
}

void TestDates::randomMomentsAgreeWithACountedCalendar()
{
    constexpr int count = 100000;
    constexpr int zones = sizeof fixedZones / sizeof *fixedZones;
    QRandomGenerator random(testSeed());
    for (const FixedZone &zone : fixedZones) {
        const LocalTimeZone local(QLatin1String(zone.name));
        for (int i = 0; i < count / zones; ++i) {
            // The number of digits is as random as the digits.
            const qint64 seconds = qint64(random.generate64()) >> (9 + random.bounded(54));
            if (seconds == 0 || qAbs(seconds) >= furthest)
                continue;
            QVERIFY2(
                Utils::getServerDateTime(seconds) == dateOfMoment(seconds, zone.offset),
                qPrintable(QStringLiteral("%1 in %2").arg(seconds).arg(QLatin1String(zone.name))));
        }
    }
}

void TestDates::nothingIsLogged()
{
    LogCapture log;
    Utils::getServerDateTime(86400);
    Utils::getServerDateTime(QStringLiteral("x"));
    Utils::getServerDateTime(maximum);
    QCOMPARE(log.takeLines(), QStringList());
}

SYNCSTATUS_TEST(TestDates)
#include "tst_dates.moc"
