// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef FILESFIXTURE_H
#define FILESFIXTURE_H

#include "descriptors.h"
#include "logcapture.h"

#include <QElapsedTimer>
#include <QFile>
#include <QObject>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

/// Gives each test function a folder of its own and takes every line that is written: a function
/// that leaves one untaken, or a descriptor open, fails.
class FilesFixture : public QObject
{
    Q_OBJECT

protected:
    QString path(const QString &name) const { return m_directory->filePath(name); }
    QStringList takeLines() { return m_log->takeLines(); }

    /// Whether nothing in the test function has waited, on however busy a machine: what waits in
    /// FileManager does so for 30 seconds or for ever.
    bool isOverAtOnce() const { return m_timer.elapsed() < 15000; }

    // Beside the class under test, so that it is not its own judge.
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
