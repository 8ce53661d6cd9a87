// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef SYNCSTATUSPLUGIN_P_H
#define SYNCSTATUSPLUGIN_P_H

#include "syncstatusimplement.h"

namespace syncstatus::internal {

class SyncStatusPluginPrivate
{
public:
    SyncStatusPluginPrivate() = default;
    ~SyncStatusPluginPrivate();
    Q_DISABLE_COPY(SyncStatusPluginPrivate)

    /// Adds the implementation object to the agent's registry.
    void initialize();

private:
    SyncStatusImplement implement;
};

} // namespace syncstatus::internal

#endif
