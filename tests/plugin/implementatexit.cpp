// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Asks the implementation object for the monitor, and again after the end of the monitor's holder:
// from an exit handler. It was registered before the monitor was made, so it runs after its
// destruction.

#include "barehost.h"

#include <QCoreApplication>
#include <QPluginLoader>

#include <cstdio>
#include <cstdlib>

using custompluginmanager::PluginBase;

namespace {

PluginBase *plugin = nullptr;
QObject *implement = nullptr;

void report(const char *when)
{
    QObject *monitor = nullptr;
    bool online = false;
    const bool asked =
        QMetaObject::invokeMethod(
            implement, "networkMonitor", Qt::DirectConnection,
            Q_RETURN_ARG(QObject *, monitor)) && // clazy:exclude=connect-not-normalized
        QMetaObject::invokeMethod(implement, "getNetworkState", Q_RETURN_ARG(bool, online));
    if (!asked)
        std::printf("%s: not answered\n", when);
    else
        std::printf("%s: %s, %s\n", when, monitor ? "monitor" : "no monitor",
                    online ? "online" : "not online");
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    barehost::takeCalls(); // makes the record, which so outlives the exit handler
    const auto atExit = [] {
        report("exit handler");
        delete plugin;
    };
    if (std::atexit(atExit) != 0)
        return 1;
    QPluginLoader loader(QStringLiteral(SYNCSTATUS_PLUGIN_FILE));
    plugin = qobject_cast<PluginBase *>(loader.instance());
    if (!plugin || !plugin->initialize(nullptr)) {
        std::fprintf(stderr, "%s\n", qPrintable(loader.errorString()));
        std::_Exit(1);
    }
    implement = barehost::lastImplement();
    report("main");
    return 0;
}
