// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef FILEMANAGER_H
#define FILEMANAGER_H

#include <syncstatus/syncstatus_export.h>

#include <QByteArray>
#include <QJsonDocument>
#include <QMap>
#include <QString>
#include <QVariant>

namespace systemFileManager {

/// Reads and writes INI settings files, whole files and JSON text. Each operation handles one file
/// or one text.
///
/// \code
/// using systemFileManager::FileManager;
/// FileManager::writeIniConfigFile({{"proxy", {{"port", "1080"}}}}, "agent.conf");
/// const QString port = FileManager::readIniConfigFile("agent.conf", "proxy", "port", "0");
///
/// QJsonDocument document;
/// if (FileManager::parseJson(FileManager::readFile("agent.json"), document))
///     qDebug() << port << FileManager::parseJsonData(document).value("name");
/// \endcode
///
/// - Threads: any, several at once. Threads that use the same file are not coordinated.
/// - Blocking: on the file system, without a time-out.
/// - Failure: the result that each operation names.
/// - Logging: warnings of the category "org.corvel.license.agent", only where a line is named.
///
/// Paths are Qt's: a relative path starts at the current directory, ":/name" is a resource, and
/// QDir's search paths apply. An empty path, or one with a NUL, is a failure. New files have mode
/// 0666 less the umask, new directories 0777.
///
/// INI files must be **trusted**: a crafted value ends the process. They must be ASCII or UTF-8. If
/// values are not ASCII, use only one of the two readers in a process, in one thread at a time.
/// Names, encodings, locks and full disks: docs/ini-files.md.
class SYNCSTATUS_EXPORT FileManager
{
public:
    FileManager() = delete;

    /// Sets each key of \a config (group -> key -> value) in the INI file \a filePath. Keeps the
    /// other keys. Makes the file and missing directories.
    ///
    /// **Only the log reports a failure**: "write IniConfigFile fail: " and the QSettings::Status.
    /// The line "write IniConfigFile succeed" ends every call, also a failed one.
    ///
    /// Waits without limit while another process holds the file's lock, "<filePath>.lock".
    static void writeIniConfigFile(const QMap<QString, QMap<QString, QVariant>> &config,
                                   const QString &filePath) noexcept;

    /// The value of \a key in \a group as text, or \a defaultValue if the key is missing or the
    /// file cannot be read. **Decodes UTF-8 as Latin-1**: "ü" comes back as "Ã¼".
    static QString readIniConfigFile(const QString &filePath, const QString &group,
                                     const QString &key, const QString &defaultValue) noexcept;

    /// All keys of \a group with their values, decoded as UTF-8. A key "k" of a nested group "sub"
    /// comes as "sub/k". The group "" is the whole file. Empty if the group is missing or the file
    /// cannot be read.
    static QMap<QString, QString> readSettingFile(const QString &filePath,
                                                  const QString &group) noexcept;

    /// All bytes of \a filePath. Waits for the writers of a fifo.
    ///
    /// Empty if the file cannot be opened; logs the path, "----" and the system's error text. Empty
    /// without a line if the file is empty or has 2 GiB or more. A read error ends the data there.
    static QByteArray readFile(const QString &filePath) noexcept;

    /// Makes \a data the whole content of \a filePath. Makes the file, but no directory. Writes in
    /// place: mode, owner and hard links stay, and other readers can see a part. Does not fsync. A
    /// write to a fifo waits for its reader while the pipe is full.
    ///
    /// Returns true if \a data is empty or the system has taken any of it: **a disk that fills up
    /// midway is a success**. Returns false if the file cannot be opened for reading and writing;
    /// logs the path, "----" and the system's error text. Returns false if nothing could be
    /// written; logs the path and " write error!", and the old content is lost.
    static bool writeFile(const QByteArray &data, const QString &filePath) noexcept;

    /// Whether a file or directory is at \a filePath. A dangling symbolic link counts as missing.
    /// Logs the path and " non-existent." before it returns false.
    static bool isFileExist(const QString &filePath) noexcept;

    /// Makes the directory \a dirPath with its missing parents. Returns true if it is there at the
    /// end, or if **a file of any kind** was there before.
    static bool checkPath(const QString &dirPath) noexcept;

    /// Removes the file, fifo or symbolic link at \a filePath. Returns false if there is none, if
    /// it is a directory, or if the system refuses.
    static bool removeFile(const QString &filePath) noexcept;

    /// Parses \a data, a JSON object or array in UTF-8, with QJsonDocument.
    ///
    /// Returns false and leaves \a document untouched if \a data is empty or no such text. Logs
    /// "fileData isEmpty :" for empty data, else "json data error :" with Qt's error text.
    static bool parseJson(const QByteArray &data, QJsonDocument &document) noexcept;

    /// The object in \a document: nested objects as QVariantMap, arrays as QVariantList, numbers as
    /// double or qlonglong. Empty for an array or a null document.
    static QMap<QString, QVariant> parseJsonData(const QJsonDocument &document) noexcept;

    /// Parses \a data as parseJson() does. Returns a null document if it is empty or no such text,
    /// and logs "QJsonParseError " with Qt's error text.
    static QJsonDocument transQBytearrayToJsonDocument(const QByteArray &data) noexcept;
};

} // namespace systemFileManager

#endif
