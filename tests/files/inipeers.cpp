// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "childprocess.h"
#include "filesfixture.h"
#include "testseed.h"

#include <syncstatus/filemanager.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>

#include <fcntl.h>
#include <sys/stat.h>

#include <ctime>

using systemFileManager::FileManager;

namespace {

using Values = QMap<QString, QString>;
using Config = QMap<QString, QVariantMap>;

const QString succeeded = agentWarning(QStringLiteral("write IniConfigFile succeed"));

QString latin1(const char *text)
{
    return QString::fromLatin1(text);
}

// What the two formats agree on. Names: ASCII letters, digits, "_", "-" and ".", all that QSettings
// writes unescaped; but "General", "%" and the like, which mean something to one side. Values: text
// on one line without the characters that QSettings quotes or escapes (" \ , ; = @ and control
// characters), without blanks at the ends, which configparser strips, and within the basic plane.
class Generator
{
public:
    explicit Generator(quint32 seed) : m_random(seed) {}

    Config config()
    {
        Config config;
        for (int i = 1 + m_random.bounded(20); i > 0; --i) {
            QVariantMap &group = config[QLatin1Char('g') + name()];
            for (int j = 1 + m_random.bounded(40); j > 0; --j)
                group[name()] = value();
        }
        return config;
    }

private:
    QString text(const QString &alphabet, int length)
    {
        QString result;
        for (int i = 0; i < length; ++i)
            result += alphabet[m_random.bounded(alphabet.size())];
        return result;
    }

    QString name() { return text(QStringLiteral("abcXYZ019_-."), 1 + m_random.bounded(12)); }

    QString value()
    {
        const QString inside =
            QStringLiteral("abc XYZ 019 äöüß éñç Ωжш עברית العربية 网络状态 かな "
                           "한국어 €£¥ [](){}<>#%$&*+-_./:!?'^~|`");
        const QString ends = QStringLiteral("aZ0äΩ网か한€#]%");
        if (m_random.bounded(10) == 0)
            return QLatin1String("");
        return text(ends, 1) + text(inside, m_random.bounded(60)) + text(ends, 1);
    }

    QRandomGenerator m_random;
};

QJsonObject toJson(const Config &config)
{
    QJsonObject json;
    for (auto it = config.cbegin(); it != config.cend(); ++it)
        json[it.key()] = QJsonObject::fromVariantMap(it.value());
    return json;
}

Values asText(const QVariantMap &group)
{
    Values values;
    for (auto it = group.cbegin(); it != group.cend(); ++it)
        values[it.key()] = it.value().toString();
    return values;
}

} // namespace

class IniPeers : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void pythonReadsWhatIsWritten();
    void readsWhatPythonWrites();
    void addsToWhatPythonWrote();
    void twoProcessesWriteOneFile();
    void twoProcessesMakeOneFile();
    void aLockThatIsHeldIsWaitedFor_data();
    void aLockThatIsHeldIsWaitedFor();
    void theLockOfADeadProcessIsTakenOver();
    void aLockThatNobodyHoldsIsTakenOverAfterThirtySeconds_data();
    void aLockThatNobodyHoldsIsTakenOverAfterThirtySeconds();
    void aDirectoryInThePlaceOfTheLockIsWaitedFor();

private:
    QByteArray python(const QString &what, const QString &file, const QByteArray &input = {})
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(m_python, {latin1(CONFIGPARSER_PEER), what, file});
        process.write(input);
        process.closeWriteChannel();
        if (!process.waitForFinished() || process.exitCode() != 0)
            return "failed";
        return process.readAllStandardOutput();
    }

    // Lets two writers put \a count keys each into \a file, from the same moment on.
    static bool startWriters(QProcess &first, QProcess &second, const QString &file, int count)
    {
        first.start(latin1(INI_WRITER), {file, latin1("first"), QString::number(count)});
        second.start(latin1(INI_WRITER), {file, latin1("second"), QString::number(count)});
        if (!first.waitForStarted() || !second.waitForStarted())
            return false;
        first.closeWriteChannel();
        second.closeWriteChannel();
        return true;
    }
    static Values writtenByBoth(int count)
    {
        Values values;
        for (int i = 0; i < count; ++i) {
            for (const QString &key : {latin1("first%1").arg(i), latin1("second%1").arg(i)})
                values[key] = QStringLiteral("ü of ") + key;
        }
        return values;
    }
    static bool makeOlder(const QString &file, int seconds)
    {
        const timespec times[] = {{0, UTIME_OMIT}, {std::time(nullptr) - seconds, 0}};
        return ::utimensat(AT_FDCWD, QFile::encodeName(file).constData(), times, 0) == 0;
    }

    quint32 m_seed = 0;
    QString m_python = QStandardPaths::findExecutable(QStringLiteral("python3"));
};

void IniPeers::initTestCase()
{
    m_seed = testSeed();
}

void IniPeers::pythonReadsWhatIsWritten()
{
    if (m_python.isEmpty())
        QSKIP("There is no python3 to read with");

    Generator generator(m_seed);
    for (int i = 0; i < 5; ++i) {
        const QString file = path(QStringLiteral("written%1.ini").arg(i));
        const Config config = generator.config();
        FileManager::writeIniConfigFile(config, file);
        QCOMPARE(takeLines(), {succeeded});
        QCOMPARE(QJsonDocument::fromJson(python(latin1("read"), file)).object(), toJson(config));
    }
}

void IniPeers::readsWhatPythonWrites()
{
    if (m_python.isEmpty())
        QSKIP("There is no python3 to write with");

    Generator generator(m_seed + 1);
    for (int i = 0; i < 5; ++i) {
        const QString file = path(QStringLiteral("python%1.ini").arg(i));
        const Config config = generator.config();
        python(latin1("write"), file, QJsonDocument(toJson(config)).toJson());
        for (auto it = config.cbegin(); it != config.cend(); ++it)
            QCOMPARE(FileManager::readSettingFile(file, it.key()), asText(it.value()));

        // The other reader, on a path that this process has not decoded yet.
        const QString fresh = path(QStringLiteral("fresh%1.ini").arg(i));
        QVERIFY(QFile::copy(file, fresh));
        const QVariantMap &group = config.first();
        for (auto it = group.cbegin(); it != group.cend(); ++it)
            QCOMPARE(FileManager::readIniConfigFile(fresh, config.firstKey(), it.key(), QString()),
                     QString::fromLatin1(it.value().toString().toUtf8()));
    }
}

void IniPeers::addsToWhatPythonWrote()
{
    if (m_python.isEmpty())
        QSKIP("There is no python3 to write and read with");

    Generator generator(m_seed + 2);
    const QString file = path(latin1("both.ini"));
    Config config = generator.config();
    python(latin1("write"), file, QJsonDocument(toJson(config)).toJson());
    const Config added = generator.config();
    FileManager::writeIniConfigFile(added, file);
    QCOMPARE(takeLines(), {succeeded});

    for (auto group = added.cbegin(); group != added.cend(); ++group) {
        for (auto entry = group->cbegin(); entry != group->cend(); ++entry)
            config[group.key()][entry.key()] = entry.value();
    }
    QCOMPARE(QJsonDocument::fromJson(python(latin1("read"), file)).object(), toJson(config));
}

void IniPeers::twoProcessesWriteOneFile()
{
    constexpr int count = 100;
    const QString file = path(latin1("shared.ini"));
    QVERIFY(store(file, "[other]\nkept=\xc3\xbc\n"));
    QProcess first;
    QProcess second;
    QVERIFY(startWriters(first, second, file, count));

    // A reader beside them sees a whole file at any moment: every value whole, no key gone again.
    int seen = 0;
    while (first.state() != QProcess::NotRunning || second.state() != QProcess::NotRunning) {
        first.waitForFinished(1);
        second.waitForFinished(1);
        const Values values = FileManager::readSettingFile(file, latin1("shared"));
        for (auto it = values.cbegin(); it != values.cend(); ++it)
            QCOMPARE(it.value(), QStringLiteral("ü of ") + it.key());
        QVERIFY2(values.size() >= seen, qPrintable(QString::number(seen)));
        seen = values.size();
    }
    QCOMPARE(first.exitCode(), 0);
    QCOMPARE(second.exitCode(), 0);
    for (QProcess *writer : {&first, &second}) {
        const QByteArray lines = writer->readAllStandardError();
        QCOMPARE(lines.count('\n'), count);
        QCOMPARE(lines.count("write IniConfigFile succeed"), count);
    }

    // A copy, because QSettings may have read an old version and noted the time of the new one.
    const QString copy = path(latin1("copy.ini"));
    QVERIFY(QFile::copy(file, copy));
    QCOMPARE(FileManager::readSettingFile(copy, latin1("shared")), writtenByBoth(count));
    QCOMPARE(FileManager::readSettingFile(copy, latin1("other")).value(latin1("kept")),
             QStringLiteral("ü"));
    QVERIFY(!QFile::exists(file + latin1(".lock")));
}

void IniPeers::twoProcessesMakeOneFile()
{
    constexpr int count = 2;
    for (int i = 0; i < 10; ++i) {
        const QString file = path(QStringLiteral("directory%1/made.ini").arg(i));
        QProcess first;
        QProcess second;
        QVERIFY(startWriters(first, second, file, count));
        for (QProcess *writer : {&first, &second}) {
            QVERIFY(writer->waitForFinished());
            QCOMPARE(writer->exitCode(), 0);
            const QByteArray lines = writer->readAllStandardError();
            QCOMPARE(lines.count('\n'), count);
            QCOMPARE(lines.count("write IniConfigFile succeed"), count);
        }
        QCOMPARE(FileManager::readSettingFile(file, latin1("shared")), writtenByBoth(count));
        QVERIFY(!QFile::exists(file + latin1(".lock")));
    }
}

void IniPeers::aLockThatIsHeldIsWaitedFor_data()
{
    QTest::addColumn<int>("age"); // seconds
    QTest::newRow("a new lock") << 0;
    QTest::newRow("an old lock") << 40;
}

void IniPeers::aLockThatIsHeldIsWaitedFor()
{
    QFETCH(int, age);

    const QString file = path(latin1("held.ini"));
    QVERIFY(store(file, "[g]\nk=1\n"));
    ChildProcess holder;
    QVERIFY(holder.startServer(latin1(LOCK_HOLDER), {file + latin1(".lock"), latin1("1000")}));
    QVERIFY(makeOlder(file + latin1(".lock"), age));
    // Readers don't wait.
    QCOMPARE(FileManager::readSettingFile(file, latin1("g")).value(latin1("k")), latin1("1"));
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 2}}}}, file);
    QElapsedTimer end;
    end.start();

    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=2\n"));
    const qint64 freed = holder.waitForLine().toLongLong();
    QVERIFY(freed > 0);
    QVERIFY2(end.msecsSinceReference() >= freed, qPrintable(QString::number(freed)));
    QVERIFY(holder.waitForFinished());
}

void IniPeers::theLockOfADeadProcessIsTakenOver()
{
    const QString file = path(latin1("left.ini"));
    ChildProcess holder;
    QVERIFY(holder.startServer(latin1(LOCK_HOLDER), {file + latin1(".lock"), latin1("600000")}));
    holder.stop();
    QVERIFY(QFile::exists(file + latin1(".lock")));
    QElapsedTimer timer;
    timer.start();
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 1}}}}, file);
    QVERIFY2(timer.elapsed() < 25000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=1\n"));
    QVERIFY(!QFile::exists(file + latin1(".lock")));
}

void IniPeers::aLockThatNobodyHoldsIsTakenOverAfterThirtySeconds_data()
{
    QTest::addColumn<int>("age");
    QTest::addColumn<int>("atLeast"); // milliseconds
    QTest::newRow("older") << 31 << 0;
    QTest::newRow("not yet so old") << 28 << 1000; // 30 s less 28, and the second that time() is in
}

void IniPeers::aLockThatNobodyHoldsIsTakenOverAfterThirtySeconds()
{
    QFETCH(int, age);
    QFETCH(int, atLeast);

    const QString file = path(latin1("foreign.ini"));
    QVERIFY(store(file + latin1(".lock"), ""));
    QVERIFY(makeOlder(file + latin1(".lock"), age));
    QElapsedTimer timer;
    timer.start();
    FileManager::writeIniConfigFile({{latin1("g"), {{latin1("k"), 1}}}}, file);
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed >= atLeast && elapsed < 25000, qPrintable(QString::number(elapsed)));
    QCOMPARE(takeLines(), {succeeded});
    QCOMPARE(contentOf(file), QByteArray("[g]\nk=1\n"));
    QVERIFY(!QFile::exists(file + latin1(".lock")));
}

void IniPeers::aDirectoryInThePlaceOfTheLockIsWaitedFor()
{
    const QString file = path(latin1("blocked.ini"));
    const QString lock = file + latin1(".lock");
    QVERIFY(QDir().mkdir(lock));
    QVERIFY(makeOlder(lock, 40)); // a file of this age would be taken over
    QProcess writer;
    writer.start(latin1(INI_WRITER), {file, latin1("key"), latin1("1")});
    QVERIFY(writer.waitForStarted());
    writer.closeWriteChannel();
    QVERIFY(!writer.waitForFinished(1000));
    QVERIFY(!QFile::exists(file));

    QVERIFY(QDir().rmdir(lock));
    QVERIFY(writer.waitForFinished());
    QCOMPARE(writer.exitCode(), 0);
    QCOMPARE(FileManager::readSettingFile(file, latin1("shared")).size(), 1);
}

QTEST_GUILESS_MAIN(IniPeers)
#include "inipeers.moc"
