// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef FILESFIXTURE_H
#define FILESFIXTURE_H

#include "descriptors.h"
#include "logcapture.h"

#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QObject>
#include <QTemporaryDir>
#include <QTest>
#include <QVariant>

#include <optional>

/// What is written to an INI file, and what is read of one group.
using Config = QMap<QString, QVariantMap>;
using Values = QMap<QString, QString>;

inline QString latin1(const char *text)
{
    return QString::fromLatin1(text);
}

/// The lines of an INI file that could be written, and of one that could not.
inline QStringList succeeded()
{
    return {agentWarning(latin1("write IniConfigFile succeed"))};
}
inline QStringList failed(const char *status)
{
    return QStringList{agentWarning(latin1("write IniConfigFile fail:  QSettings::") + status)} +
           succeeded();
}

/// The lines of a file that could not be opened, not be written, not be found.
inline QStringList openError(const QString &path, const QString &reason)
{
    return {agentWarning(QStringLiteral("\"%1\" ---- \"%2\"").arg(path, reason))};
}
inline QStringList writeError(const QString &path)
{
    return {agentWarning(QStringLiteral("\"%1\"  write error!").arg(path))};
}
inline QStringList nonExistent(const QString &path)
{
    return {agentWarning(QStringLiteral("\"%1\"  non-existent.").arg(path))};
}

/// Gives each test function a folder and takes every line that is written. A function that leaves
/// a line untaken, or a descriptor open, fails.
class FilesFixture : public QObject
{
    Q_OBJECT

protected:
    QString path(const QString &name) const { return m_directory->filePath(name); }
    QStringList takeLines() { return m_log->takeLines(); }

    /// Whether nothing in the test function has waited, on however busy a machine: what waits in
    /// FileManager does so for 30 seconds or for ever.
    bool isOverAtOnce() const { return m_timer.elapsed() < 15000; }

    // Not by the class under test, which would be its own judge.
    static QByteArray contentOf(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : "cannot be opened";
    }
    static bool store(const QString &path, const QByteArray &content)
    {
        QFile file(path);
        return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
               file.write(content) == content.size() && file.flush();
    }

private Q_SLOTS:
    void init()
    {
        m_directory.emplace();
        QVERIFY2(m_directory->isValid(), qPrintable(m_directory->errorString()));
        m_log.emplace();
        m_descriptors = openDescriptors();
        m_timer.start();
    }
    void cleanup()
    {
        const QStringList lines = m_log->takeLines();
        m_log.reset();
        m_directory.reset();
        QCOMPARE(lines, QStringList());
        QCOMPARE(openDescriptors(), m_descriptors);
    }

private:
    std::optional<QTemporaryDir> m_directory;
    std::optional<LogCapture> m_log;
    int m_descriptors = 0;
    QElapsedTimer m_timer;
};

#endif
