// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "answer.h"

#include <syncstatus/monitornetwork.h>

#include <QCoreApplication>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    return measureAnswer([] { return MonitorNetwork::getInstance()->getNetworkState(); });
}
