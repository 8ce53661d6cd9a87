// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "testseed.h"

#include <QRandomGenerator>
#include <QtDebug>

quint32 testSeed()
{
    bool given = false;
    quint32 seed = qEnvironmentVariable("SYNCSTATUS_TEST_SEED").toUInt(&given);
    if (!given)
        seed = QRandomGenerator::global()->generate();
    qInfo("SYNCSTATUS_TEST_SEED=%u", seed);
    return seed;
}
