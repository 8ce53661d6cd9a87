// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#define QT_NO_DEPRECATED_WARNINGS // deprecated since Qt 5.15, and what Qt 5 itself offers

#include "answer.h"

#include <QCoreApplication>
#include <QNetworkConfigurationManager>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    return measureAnswer([] { return QNetworkConfigurationManager().isOnline(); });
}
