// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "newfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

#include <cerrno>
#include <cstdio>

NewFile::NewFile(const QString &path, bool replace)
    : m_path(path), m_replace(replace), m_file(path + QLatin1String(".XXXXXX"))
{
}

bool NewFile::open()
{
    const QFileInfo target(m_path);
    // A symbolic link that leads nowhere takes the name as well.
    if (!m_replace && (target.exists() || target.isSymLink()))
        return fail(QStringLiteral("exists already (--force replaces it)"));
    if (target.isDir())
        return fail(QStringLiteral("is a directory"));
    return m_file.open() || fail(m_file.errorString());
}

int NewFile::descriptor() const
{
    return m_file.handle();
}

bool NewFile::write(const QByteArray &bytes)
{
    return (m_file.write(bytes) == bytes.size() && m_file.flush()) || fail(m_file.errorString());
}

bool NewFile::publish()
{
    return m_file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                 QFileDevice::ReadGroup | QFileDevice::ReadOther) ||
           fail(m_file.errorString());
}

bool NewFile::commit()
{
    if (fsync(m_file.handle()) != 0)
        return fail(qt_error_string(errno));
    if (!m_replace && !m_file.rename(m_path))
        return fail(m_file.errorString());
    if (m_replace && std::rename(QFile::encodeName(m_file.fileName()).constData(),
                                 QFile::encodeName(m_path).constData()) != 0)
        return fail(qt_error_string(errno));
    m_file.setAutoRemove(false);
    return true;
}

bool NewFile::isSameAs(const NewFile &other) const
{
    const QFileInfo mine(m_path);
    const QFileInfo others(other.m_path);
    const QString directory = mine.dir().canonicalPath(); // empty when there is none
    return mine.fileName() == others.fileName() && !directory.isEmpty() &&
           directory == others.dir().canonicalPath();
}

QString NewFile::errorString() const
{
    return m_error;
}

bool NewFile::fail(const QString &reason)
{
    m_error = m_path + QLatin1String(": ") + reason;
    return false;
}
