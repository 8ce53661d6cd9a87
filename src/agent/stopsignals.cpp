// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "stopsignals.h"

#include <QSocketNotifier>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

// A pipe carries the signal's number from the handler to the event loop, because a handler may call
// only a few functions. Not a signalfd: that needs blocked signals. Every program that a plugin
// starts would inherit the block, and these signals could not stop it.

namespace {

int writeEnd = -1;

extern "C" void writeSignalNumber(int number)
{
    const int saved = errno;
    const auto byte = static_cast<unsigned char>(number);
    // It fails only if earlier signals fill the pipe, and those are enough.
    [[maybe_unused]] const auto written = write(writeEnd, &byte, sizeof byte);
    errno = saved;
}

} // namespace

StopSignals::StopSignals(QObject *parent) : QObject(parent)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        // GCOVR_EXCL_START: a test gets here, but a process that aborts leaves no counts.
        qFatal("cannot make a pipe for signals: %s", qUtf8Printable(qt_error_string(errno)));
    // GCOVR_EXCL_STOP
    writeEnd = ends[1];

    m_notifier = new QSocketNotifier(ends[0], QSocketNotifier::Read, this);
    m_notifier->setEnabled(false);
    connect(m_notifier, &QSocketNotifier::activated, this,
            [this, descriptor = ends[0]] { readPipe(descriptor); });
}

void StopSignals::hold()
{
    struct sigaction action = {};
    action.sa_handler = writeSignalNumber;
    action.sa_flags = SA_RESTART | SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

void StopSignals::deliver()
{
    m_notifier->setEnabled(true);
}

void StopSignals::readPipe(int descriptor)
{
    unsigned char number = 0;
    if (read(descriptor, &number, sizeof number) == sizeof number)
        Q_EMIT received(number);
}
