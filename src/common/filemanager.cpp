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

// Replaces a path with a NUL by the empty path, which every operation refuses. Qt would pass the
// part before the NUL to the system, which is another file, and QSettings would never return.
QString checkedPath(const QString &path)
{
    return path.contains(QChar::Null) ? QString() : path;
}

// Makes QSettings read the file again, with the writer's codec and under the lock of the write.
// QSettings keeps a file as this process last decoded it. After readIniConfigFile() it would write
// "ü" back as "Ã¼", also in groups that the caller does not change. ASCII is the same in both
// encodings, so the time stamp of such a file stays.
void moveTimeStamp(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly))
        return;
    const QByteArray content = file.readAll();
    if (std::all_of(content.cbegin(), content.cend(), [](char c) { return uchar(c) < 128; }))
        return;

    // Sets the present time, because everybody who may write the file may set that, and only its
    // owner another. If the file has just been changed, this can be the same time. File systems
    // tick every 10 ms or less, FAT every 2 s.
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
    // Deliberately not an else branch: this line ends every call, and people count calls by it.
    qCWarning(ll_agent) << "write IniConfigFile succeed";
}

QString FileManager::readIniConfigFile(const QString &filePath, const QString &group,
                                       const QString &key, const QString &defaultValue) noexcept
{
    // Deliberately without a codec, unlike the other two: this operation decodes as Qt does.
    const QSettings settings(checkedPath(filePath), QSettings::IniFormat);
    // One arg() for both: with two, the key would replace a group named "%2".
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
    // Unbuffered, so that write() notices a full disk: close() would write the rest of a buffer and
    // report no failure.
    if (!file.open(QIODevice::ReadWrite | QIODevice::Truncate | QIODevice::Unbuffered)) {
        qCWarning(ll_agent) << filePath << "----" << file.errorString();
        return false;
    }
    // Deliberately repeats what open() did. A fifo or a device refuses, which does not matter.
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
