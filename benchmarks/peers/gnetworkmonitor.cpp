// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "answer.h"

#include <gio/gio.h>

int main()
{
    return measureAnswer(
        [] { return g_network_monitor_get_network_available(g_network_monitor_get_default()); });
}
