// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTPLUGIN_H
#define TESTPLUGIN_H

#include <custompluginmanager/pluginbase.h>

/// A plugin that writes each call to standard output as "FILE: operation". FILE is the name of its
/// library without ".so". When the library is loaded, it writes "FILE: library loaded".
/// initialize() adds an object named FILE to the registry.
///
/// The environment variable TEST_PLUGINS makes an operation do something more. It has entries
/// "FILE.operation=behaviour", separated by blanks:
///   throw       throws std::runtime_error("no luck")
///   throw-int   throws an int
///   throw-foreign throws std::runtime_error("kein Glück")
///   refuse      (initialize) returns false with the reason "no luck"
///   refuse-silently (initialize) returns false with no reason
///   raise       sends the process SIGTERM
///   read-N      waits for a byte from another thread, which sends this thread the signal N first;
///               writes "FILE: has read 1" or "FILE: has read -1"
///   post        writes "FILE: event loop" from the event loop
///   raise-late  sends SIGTERM from the event loop, after 100 milliseconds in which the thread
///   waits spin-raise  does the same as spin, and sends SIGTERM from there spin        runs an
///   event loop of its own for 100 milliseconds clock       writes "FILE: at T", T in milliseconds
///   of a monotonic clock find-NAME   looks up NAME in the registry, and writes "FILE: found NAME"
///   or "FILE: no NAME" ask         asks SyncStatus in the registry and writes "FILE: online" or
///   "FILE: not online" offer-NAME  (commandOptions) offers the option --NAME, which takes a value;
///   further names of
///               the option follow commas
class TestPlugin : public custompluginmanager::PluginBase
{
    Q_OBJECT

public:
    TestPlugin();
    ~TestPlugin() override;

    bool initialize(QString *errorString) override;
    void extensionsInitialized() override;
    bool delayedInitialize() override;
    QList<QCommandLineOption> commandOptions() override;
    bool parseArgumentOptions(const QStringList &arguments) override;
    void aboutToShutdown() override;

private Q_SLOTS:
    static void inEventLoop();
    static void raiseLate();

private:
    void called(const char *operation);

    QObject m_offer;
};

#endif
