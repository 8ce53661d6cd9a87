// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Utils::getServerDateTime() of anything in any time zone. A plain calendar must give the same
// date. It has no daylight saving; for zones with it, the C library must give the same date.
//
// The first byte of the input selects the zone, the second the type of the time stamp. The rest is
// its value: a text, or the bytes of a number.

#include "target.h"

#include <syncstatus/utils.h>

#include <QVariant>

#include <networkjudges.h>
#include <time.h> // NOLINT(modernize-deprecated-headers): tzset is POSIX's

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <optional>

using utility::Utils;

namespace {

constexpr qint64 hour = 3600;

struct Zone
{
    const char *name; // in POSIX form: the offset from local time to UTC
    qint64 offset;    // seconds east of UTC
    bool hasSummerTime;
};
constexpr Zone zones[] = {{"UTC0", 0, false},
                          {"JST-9", 9 * hour, false},
                          {"IST-5:30", 5 * hour + hour / 2, false},
                          {"<-12>12", -12 * hour, false},
                          {"<+24>-24", 24 * hour, false},
                          {"<-24>24", -24 * hour, false},
                          {"EST5EDT,M3.2.0,M11.1.0", -5 * hour, true},
                          {"AEST-10AEDT,M10.1.0,M4.1.0/3", 10 * hour, true},
                          {"<-04>4<-03>,M10.1.0/0,M4.1.0/0", -4 * hour, true}};

template <typename Number>
Number numberIn(const QByteArray &bytes)
{
    Number number = {};
    std::memcpy(&number, bytes.constData(), std::min(sizeof number, std::size_t(bytes.size())));
    return number;
}

/// Rounds as QVariant does, which rounds the float just below 0.5 to 1.
template <typename Number>
std::optional<qint64> rounded(Number number)
{
    if (!(std::fabs(number) < Number(1e16))) // far beyond the range
        return {};
    return qRound64(number);
}

std::optional<qint64> secondsOf(const QString &text)
{
    const QString trimmed = text.trimmed();
    const bool isNegative = trimmed.startsWith(QLatin1Char('-'));
    const int first = isNegative || trimmed.startsWith(QLatin1Char('+')) ? 1 : 0;
    qint64 value = 0;
    for (int i = first; i < trimmed.size(); ++i) {
        const ushort c = trimmed.at(i).unicode();
        if (c < '0' || c > '9')
            return {};
        value = value * 10 + (c - '0');
        if (value > Q_INT64_C(100000000000000000)) // beyond the range
            return {};
    }
    return isNegative ? -value : value;
}

/// The date from the C library, for time stamps for which QDateTime asks it.
QString dateOfTheSystem(qint64 seconds)
{
    const time_t moment = seconds;
    tm fields = {};
    localtime_r(&moment, &fields);
    char date[sizeof "yyyy-MM-dd"] = "";
    strftime(date, sizeof date, "%Y-%m-%d", &fields);
    return QString::fromLatin1(date);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    if (size < 2)
        return 0;
    static const Zone *current = nullptr;
    const Zone &zone = zones[bytes[0] % std::size(zones)];
    if (&zone != current) {
        qputenv("TZ", zone.name);
        tzset();
        current = &zone;
    }

    const QByteArray rest(reinterpret_cast<const char *>(bytes + 2), int(size - 2));
    QVariant timestamp;
    std::optional<qint64> seconds;
    switch (bytes[1]) {
    case 't': {
        const QString text = textOf(rest);
        timestamp = text;
        seconds = secondsOf(text);
        break;
    }
    case 'b': {
        timestamp = rest;
        // A byte array's number ends at a NUL, as a C string does, and white space is ASCII's.
        QByteArray text = rest.left(int(std::strlen(rest.constData())));
        std::replace_if(
            text.begin(), text.end(), [](char c) { return uchar(c) >= 128; }, '?');
        seconds = secondsOf(QString::fromLatin1(text));
        break;
    }
    case 'i':
        timestamp = numberIn<int>(rest);
        seconds = numberIn<int>(rest);
        break;
    case 'l':
        timestamp = numberIn<qint64>(rest);
        seconds = numberIn<qint64>(rest);
        break;
    case 'u': {
        const auto number = numberIn<quint64>(rest);
        timestamp = number;
        if (number <= quint64(std::numeric_limits<qint64>::max()))
            seconds = qint64(number);
        break;
    }
    case 'f':
        timestamp = numberIn<float>(rest);
        seconds = rounded(numberIn<float>(rest));
        break;
    case 'd':
        timestamp = numberIn<double>(rest);
        seconds = rounded(numberIn<double>(rest));
        break;
    case 'a':
        timestamp = QVariantList{textOf(rest)}; // does not convert
        break;
    default: // null
        break;
    }

    const QString date = Utils::getServerDateTime(timestamp);
    constexpr qint64 furthest = 9'000'000'000'000'000; // from here on there is no date
    if (!seconds || *seconds == 0 || *seconds <= -furthest || *seconds >= furthest) {
        require(date.isEmpty(), "no date");
    } else if (!zone.hasSummerTime) {
        require(date == dateOfMoment(*seconds, zone.offset), "the calendar's date");
    } else if (*seconds > 0 && *seconds < 2145916800) { // to the end of 2037
        require(date == dateOfTheSystem(*seconds), "the C library's date");
    } else {
        // QDateTime has other rules than the C library, so the offset is not compared.
        require(date == dateOfMoment(*seconds, zone.offset) ||
                    date == dateOfMoment(*seconds, zone.offset + hour),
                "the calendar's date");
    }
    return 0;
}
