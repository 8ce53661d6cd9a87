// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Asks for the monitor after its holder's end: from an exit handler and from a static object's
// destructor. Both were registered before the monitor was made, so they run after its destruction.

#include <syncstatus/monitornetwork.h>

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

namespace {

void report(const char *when)
{
    std::printf("%s: %s\n", when, MonitorNetwork::getInstance() ? "monitor" : "null");
}

struct Late
{
    Late() = default;
    ~Late() { report("static destructor"); }
    Q_DISABLE_COPY(Late)
};

const Late late; // clazy:exclude=non-pod-global-static its destructor asks

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    if (std::atexit([] { report("exit handler"); }) != 0)
        return 1;
    report("main");
    return 0;
}
