// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Utils::compareUrlIgnoreHttpPrefix() on any two texts, or on a text and a variation of it. A
// comparison of single code points must give the same answer, in both orders.

#include "target.h"

#include <syncstatus/utils.h>

#include <networkjudges.h>

using utility::Utils;

namespace {

/// Separates the two texts.
constexpr char separator = '\x1f';

/// \a url with the other scheme, every second letter in the other case, and white space around it.
QString varied(QString url)
{
    const QLatin1String http("http://");
    const QLatin1String https("https://");
    if (url.startsWith(http))
        url.replace(0, http.size(), https);
    else if (url.startsWith(https))
        url.replace(0, https.size(), http);
    for (int i = 0; i < url.size(); i += 2)
        url[i] = url.at(i).isLower() ? url.at(i).toUpper() : url.at(i).toLower();
    return QLatin1Char('\n') + url + QChar(0x2003);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(bytes), int(size));
    const int at = input.indexOf(separator);
    const QString one = textOf(input.left(at));
    const QString other = at < 0 ? varied(one) : textOf(input.mid(at + 1));

    const bool equal = Utils::compareUrlIgnoreHttpPrefix(one, other);
    require(equal == UrlJudge::equal(one, other), "the second formulation's answer");
    require(equal == Utils::compareUrlIgnoreHttpPrefix(other, one), "in either order");
    require(Utils::compareUrlIgnoreHttpPrefix(one, one), "equal to itself");
    return 0;
}
