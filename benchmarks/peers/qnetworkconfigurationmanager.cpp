// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#define QT_NO_DEPRECATED_WARNINGS // Qt 5's only class for this, deprecated since 5.15

#include "answer.h"

#include <QCoreApplication>
#include <QNetworkConfigurationManager>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    return measureAnswer([] { return QNetworkConfigurationManager().isOnline(); });
}
