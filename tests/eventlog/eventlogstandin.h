// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef EVENTLOGSTANDIN_H
#define EVENTLOGSTANDIN_H

#include <string>

/// What the stand-in has been called with. It has one of these under the name "calls".
struct EventLogCalls
{
    int initialized = 0;
    std::string applicationName;
    bool synchronous = false;

    int written = 0;
    const std::string *recordAddress = nullptr;
    std::string record;
};

#endif
