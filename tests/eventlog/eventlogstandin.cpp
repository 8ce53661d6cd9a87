// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "eventlogstandin.h"

#define STANDIN_EXPORT extern "C" __attribute__((visibility("default")))

STANDIN_EXPORT EventLogCalls calls;
EventLogCalls calls;

#ifdef STANDIN_HAS_Initialize
STANDIN_EXPORT bool Initialize(const std::string &applicationName, bool synchronous)
{
    ++calls.initialized;
    calls.applicationName = applicationName;
    calls.synchronous = synchronous;
    return false;
}
#endif

#ifdef STANDIN_HAS_WriteEventLog
STANDIN_EXPORT bool WriteEventLog(const std::string &record)
{
    ++calls.written;
    calls.recordAddress = &record;
    calls.record = record;
    return false;
}
#endif
