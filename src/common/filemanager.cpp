// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filemanager.h"

#include "agentlog.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QJsonParseError>
#include <QSettings>
#include <QThread>

#include <sys/stat.h>

#include <algorithm>

namespace systemFileManager {

namespace {

// Qt hands a path to the system only up to its first NUL, so that another file would be read or
// overwritten, and QSettings never returns from one. All of them refuse the empty path.
QString checkedPath(const QString &path)
{
    return path.contains(QChar::Null) ? QString() : path;
}

// QSettings keeps a file as this process last decoded it. Where that was readIniConfigFile's work,
// a write would put "ü" back as "Ã¼", in groups that nobody asked to change. A file whose time
// stamp has moved is read again, with the writer's codec and under the lock of the write. ASCII is
// the same in both, and its time stamp stays.
void moveTimeStamp(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly))
        return;
    const QByteArray content = file.readAll();
    if (std::all_of(content.cbegin(), content.cend(), [](char c) { return uchar(c) < 128; }))
        return;

    // The present, because whoever may write the file may set that; any other time only its owner
    // may. It is the same time still where the file has just been changed: file systems tick, every
    // 10 ms at most as a rule, every 2 s on FAT.
    const QDateTime before = QFileInfo(path).lastModified(); // as QSettings compares it
    const QDeadlineTimer giveUp(3000);
    while (::futimens(file.handle(), nullptr) == 0 && QFileInfo(path).lastModified() == before &&
           !giveUp.hasExpired())
        QThread::msleep(1);
}

} // namespace

void FileManager::writeIniConfigFile(const QMap<QString, QVariantMap> &config,
                                     const QString &filePath) noexcept
{
    const QString path = checkedPath(filePath);
    QSettings settings(path, QSettings::IniFormat);
    settings.setIniCodec("UTF-8");
    bool changes = false;
    for (auto group = config.cbegin(); group != config.cend(); ++group) {
        settings.beginGroup(group.key());
        for (auto entry = group->cbegin(); entry != group->cend(); ++entry) {
            settings.setValue(entry.key(), entry.value());
            changes = true;
        }
        settings.endGroup();
    }
    if (changes)
        moveTimeStamp(path);
    settings.sync();
    const QSettings::Status status = settings.status();
    if (status != QSettings::NoError)
        qCWarning(ll_agent) << "write IniConfigFile fail: " << status;
    // Not an else branch: this line ends every call, and whoever counts calls by it must find it.
    qCWarning(ll_agent) << "write IniConfigFile succeed";
}

QString FileManager::readIniConfigFile(const QString &filePath, const QString &group,
                                       const QString &key, const QString &defaultValue) noexcept
{
    // No codec, unlike the other two: callers' files are read with Qt's own INI decoding.
    const QSettings settings(checkedPath(filePath), QSettings::IniFormat);
    // Both at once: filled one after the other, a group named "%2" would take the key's place.
    return settings.value(QStringLiteral("%1/%2").arg(group, key), defaultValue).toString();
}

QMap<QString, QString> FileManager::readSettingFile(const QString &filePath,
                                                    const QString &group) noexcept
{
    QSettings settings(checkedPath(filePath), QSettings::IniFormat);
    settings.setIniCodec("UTF8");
    settings.beginGroup(group);
    QMap<QString, QString> values;
    const QStringList keys = settings.allKeys();
    for (const QString &key : keys)
        values.insert(key, settings.value(key, QString()).toString());
    settings.endGroup();
    return values;
}

QByteArray FileManager::readFile(const QString &filePath) noexcept
{
    QFile file(checkedPath(filePath));
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(ll_agent) << filePath << "----" << file.errorString();
        return {};
    }
    return file.readAll();
}

bool FileManager::writeFile(const QByteArray &data, const QString &filePath) noexcept
{
    QFile file(checkedPath(filePath));
    // Unbuffered, so that write() itself meets a full disk: what a buffer holds is written by
    // close(), whose failure nobody sees.
    if (!file.open(QIODevice::ReadWrite | QIODevice::Truncate | QIODevice::Unbuffered)) {
        qCWarning(ll_agent) << filePath << "----" << file.errorString();
        return false;
    }
    // Repeats what open() has asked for, on purpose. A fifo or a device refuses, and is written to
    // all the same.
    file.resize(0);
    if (file.write(data) == -1) {
        qCWarning(ll_agent) << filePath << " write error!";
        return false;
    }
    return true;
}

bool FileManager::isFileExist(const QString &filePath) noexcept
{
    if (QFile::exists(checkedPath(filePath)))
        return true;
    qCWarning(ll_agent) << filePath << " non-existent.";
    return false;
}

bool FileManager::checkPath(const QString &dirPath) noexcept
{
    const QDir dir{QString()};
    const QString path = checkedPath(dirPath);
    return dir.exists(path) || dir.mkpath(path);
}

bool FileManager::removeFile(const QString &filePath) noexcept
{
    return QFile::remove(checkedPath(filePath));
}

bool FileManager::parseJson(const QByteArray &data, QJsonDocument &document) noexcept
{
    if (data.isEmpty()) {
        qCWarning(ll_agent) << "fileData isEmpty :";
        return false;
    }
    QJsonParseError error;
    const QJsonDocument parsed = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError) {
        qCWarning(ll_agent) << "json data error :" << error.errorString();
        return false;
    }
    document = parsed;
    return true;
}

QVariantMap FileManager::parseJsonData(const QJsonDocument &document) noexcept
{
    return document.object().toVariantMap();
}

QJsonDocument FileManager::transQBytearrayToJsonDocument(const QByteArray &data) noexcept
{
    QJsonParseError error;
    QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError)
        qCWarning(ll_agent) << "QJsonParseError " << error.errorString();
    return document;
}

} // namespace systemFileManager
