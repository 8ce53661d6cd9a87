// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "childprocess.h"
#include "filesfixture.h"
#include "testprogram.h"
#include "testseed.h"

#include <syncstatus/filemanager.h>

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

// Writes only what means the same to QSettings and to configparser. Names: ASCII letters, digits,
// "_", "-" and ".", which QSettings does not escape. Values: text on one line, within the basic
// plane, without what QSettings quotes or escapes (" \ , ; = @ and control characters), and without
// blanks at the ends, which configparser strips.
class RandomIni
{
public:
    explicit RandomIni(quint32 seed) : m_random(seed) {}

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

class TestIniPeers : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void pythonReadsWhatIsWritten();
    void readsWhatPythonWrites();
    void addsToWhatPythonWrote();
    void twoProcessesWriteOneFile();
    void twoProcessesMakeOneFile();

private:
    QByteArray python(const QString &what, const QString &file, const QByteArray &input = {})
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(m_python, {CONFIGPARSER_PEER, what, file});
        process.write(input);
        process.closeWriteChannel();
        if (!process.waitForFinished() || process.exitCode() != 0)
            return "failed";
        return process.readAllStandardOutput();
    }

    // QLockFile takes a lock for a stale one if its process runs another program than the one that
    // it names. An emulator is another program.
    static bool locksHoldBetweenProcesses()
    {
        QProcess peer;
        peer.start(INI_PEER, {"write", "none", "none", "0"});
        if (!peer.waitForStarted())
            return false;
        const QString program =
            QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(peer.processId()));
        peer.closeWriteChannel();
        return peer.waitForFinished() && program == QFileInfo(INI_PEER).canonicalFilePath();
    }
    // Lets two writers put \a count keys each into \a file, from the same moment on.
    static bool startWriters(QProcess &first, QProcess &second, const QString &file, int count)
    {
        first.start(INI_PEER, {"write", file, "first", QString::number(count)});
        second.start(INI_PEER, {"write", file, "second", QString::number(count)});
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

    quint32 m_seed = 0;
    QString m_python = QStandardPaths::findExecutable(QStringLiteral("python3"));
};

// Before the first init(), which captures what is written.
void TestIniPeers::initTestCase()
{
    m_seed = testSeed();
}

void TestIniPeers::pythonReadsWhatIsWritten()
{
    if (m_python.isEmpty())
        QSKIP("There is no python3 to read with");

    RandomIni generator(m_seed);
    for (int i = 0; i < 5; ++i) {
        const QString file = path(QStringLiteral("written%1.ini").arg(i));
        const Config config = generator.config();
        FileManager::writeIniConfigFile(config, file);
        QCOMPARE(takeLines(), succeeded());
        QCOMPARE(QJsonDocument::fromJson(python("read", file)).object(), toJson(config));
    }
}

void TestIniPeers::readsWhatPythonWrites()
{
    if (m_python.isEmpty())
        QSKIP("There is no python3 to write with");

    RandomIni generator(m_seed + 1);
    for (int i = 0; i < 5; ++i) {
        const QString file = path(QStringLiteral("python%1.ini").arg(i));
        const Config config = generator.config();
        python("write", file, QJsonDocument(toJson(config)).toJson());
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

void TestIniPeers::addsToWhatPythonWrote()
{
    if (m_python.isEmpty())
        QSKIP("There is no python3 to write and read with");

    RandomIni generator(m_seed + 2);
    const QString file = path("both.ini");
    Config config = generator.config();
    python("write", file, QJsonDocument(toJson(config)).toJson());
    const Config added = generator.config();
    FileManager::writeIniConfigFile(added, file);
    QCOMPARE(takeLines(), succeeded());

    for (auto group = added.cbegin(); group != added.cend(); ++group) {
        for (auto entry = group->cbegin(); entry != group->cend(); ++entry)
            config[group.key()][entry.key()] = entry.value();
    }
    QCOMPARE(QJsonDocument::fromJson(python("read", file)).object(), toJson(config));
}

void TestIniPeers::twoProcessesWriteOneFile()
{
    if (!locksHoldBetweenProcesses())
        QSKIP("an emulator runs the programs, so QLockFile takes their locks for stale ones");
    constexpr int count = 100;
    const QString file = path("shared.ini");
    QVERIFY(store(file, "[other]\nkept=\xc3\xbc\n"));
    QProcess first;
    QProcess second;
    QVERIFY(startWriters(first, second, file, count));

    // Meanwhile a reader always sees a whole file: every value is whole, no key disappears.
    int seen = 0;
    while (first.state() != QProcess::NotRunning || second.state() != QProcess::NotRunning) {
        first.waitForFinished(1);
        second.waitForFinished(1);
        const Values values = FileManager::readSettingFile(file, "shared");
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
    const QString copy = path("copy.ini");
    QVERIFY(QFile::copy(file, copy));
    QCOMPARE(FileManager::readSettingFile(copy, "shared"), writtenByBoth(count));
    QCOMPARE(FileManager::readSettingFile(copy, "other").value("kept"), QStringLiteral("ü"));
    QVERIFY(!QFile::exists(file + ".lock"));
}

void TestIniPeers::twoProcessesMakeOneFile()
{
    if (!locksHoldBetweenProcesses())
        QSKIP("an emulator runs the programs, so QLockFile takes their locks for stale ones");
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
        QCOMPARE(FileManager::readSettingFile(file, "shared"), writtenByBoth(count));
        QVERIFY(!QFile::exists(file + ".lock"));
    }
}

SYNCSTATUS_TEST(TestIniPeers)
#include "tst_inipeers.moc"
