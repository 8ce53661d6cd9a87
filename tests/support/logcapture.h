// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef LOGCAPTURE_H
#define LOGCAPTURE_H

#include <QString>
#include <QStringList>
#include <QVector>

#include <mutex>

struct LogRecord
{
    QtMsgType level;
    QString category;
    QString text;
    QString file;
    int line;
    QString function;
};

/// Takes every message of the process, from any thread and category, for as long as it lives.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    Q_DISABLE_COPY(LogCapture)

    /// What has been captured since the last take, oldest first.
    QVector<LogRecord> take();
    /// The same as "level category: text", for comparing level, category, whole text, order and
    /// count at once, for instance "warning org.corvel.license.agent: codestack:  serviceObject is
    /// empty".
    QStringList takeLines();

private:
    static void handle(QtMsgType level, const QMessageLogContext &context, const QString &text);

    std::mutex m_mutex; // which, unlike QMutex, the thread sanitizer sees
    QVector<LogRecord> m_records;
    QtMessageHandler m_previous;
};

/// A line of the library's category as takeLines() gives it.
QString agentDebug(const QString &text);
QString agentWarning(const QString &text);

#endif
