// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef OWNSPLITTING_H
#define OWNSPLITTING_H

#include <QByteArray>
#include <QStringList>

#include <functional>

/// This host has its own splitting facility: SecretkeySplit::recoverSecretKey() in its executable,
/// which the library finds before the framework's. It calls this function.
extern std::function<QByteArray(const QStringList &pieces)> recoverSecretKey;

#endif
