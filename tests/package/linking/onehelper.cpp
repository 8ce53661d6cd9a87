// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Calls one helper, and nothing of the framework or libcrypto.

#include <syncstatus/utils.h>

#include <QString>

int main()
{
    return utility::Utils::isValidIp(QStringLiteral("192.0.2.1")) ? 0 : 1;
}
