// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logcapture.h"

#include <utility>

namespace {

LogCapture *current = nullptr;

QString levelName(QtMsgType level)
{
    switch (level) {
    case QtDebugMsg:
        return QStringLiteral("debug");
    case QtInfoMsg:
        return QStringLiteral("info");
    case QtWarningMsg:
        return QStringLiteral("warning");
    case QtCriticalMsg:
        return QStringLiteral("critical");
    case QtFatalMsg:
        return QStringLiteral("fatal");
    }
    return QString();
}

} // namespace

LogCapture::LogCapture()
{
    Q_ASSERT(!current);
    current = this;
    m_previous = qInstallMessageHandler(handle);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(m_previous);
    current = nullptr;
}

void LogCapture::handle(QtMsgType level, const QMessageLogContext &context, const QString &text)
{
    const std::lock_guard locker(current->m_mutex);
    current->m_records.append({level, QString::fromUtf8(context.category), text,
                               QString::fromUtf8(context.file), context.line,
                               QString::fromUtf8(context.function)});
}

QVector<LogRecord> LogCapture::take()
{
    const std::lock_guard locker(m_mutex);
    return std::exchange(m_records, {});
}

QStringList LogCapture::takeLines()
{
    QStringList lines;
    const auto records = take();
    for (const LogRecord &record : records)
        lines += levelName(record.level) + QLatin1Char(' ') + record.category +
                 QLatin1String(": ") + record.text;
    return lines;
}

QString agentDebug(const QString &text)
{
    return QLatin1String("debug org.corvel.license.agent: ") + text;
}

QString agentWarning(const QString &text)
{
    return QLatin1String("warning org.corvel.license.agent: ") + text;
}
