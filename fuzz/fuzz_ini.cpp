// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// FileManager's INI operations: any keys written into any file. The new keys must come back, the
// old keys must still be there, and both readers must agree on an ASCII file. There is no second
// parser of QSettings' format to compare with.
//
// The input is the keys to write and the file. Each key is a group, a name and a value, and each of
// these ends with the byte 0x1f. The keys end with the byte 0x1e. A value with the byte 0x1d is a
// list.

#include "target.h"

#include <syncstatus/filemanager.h>

#include <QDir>
#include <QFile>
#include <QSet>
#include <QStringList>
#include <QTemporaryDir>

#include <fcntl.h>
#include <logcapture.h>
#include <sys/stat.h>

#include <algorithm>

using systemFileManager::FileManager;

namespace {

using Config = QMap<QString, QVariantMap>;
using Values = QMap<QString, QString>;

/// In memory (tmpfs) if there is /dev/shm.
QString temporaryTemplate()
{
    const QString memory = QStringLiteral("/dev/shm");
    return (QDir(memory).exists() ? memory : QDir::tempPath()) +
           QStringLiteral("/syncstatus-fuzz-XXXXXX");
}

/// Whether QSettings could read "@Variant(" from \a file, in one way or another. The object that it
/// restores can need any memory and nest without end, which ends the process. So only trusted users
/// may write an INI file, and such files are no finding.
bool mayHoldVariant(const QByteArray &file)
{
    QByteArray text;
    for (int i = 0; i < file.size(); ++i) {
        if (file.at(i) == '"' || file.at(i) == '\n' || file.at(i) == '\r')
            continue;
        if (file.at(i) != '\\') {
            text += file.at(i);
            continue;
        }
        const bool isHex = i + 1 < file.size() && file.at(i + 1) == 'x';
        ushort value = 0;
        int end = isHex ? i + 2 : i + 1;
        for (; end < file.size(); ++end) {
            bool isDigit = false;
            const int digit = file.mid(end, 1).toInt(&isDigit, isHex ? 16 : 8);
            if (!isDigit)
                break;
            value = ushort(value * (isHex ? 16 : 8) + digit);
        }
        if (end > i + 1) {
            text += value < 128 ? char(value) : '?';
            i = end - 1;
        }
    }
    return text.contains("@Variant(");
}

/// A group and a name as one name, without the slashes that do not count.
QStringList parts(const QString &group, const QString &name)
{
    QStringList names = (group + QLatin1Char('/') + name).split(QLatin1Char('/'));
    names.removeAll(QString());
    return names;
}

bool isOfGeneral(const QStringList &names)
{
    return names.size() > 1 &&
           names.first().compare(QLatin1String("General"), Qt::CaseInsensitive) == 0;
}

/// The same as QSettings writes it, with one spelling of the group "general".
QString wholeName(const QString &group, const QString &name)
{
    QStringList names = parts(group, name);
    if (isOfGeneral(names))
        names.first() = QStringLiteral("General");
    return names.join(QLatin1Char('/'));
}

/// Whether \a before may have become \a after.
bool isSame(QString after, QString before)
{
    // QSettings writes nothing beyond U+FFFF, which can change the meaning of the rest.
    if (std::any_of(before.cbegin(), before.cend(), [](QChar c) { return c.isSurrogate(); }))
        return true;
    // It drops this as a byte order mark at the beginning and after an escape.
    const QChar mark(0xfeff);
    if (!before.contains(mark))
        return after == before;
    return after.remove(mark) == before.remove(mark) || before.startsWith(QLatin1Char('@'));
}

class Files
{
public:
    Files() : m_directory(temporaryTemplate()) { require(m_directory.isValid(), "a directory"); }

    /// A new file with \a content and an old time stamp. It has a new name, because QSettings
    /// remembers files by name.
    QString make(const QByteArray &content)
    {
        QString path = m_directory.filePath(QString::number(++m_count));
        QFile file(path);
        const timespec longAgo[] = {{0, UTIME_OMIT}, {1'000'000'000, 0}};
        require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size() &&
                    file.flush() && ::futimens(file.handle(), longAgo) == 0,
                "a file");
        return path;
    }

    static QByteArray take(const QString &path)
    {
        QFile file(path);
        require(file.open(QIODevice::ReadOnly), "the file is there");
        QByteArray content = file.readAll();
        file.remove();
        return content;
    }

    void requireEmpty() const
    {
        require(QDir(m_directory.path())
                    .isEmpty(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden | QDir::System),
                "nothing is left behind");
    }

private:
    QTemporaryDir m_directory;
    int m_count = 0;
};

struct Content
{
    Values values;
    /// Names that only another program writes, for example with a slash too many: as they are, and
    /// as QSettings would write them. Readers may not find them, and a write corrects some.
    QSet<QString> unclear;
};

/// All keys of a file, as readSettingFile() gives them.
Content contentOf(Files *files, const QByteArray &bytes)
{
    const QString path = files->make(bytes);
    Content content;
    content.values = FileManager::readSettingFile(path, QString());
    QFile::remove(path);
    const QStringList names = content.values.keys();
    for (const QString &name : names) {
        if (name.isEmpty() || name != wholeName(name, QString()))
            content.unclear << name << wholeName(name, QString());
    }
    for (const QString &name : qAsConst(content.unclear))
        content.values.remove(name);
    return content;
}

/// The lines without those that Qt writes about a key without a name.
QStringList takeLines(LogCapture *log)
{
    QStringList lines = log->takeLines();
    for (const char *operation : {"value", "setValue"})
        lines.removeAll(QStringLiteral("warning default: QSettings::%1: Empty key passed")
                            .arg(QLatin1String(operation)));
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    static LogCapture log;
    static Files files;
    const QByteArray input(reinterpret_cast<const char *>(bytes), int(size));
    const int end = input.indexOf('\x1e');
    const QByteArray before = input.mid(end + 1);
    if (mayHoldVariant(before))
        return 0;

    Config config;
    Values expected;
    bool isExact = true;     // QSettings reads everything back unchanged
    QSet<QString> respelled; // keys of a group "general"
    const QList<QByteArray> fields = input.left(qMax(end, 0)).split('\x1f');
    for (int i = 0; i + 2 < fields.size(); i += 3) {
        const QString name = textOf(fields.at(i + 1));
        // A name of slashes only makes a line that no reader finds.
        if (!name.isEmpty() && wholeName(QString(), name).isEmpty())
            continue;
        const QString value = textOf(fields.at(i + 2));
        const QStringList list = value.split(QChar(0x1d));
        config[textOf(fields.at(i))][name] = list.size() > 1 ? QVariant(list) : QVariant(value);
    }
    for (auto group = config.cbegin(); group != config.cend(); ++group) {
        for (auto entry = group->cbegin(); entry != group->cend(); ++entry) {
            if (entry.key().isEmpty()) // is not written
                continue;
            const QString name = wholeName(group.key(), entry.key());
            expected[name] = entry->toString();
            const QStringList names = parts(group.key(), entry.key());
            if (isOfGeneral(names)) {
                respelled.insert(name);
                isExact = isExact && names.first() == QLatin1String("General");
            }
        }
    }

    // Reading
    const Content contentBefore = contentOf(&files, before);
    const Values &valuesBefore = contentBefore.values;
    if (std::all_of(before.cbegin(), before.cend(), [](char c) { return uchar(c) < 128; })) {
        const QString path = files.make(before);
        // A slash in the name of a section or a key can hide other names from this reader.
        const bool mayHide = std::any_of(before.cbegin(), before.cend(),
                                         [](char c) { return c == '/' || c == '\\' || c == '%'; });
        for (auto it = valuesBefore.cbegin(); it != valuesBefore.cend(); ++it) {
            const QString group = it.key().section(QLatin1Char('/'), 0, -2);
            const QString name = it.key().section(QLatin1Char('/'), -1);
            const QString absent = it.value() + QLatin1Char('-');
            const QString value = FileManager::readIniConfigFile(path, group, name, absent);
            require(value == it.value() || (mayHide && value == absent), "both readers agree");
        }
        QFile::remove(path);
    }
    require(takeLines(&log).isEmpty(), "no lines");

    // Writing
    const QString path = files.make(before);
    FileManager::writeIniConfigFile(config, path);
    const QStringList lines = takeLines(&log);
    const QString failure =
        agentWarning(QStringLiteral("write IniConfigFile fail:  QSettings::FormatError"));
    const QString success = agentWarning(QStringLiteral("write IniConfigFile succeed"));
    require(lines == QStringList{success} || lines == QStringList{failure, success}, "the lines");
    const QByteArray after = Files::take(path);
    if (expected.isEmpty()) {
        require(after == before, "nothing to set, nothing changed");
        return 0;
    }
    const Content contentAfter = contentOf(&files, after);
    const Values &valuesAfter = contentAfter.values;

    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        isExact = isExact && valuesAfter.value(it.key()) == it.value();
        require(
            contentAfter.unclear.contains(it.key()) ||
                // QSettings has two names for one line: the last counts, perhaps the old one.
                contentBefore.unclear.contains(it.key()) ||
                (respelled.contains(it.key()) && valuesBefore.contains(it.key())) ||
                (valuesAfter.contains(it.key()) && isSame(valuesAfter.value(it.key()), it.value())),
            "what is written comes back");
    }
    for (auto it = valuesBefore.cbegin(); it != valuesBefore.cend(); ++it) {
        if (expected.contains(it.key()) || contentAfter.unclear.contains(it.key()))
            continue;
        isExact = isExact && valuesAfter.value(it.key()) == it.value();
        require(valuesAfter.contains(it.key()) && isSame(valuesAfter.value(it.key()), it.value()),
                "what was there stays");
    }
    for (auto it = valuesAfter.cbegin(); it != valuesAfter.cend(); ++it)
        require(valuesBefore.contains(it.key()) || expected.contains(it.key()) ||
                    contentBefore.unclear.contains(it.key()),
                "nothing else");

    // Writing the same again
    if (isExact && contentBefore.unclear.isEmpty() && !after.contains("\xef\xbb\xbf")) {
        const QString again = files.make(after);
        FileManager::writeIniConfigFile(config, again);
        require(takeLines(&log) == QStringList{success}, "the file is in order");
        require(Files::take(again) == after, "the same file");
    }
    files.requireEmpty();
    return 0;
}
