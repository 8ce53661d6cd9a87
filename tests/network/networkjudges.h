// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef NETWORKJUDGES_H
#define NETWORKJUDGES_H

#include <QString>
#include <QVector>

/// Second answers to what the network helpers are asked, for the tests and the fuzz targets. They
/// are found in another way than the helpers'.

/// Whether \a text is a dotted IPv4 address, without a regular expression.
inline bool isDottedQuad(const QString &text)
{
    int numbers = 1;
    int digits = 0;
    int value = 0;
    for (const QChar c : text) {
        if (c == QLatin1Char('.')) {
            if (digits == 0)
                return false;
            ++numbers;
            digits = value = 0;
        } else if (c >= QLatin1Char('0') && c <= QLatin1Char('9')) {
            value = value * 10 + (c.unicode() - '0');
            if (++digits > 3 || value > 255)
                return false;
        } else {
            return false;
        }
    }
    return numbers == 4 && digits > 0;
}

/// Whether two URLs are equal but for their schemes, case and the white space around them. Compares
/// them code point by code point from where each one's remainder begins.
class UrlJudge
{
public:
    static bool equal(const QString &first, const QString &second)
    {
        if (first == second)
            return true;
        const QVector<uint> one = codePoints(first);
        const QVector<uint> other = codePoints(second);
        auto oneAt = one.cbegin(), oneEnd = one.cend();
        auto otherAt = other.cbegin(), otherEnd = other.cend();
        return enter(oneAt, oneEnd) && enter(otherAt, otherEnd) &&
               lowered(oneAt, oneEnd) == lowered(otherAt, otherEnd);
    }

private:
    using Position = QVector<uint>::const_iterator;

    /// Unlike QString::toUcs4(), keeps the half of a surrogate pair as it is.
    static QVector<uint> codePoints(const QString &text)
    {
        QVector<uint> result;
        for (int i = 0; i < text.size(); ++i) {
            if (text.at(i).isHighSurrogate() && i + 1 < text.size() &&
                text.at(i + 1).isLowSurrogate()) {
                result << QChar::surrogateToUcs4(text.at(i), text.at(i + 1));
                ++i;
            } else {
                result << text.at(i).unicode();
            }
        }
        return result;
    }

    /// Unicode's property White_Space.
    static bool isSpace(uint c)
    {
        return (c >= 0x09 && c <= 0x0d) || c == 0x20 || c == 0x85 || c == 0xa0 || c == 0x1680 ||
               (c >= 0x2000 && c <= 0x200a) || c == 0x2028 || c == 0x2029 || c == 0x202f ||
               c == 0x205f || c == 0x3000;
    }

    static QVector<uint> lowered(Position begin, Position end)
    {
        QVector<uint> result;
        for (auto at = begin; at != end; ++at) {
            // The one character whose lower case is two.
            if (*at == 0x130)
                result << 'i' << 0x307;
            else
                result << QChar::toLower(*at);
        }
        return result;
    }

    /// Leaves out white space and the scheme; false when there is no scheme.
    static bool enter(Position &begin, Position &end)
    {
        while (begin != end && isSpace(*begin))
            ++begin;
        while (begin != end && isSpace(*(end - 1)))
            --end;
        const auto next = [&begin, end](char c) {
            if (begin == end || (*begin | (c >= 'a' ? 0x20U : 0U)) != uint(c))
                return false;
            ++begin;
            return true;
        };
        if (!next('h') || !next('t') || !next('t') || !next('p'))
            return false;
        next('s');
        return next(':') && next('/') && next('/');
    }
};

/// \a value divided by \a by, which is positive, and rounded down.
inline qint64 floorDivided(qint64 value, qint64 by)
{
    return value / by - (value % by < 0 ? 1 : 0);
}

/// The proleptic Gregorian calendar counted out, without a year 0.
inline QString dateOfDay(qint64 daysSince1970)
{
    // 400 years are 146097 days; count them and then years and months from March.
    const qint64 days = daysSince1970 + 719468;
    const qint64 era = floorDivided(days, 146097);
    const qint64 ofEra = days - era * 146097;
    const qint64 yearOfEra = (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / 146096) / 365;
    const qint64 ofYear = ofEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const qint64 month = (5 * ofYear + 2) / 153; // 0 is March
    const qint64 ofMonth = ofYear - (153 * month + 2) / 5 + 1;
    qint64 year = yearOfEra + era * 400 + (month >= 10 ? 1 : 0);
    if (year <= 0)
        --year;
    return QStringLiteral("%1%2-%3-%4")
        .arg(year < 0 ? QStringLiteral("-") : QString())
        .arg(qAbs(year), 4, 10, QLatin1Char('0'))
        .arg(month < 10 ? month + 3 : month - 9, 2, 10, QLatin1Char('0'))
        .arg(ofMonth, 2, 10, QLatin1Char('0'));
}

/// What \a seconds since 1970 are a date of. \a offset is the zone's, in seconds east of UTC.
inline QString dateOfMoment(qint64 seconds, qint64 offset)
{
    return dateOfDay(floorDivided(seconds + offset, 86400));
}

#endif
