// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef AGENTPROCESS_H
#define AGENTPROCESS_H

#include "childprocess.h"

#include <QStringList>
#include <QTemporaryDir>

inline QString s(const char *text)
{
    return QString::fromUtf8(text);
}

/// A folder to be given as --plugin-dir, with copies of test plugins in it.
class PluginFolder
{
public:
    /// With the test plugins \a libraries, without ".so".
    explicit PluginFolder(const QStringList &libraries = {});

    /// Adds the test plugin \a library under the name \a name.
    void add(const QString &library, const QString &name);
    /// Writes another file.
    void write(const QString &name, const QByteArray &content);

    [[nodiscard]] QString path() const { return m_directory.path(); }
    [[nodiscard]] QString file(const QString &name) const { return m_directory.filePath(name); }

    /// Where the test plugin \a library was built.
    static QString built(const QString &library);

private:
    QTemporaryDir m_directory;
};

/// Arguments that make the agent look into \a folder, and \a more.
QStringList pluginDir(const PluginFolder &folder, const QStringList &more = {});

/// A named pipe that takes little (4 KiB), held open at both ends.
class Pipe
{
public:
    explicit Pipe(const QString &path);
    ~Pipe();
    Q_DISABLE_COPY(Pipe)

    /// Writes into it until it takes no more.
    void fill();
    /// Waits until there is something to read. Returns false when nothing comes.
    bool waitForText();
    /// Reads and discards everything until no other process has the pipe open.
    void drain();

private:
    int m_reader;
    int m_writer;
};

/// The agent as a child process. It writes only its own warnings to standard error, unless
/// setLoggingRules() says otherwise.
class AgentProcess
{
public:
    AgentProcess();

    /// Tells the test plugins what to do: see plugins/testplugin.h.
    void setBehaviour(const QString &behaviour);
    void setLoggingRules(const QString &rules);
    void setEnvironment(const QString &name, const QString &value);
    /// Before start(): standard output goes into \a file.
    void setOutputFile(const QString &file);
    /// Before start(): standard error goes into \a file.
    void setErrorFile(const QString &file);

    /// Starts the agent, or a copy of it that is \a program.
    void start(const QStringList &arguments,
               const QString &program = QStringLiteral(AGENT_PROGRAM));
    /// Waits until standard output has \a line so many \a times. Returns false when the agent ends
    /// before, or when the line does not come.
    bool waitFor(const QString &line, int times = 1);
    /// Waits until all plugins have had the third phase and the agent has written its own view of
    /// the network. This is its last line at start; there is no system bus unless a test makes one.
    bool waitUntilUp() { return waitFor(QStringLiteral("online: not seen so far")); }
    void sendSignal(int number) const;
    /// Waits for the agent's end. Returns its exit status, or -1 when it crashed or did not end.
    int exitStatus();
    /// start() and exitStatus().
    int run(const QStringList &arguments);
    /// SIGTERM and exitStatus().
    int terminate();

    [[nodiscard]] qint64 processId() const { return m_process.processId(); }
    /// All lines so far.
    QStringList output();
    QStringList errors();

private:
    void readAll();

    ChildProcess m_process;
    QByteArray m_output;
    QByteArray m_errors;
};

/// "syncstatus.agent: " before each of \a lines.
QStringList agentMessages(const QStringList &lines);

#endif
