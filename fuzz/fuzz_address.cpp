// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Utils::isValidIp() on any text. A plain parser must give the same answer, and so must inet_pton()
// after leading zeros are removed.

#include "target.h"

#include <syncstatus/utils.h>

#include <QStringList>

#include <arpa/inet.h>
#include <networkjudges.h>

using utility::Utils;

namespace {

bool systemTakes(const QString &text)
{
    const QByteArray plain = text.toUtf8();
    in_addr address = {};
    return !plain.contains('\0') && inet_pton(AF_INET, plain.constData(), &address) == 1;
}

QString withoutLeadingZeros(const QString &text)
{
    QStringList numbers = text.split(QLatin1Char('.'));
    for (QString &number : numbers) {
        while (number.size() > 1 && number.startsWith(QLatin1Char('0')))
            number.remove(0, 1);
    }
    return numbers.join(QLatin1Char('.'));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    const QString text = textOf(QByteArray(reinterpret_cast<const char *>(bytes), int(size)));
    const bool isValid = Utils::isValidIp(text);
    require(isValid == isDottedQuad(text), "the parser's answer");
    require(!isValid || systemTakes(withoutLeadingZeros(text)), "the system accepts it");
    require(isValid || !systemTakes(text), "the system does not accept it");
    return 0;
}
