// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef PLUGINFIXTURE_H
#define PLUGINFIXTURE_H

#include "barehost.h"
#include "logcapture.h"

#include <QLibrary>
#include <QPluginLoader>
#include <QScopedPointer>

#include <atomic>

/// The plugin file that the build has made.
QString pluginFile();

/// The logging categories that have been made since the test function began, in any thread.
struct CategoriesMade
{
    std::atomic<int> ours{0};
    std::atomic<int> others{0};
    // The levels of ours, without the rules of the tests.
    std::atomic<bool> writesDebug{false};
    std::atomic<bool> writesInfo{false};
};

extern CategoriesMade categoriesMade;

/// The plugin as a host sees it that knows only the binary interface: loaded, driven and deleted
/// through QPluginLoader, in a process that has the framework in its executable. Before and after
/// each test function the library is not loaded.
class PluginFixture : public QObject
{
    Q_OBJECT

protected:
    custompluginmanager::PluginBase *load();
    /// The host's record of a call for the implementation object: "add" or "remove".
    static QString callOf(const char *operation);

    QScopedPointer<QPluginLoader> m_loader;
    QScopedPointer<QLibrary> m_library; // the same file, for its entry points
    QScopedPointer<LogCapture> m_log;

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
};

#endif
