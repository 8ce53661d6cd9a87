// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "ownsplitting.h"

#include <custompluginmanager/secretkeysplit.h>

std::function<QByteArray(const QStringList &)>
    recoverSecretKey; // clazy:exclude=non-pod-global-static

QByteArray SecretkeySplit::recoverSecretKey(const QStringList &pieces)
{
    return ::recoverSecretKey(pieces);
}
