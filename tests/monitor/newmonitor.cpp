// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "newmonitor.h"

#include "logcapture.h"

#include <syncstatus/monitornetwork.h>

#include <QElapsedTimer>
#include <QTest>

QStringList linesOfNewMonitor(qint64 *blocked)
{
    LogCapture log;
    QElapsedTimer time;
    time.start();
    MonitorNetwork monitor(nullptr);
    const qint64 elapsed = time.elapsed();
    monitor.getNetworkState();
    if (elapsed > 20000) // of the 25 seconds of libdbus
        QTest::qFail("a call was waited for in vain", __FILE__, __LINE__);
    if (blocked)
        *blocked = elapsed;
    return log.takeLines();
}
