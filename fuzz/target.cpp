// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "target.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

void require(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "NOT TRUE: %s\n", what);
    std::abort();
}

QString textOf(const QByteArray &bytes)
{
    if (!bytes.startsWith('\0'))
        return QString::fromUtf8(bytes.constData(), bytes.size()); // NULs included
    QString text((bytes.size() - 1) / int(sizeof(QChar)), Qt::Uninitialized);
    std::memcpy(text.data(), bytes.constData() + 1, std::size_t(text.size()) * sizeof(QChar));
    return text;
}
