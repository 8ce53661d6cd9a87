// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "agentprocess.h"

#include "patience.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QProcessEnvironment>
#include <QTest>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

namespace {

QStringList split(const QByteArray &text)
{
    QStringList lines = QString::fromUtf8(text).split(QLatin1Char('\n'));
    lines.removeLast(); // what follows the last end of line
    return lines;
}

} // namespace

PluginFolder::PluginFolder(const QStringList &libraries)
{
    for (const QString &library : libraries)
        add(library, library + QLatin1String(".so"));
}

void PluginFolder::add(const QString &library, const QString &name)
{
    // No links: Qt loads what a link leads to, and the plugin would not know its own name.
    if (!QFile::copy(built(library), file(name)))
        qFatal("cannot make %s", qUtf8Printable(file(name)));
}

void PluginFolder::write(const QString &name, const QByteArray &content)
{
    QFile file(this->file(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qUtf8Printable(file.fileName()));
}

QString PluginFolder::built(const QString &library)
{
    return QLatin1String(TEST_PLUGIN_DIR "/") + library + QLatin1String(".so");
}

QStringList pluginDir(const PluginFolder &folder, const QStringList &more)
{
    return QStringList({s("--plugin-dir"), folder.path()}) + more;
}

Pipe::Pipe(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    if (mkfifo(name.constData(), 0600) != 0)
        qFatal("cannot make %s", name.constData());
    m_reader = open(name.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    m_writer = open(name.constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (m_reader < 0 || m_writer < 0 || fcntl(m_reader, F_SETPIPE_SZ, 4096) < 0)
        qFatal("cannot open %s", name.constData());
}

Pipe::~Pipe()
{
    close(m_reader);
    if (m_writer >= 0)
        close(m_writer);
}

void Pipe::fill()
{
    while (write(m_writer, "", 1) == 1) {
    }
}

bool Pipe::waitForText()
{
    pollfd reader{m_reader, POLLIN, 0};
    return poll(&reader, 1, patience) == 1;
}

void Pipe::drain()
{
    close(m_writer);
    m_writer = -1;
    pollfd reader{m_reader, POLLIN, 0};
    char buffer[4096];
    while (poll(&reader, 1, patience) == 1 && read(m_reader, buffer, sizeof buffer) > 0) {
    }
}

AgentProcess::AgentProcess()
{
    setLoggingRules(
        QStringLiteral("*=false;syncstatus.agent.warning=true;syncstatus.agent.critical=true"));
}

void AgentProcess::setEnvironment(const QString &name, const QString &value)
{
    QProcessEnvironment environment = m_process.processEnvironment();
    if (environment.isEmpty())
        environment = QProcessEnvironment::systemEnvironment();
    environment.insert(name, value);
    m_process.setProcessEnvironment(environment);
}

void AgentProcess::setBehaviour(const QString &behaviour)
{
    setEnvironment(QStringLiteral("TEST_PLUGINS"), behaviour);
}

void AgentProcess::setLoggingRules(const QString &rules)
{
    setEnvironment(QStringLiteral("QT_LOGGING_RULES"), rules);
}

void AgentProcess::setOutputFile(const QString &file)
{
    m_process.setStandardOutputFile(file);
}

void AgentProcess::setErrorFile(const QString &file)
{
    m_process.setStandardErrorFile(file);
}

void AgentProcess::start(const QStringList &arguments, const QString &program)
{
    m_process.start(program, arguments, QIODevice::ReadOnly);
    if (!m_process.waitForStarted())
        qFatal("cannot start the agent: %s", qUtf8Printable(m_process.errorString()));
}

bool AgentProcess::waitFor(const QString &line, int times)
{
    const QDeadlineTimer deadline(patience);
    while (output().count(line) < times) {
        if (!m_process.waitForReadyRead(int(deadline.remainingTime()))) {
            qWarning() << "no line" << line << "of" << output() << "and" << errors();
            return false;
        }
    }
    return true;
}

void AgentProcess::sendSignal(int number) const
{
    ::kill(pid_t(m_process.processId()), number);
}

int AgentProcess::exitStatus()
{
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(patience)) {
        qWarning() << "the agent does not end:" << output() << errors();
        return -1;
    }
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

int AgentProcess::run(const QStringList &arguments)
{
    start(arguments);
    return exitStatus();
}

int AgentProcess::terminate()
{
    sendSignal(SIGTERM);
    return exitStatus();
}

void AgentProcess::readAll()
{
    m_output += m_process.readAllStandardOutput();
    m_errors += m_process.readAllStandardError();
}

QStringList AgentProcess::output()
{
    readAll();
    return split(m_output);
}

QStringList AgentProcess::errors()
{
    readAll();
    return split(m_errors);
}

QStringList agentMessages(const QStringList &lines)
{
    QStringList messages;
    for (const QString &line : lines)
        messages += QLatin1String("syncstatus.agent: ") + line;
    return messages;
}
