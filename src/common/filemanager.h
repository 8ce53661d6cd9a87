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

/// INI settings files, whole files and JSON text, one file or one text a call.
///
/// Paths reach Qt as they are given: ":/name" is a resource, and "prefix:name" is looked for in the
/// folders of QDir::setSearchPaths(). A relative path is resolved against the process's current
/// directory; write "./:name" for a file whose name begins with a colon. Names reach the system in
/// the locale's encoding (UTF-8 on every current distribution). A path that is empty or holds a NUL
/// gives the operation's failure result; Qt may then add a line in the category "default".
///
/// Failures come back as results.
///
/// Threads: the class has no state; any thread may call any operation, also several at once.
/// Threads that work on one file at once are not coordinated. An INI file keeps all keys then, but
/// its values must be ASCII: QSettings lets a thread that opens the file, to read or to write,
/// write out what another has just set, before the file's encoding has been named, and other text
/// is spoilt in the file. Where values are not ASCII, let one thread at a time use a file.
///
/// Blocking: an operation on a file takes as long as the file system does, and none has a time-out.
/// What may wait for longer is said with the operation. The JSON operations wait for nothing.
///
/// Logging: every line is a warning of the category "org.corvel.license.agent" with the text given
/// below, paths and error texts in double quotes. Operations without a text write none.
///
/// INI files
/// ---------
/// The format is that of QSettings::IniFormat.
///
/// - **Names.** The file escapes every character of a group's or key's name but ASCII letters,
///   digits, "_", "-" and "." as "%XX" or "%UXXXX", so names need no encoding. Bytes above 127 in a
///   name that another program wrote are taken for Latin-1 by all three operations, and a write
///   puts escapes in their place: "ü" in UTF-8 becomes "%C3%BC" in the file. Names are
///   case-sensitive. A slash in a group's name ends the section's name: the group "a/b" with the
///   key "k" is the line `b\k=` in the section "[a]". Slashes at the ends of a name, and all but
///   one of several together, do not count.
/// - **No group.** The group "" stands for the section "[General]" and for what comes before the
///   first section. A group that is really named "General" is the section "[%General]", and so is
///   one named "general" or the like, which comes back as "General"; a key that is there already
///   keeps its value then.
/// - **Slashes in the file.** A section "[a/b]" or "[a\b]" and a key `a\b` of no group, which only
///   other programs write, may keep readIniConfigFile() from finding them and the keys of "[a]":
///   QSettings looks for them in the wrong section until something has made it read the whole file.
///   readSettingFile() finds them.
/// - **Values.** Written as UTF-8, quoted and escaped as needed. A value that another program wrote
///   with an unquoted comma is a list to QSettings, and no string: it is read as "". So are lists
///   and other types without a text form (for instance QSize) that were written here.
/// - **Beyond U+FFFF.** Qt 5's QSettings drops every such character (emoji, rare CJK ideographs)
///   from the values that it writes, also from those that were in the file already. What is left
///   may mean something else: it is a type when it begins with "@" now, and a digit behind a
///   control character goes into that one's escape. Reading gives such characters, but drops a
///   U+FEFF that begins a value or follows an escape in it.
/// - **Encoding.** writeIniConfigFile() and readSettingFile() take values for UTF-8.
///   readIniConfigFile() takes each byte for one Latin-1 character: "ü", stored as UTF-8, is "Ã¼"
///   to it. Text that must survive it is ASCII or written as `\xfc` escapes. Bytes that are no
///   UTF-8, such as a Latin-1 "ü" that another program stored, are U+FFFD to the first two, and **a
///   write puts U+FFFD in the file in their place**, in every group: give these two UTF-8 files
///   only.
/// - **A byte order mark** (of UTF-8) makes readIniConfigFile() take values for UTF-8 too, but only
///   in the call that reads the file; later ones have it from memory (see Cache) and take sections
///   that no call has used yet for Latin-1. A write leaves the mark out, keeps the rest and reports
///   QSettings::FormatError. Where the mark stands before a key, not before a section or a comment,
///   it counts as the first three characters of the key's name ("ï»¿"), and is kept as such.
/// - **Cache.** QSettings keeps a few recently used files of up to about 80 keys in memory,
///   decoded, and reads such a file again only when its size or its modification time (in
///   milliseconds) has changed. A section stays decoded as by the operation that first used it
///   since then; after writeIniConfigFile() every section is decoded as UTF-8. So in one process
///   readIniConfigFile() may give "ü" for what writeIniConfigFile() has just written there, and
///   readSettingFile() gives "Ã¼" for a section that readIniConfigFile() was the first to read. Use
///   one reader for one file, or keep to ASCII. The writer is immune: of a file that has other
///   bytes than ASCII it first sets the modification time to the present, so that its own pass
///   reads the file anew and never puts back what the other reader made of it. The new time stays
///   when the write then ends in an AccessError. On a file that has been changed a moment before,
///   it waits for the next tick of the file system's clock, up to 10 ms as a rule and 2 s on FAT.
/// - **A full disk.** Where there is no room for the lock or for the bulk of the new file, the old
///   file stays as it was and the status is QSettings::AccessError. Qt 5 does not notice when the
///   room ends within the last 16 KiB, or within one value longer than that: the new file is cut
///   off there, a short one is empty, it replaces the old one, and the status is
///   QSettings::NoError.
/// - **A damaged file** is read as far as it can be made out. A write to it leaves out the lines
///   that are no `key=value` and reports QSettings::FormatError. What has no name is not found: a
///   line `=value` (of no group, it makes Qt write a line on "default"), and the keys of a section
///   "[]" until a write has made them keys of no group. Lines that begin with "#" are such
///   lines; ";" begins a comment, which a write leaves out of any file. A quote that is not closed
///   counts as no damage: it makes the rest of the file a part of its value.
/// - **Trust.** A value `@Variant(...)` is any Qt value in serialised form, and QSettings restores
///   it when the file is read or written. One that was made to harm asks for more memory than there
///   is or nests until the stack is full, and ends the process either way. Use these operations on
///   files that only trusted users can write.
/// - **Writers.** A write takes the lock "<path>.lock", reads the file again, adds its keys and
///   puts a whole new file in place of the old one. Promised to processes that write one file at
///   once: readers and writers see a whole file at any moment, and keys of different names are all
///   there at the end. Not promised: which value stays when both write one key, and anything beside
///   a program that writes the file without QSettings' lock. One gap is left: a change of another
///   process that keeps the file's size and falls into the same tick of the file system's clock (up
///   to 10 ms) as the version that this process knows can be overwritten.
/// - **Not for fifos and devices**: all three operations wait in them, for ever if need be.
class SYNCSTATUS_EXPORT FileManager
{
public:
    FileManager() = delete;

    /// Sets each key of each group of \a config (group -> key -> value) in the INI file \a filePath
    /// and writes the file. Keys that the file has already and \a config does not name stay as they
    /// are; nothing is removed. Groups are set in ascending order, and so are the keys in each: of
    /// names that mean the same key ("x/k" in "a" and "k" in "a/x"; "/k" and "k"), the last counts.
    /// The file's sections, and the keys in each, come out in ascending order. An empty key is
    /// skipped (Qt says so on "default"); with nothing to set, no file is made. A key of nothing
    /// but slashes is written, and not found again.
    ///
    /// The file (mode 0666 less the umask, always readable and writable for its owner) and missing
    /// directories are made. An existing file keeps its permissions, but it is a new file: hard
    /// links go on showing the old one, and the owner is the writing process's. A symbolic link is
    /// followed, also a dangling one. The directory must be writable, for the lock and for the new
    /// file.
    ///
    /// Logs "write IniConfigFile fail: " and the status when that is not QSettings::NoError:
    /// QSettings::AccessError (nothing was written; the old file is whole) or
    /// QSettings::FormatError (the file was damaged and has been written all the same). Then, in
    /// every case, also after a failure: "write IniConfigFile succeed". The caller learns of a
    /// failure from the log only.
    ///
    /// After an AccessError on a file that could be read, QSettings keeps the values in this
    /// process; the next operation on the file, a reader too, gives them and tries to write them.
    /// It does so before the encoding is named, and spoils non-ASCII values that the file has
    /// already.
    ///
    /// Blocks until the lock is free, then until the data are on the disk (one fsync). **A holder
    /// that lives is waited for without end**; the lock of a process that has died is taken over at
    /// once, a lock file that nobody has locked (flock) when it is 30 seconds old; a file system
    /// that turns read-only in the midst of a write leaves such a one behind. While it waits it
    /// looks after 100 ms, then after twice as long each time, up to 6.4 seconds, and another
    /// thread's operation on the file waits with it, a reader's too. A directory in the place of
    /// the lock file is waited for without end.
    static void writeIniConfigFile(const QMap<QString, QMap<QString, QVariant>> &config,
                                   const QString &filePath) noexcept;

    /// The value of \a key in \a group of the INI file \a filePath, as text, decoded by QSettings'
    /// default (see Encoding and Cache above); \a defaultValue when the file, the group or the key
    /// is missing or the file cannot be read. Both names are taken as they stand, "%1" and "%2"
    /// included. With a slash between them they are one path, in which an empty one does not count:
    /// an empty \a key gives the value of the key \a group of no group, and both empty give
    /// \a defaultValue. Takes no lock.
    static QString readIniConfigFile(const QString &filePath, const QString &group,
                                     const QString &key, const QString &defaultValue) noexcept;

    /// All keys of \a group of the INI file \a filePath with their values as UTF-8 text, in
    /// ascending order; a key "k" of a nested group "sub" comes as "sub/k". The group "" gives the
    /// whole file. Empty when the file or the group is missing or the file cannot be read. Takes no
    /// lock.
    static QMap<QString, QString> readSettingFile(const QString &filePath,
                                                  const QString &group) noexcept;

    /// All bytes of \a filePath. Works for files of /proc and /sys and for fifos too; a fifo is
    /// waited for, first until a writer opens it and then until the last one closes it.
    ///
    /// Empty when the file cannot be opened (a directory cannot); then logs the path, "----" and
    /// the system's error text. Empty without a line for an empty file, and for one of 2 GiB or
    /// more, which a QByteArray cannot hold. A read error ends the data where it occurs.
    static QByteArray readFile(const QString &filePath) noexcept;

    /// Makes \a data the whole content of \a filePath, in place: permissions, owner and hard links
    /// stay, a symbolic link is followed, also a dangling one. The file is made when it is missing
    /// (mode 0666 less the umask), missing directories are not. Between the truncation and the end
    /// of the write, readers see a part, and a crash leaves one.
    ///
    /// True when the system has taken the data; they may reach the disk later (no fsync). **A disk
    /// that fills up midway counts as success**: what fitted is in the file, and the result is
    /// true. Only a write of which nothing could be stored is a failure. A caller for whom that
    /// matters compares the file's size.
    ///
    /// False when the file cannot be opened, for which it must be readable too; then logs the path,
    /// "----" and the system's error text. False when the write fails (a full disk, /dev/full);
    /// then logs the path and " write error!", and the file is left empty: the old content is lost.
    ///
    /// A fifo or a device cannot be truncated and is written to as it is. A write to a fifo waits
    /// while the pipe is full (64 KiB by default), for ever without a reader; data that nobody has
    /// read when the call returns are lost unless a reader has the fifo open.
    static bool writeFile(const QByteArray &data, const QString &filePath) noexcept;

    /// Whether anything is at \a filePath, a directory included. A symbolic link counts as what it
    /// points to: a dangling one is not there. False too where a directory on the way may not be
    /// searched. Logs the path and " non-existent." when the answer is false.
    static bool isFileExist(const QString &filePath) noexcept;

    /// True when anything is at \a dirPath, **a plain file too**; otherwise makes the directory
    /// with all missing parents (mode 0777 less the umask) and returns whether that succeeded.
    /// Parents made before a failure stay.
    static bool checkPath(const QString &dirPath) noexcept;

    /// Removes the file, fifo or symbolic link (not its target) at \a filePath. False when there is
    /// none, when it is a directory, and when the system refuses.
    static bool removeFile(const QString &filePath) noexcept;

    /// Parses \a data, JSON text in UTF-8 with an object or an array at the top, into \a document.
    ///
    /// False, with \a document untouched, when \a data is empty; then logs "fileData isEmpty :".
    /// False, with \a document untouched, when it is not such text; then logs "json data error :"
    /// and Qt's error text.
    ///
    /// The parser is QJsonDocument's. It refuses a top-level string, number, true, false or null,
    /// more than 1024 levels, and numbers beyond a double's range, "1e-400" included. It forgives
    /// control characters in strings, an unknown escape ("\q" is "q"), half a surrogate pair, a
    /// number without digits before or after its point, and a byte order mark before the text; of
    /// equal keys the last one counts, and Qt 5.15 leaks an object or array that an earlier one of
    /// them held.
    static bool parseJson(const QByteArray &data, QJsonDocument &document) noexcept;

    /// The object that \a document holds, nested objects as QVariantMap, arrays as QVariantList,
    /// numbers as double (Qt 5.15: integers of up to 64 bits as qlonglong). Empty for an array or a
    /// null document.
    static QMap<QString, QVariant> parseJsonData(const QJsonDocument &document) noexcept;

    /// \a data parsed as by parseJson(); a null document when it is empty or not JSON text, which
    /// logs "QJsonParseError " and Qt's error text.
    static QJsonDocument transQBytearrayToJsonDocument(const QByteArray &data) noexcept;
};

} // namespace systemFileManager

#endif
