// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTPLUGIN_H
#define TESTPLUGIN_H

#include <custompluginmanager/pluginbase.h>

/// A plugin that writes every call to standard output as "FILE: operation", where FILE is the name
/// of its library without ".so"; also "FILE: library loaded" when its library is. initialize() adds
/// an object named FILE to the registry.
///
/// The variable TEST_PLUGINS in the environment, "FILE.operation=behaviour" separated by blanks,
/// tells an operation to do something after that:
///   throw       throws std::runtime_error("no luck")
///   throw-int   throws an int
///   throw-foreign throws std::runtime_error("kein Glück")
///   refuse      (initialize) returns false with the reason "no luck"
///   refuse-silently (initialize) returns false with no reason
///   raise       sends the process SIGTERM
///   read-N      waits for another thread to write a byte, which before sends this one the signal
///   N;
///               writes "FILE: has read 1" or "FILE: has read -1"
///   post        writes "FILE: event loop" from the event loop
///   raise-late  sends it from the event loop, after 100 milliseconds in which nothing else is done
///   spin-raise  does what spin does, and sends it from there
///   spin        runs an event loop of its own for 100 milliseconds
///   clock       writes "FILE: at T", T in milliseconds of a monotonic clock
///   find-NAME   writes "FILE: found NAME" or "FILE: no NAME", as the registry has it
///   ask         asks SyncStatus in the registry and writes "FILE: online" or "FILE: not online"
///   offer-NAME  (commandOptions) offers the option --NAME, which takes a value; more names of it
///               behind commas
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
