// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "atonce.h"
#include "filesfixture.h"
#include "testprogram.h"

#include <syncstatus/filemanager.h>

#include <QFileInfo>

#include <atomic>

using systemFileManager::FileManager;

namespace {

constexpr int threadCount = 8;
constexpr int rounds = 25;

// Calls every operation, on the thread's own files and on shared ones. The values of the shared INI
// file are ASCII, as the header asks for. Returns how many answers were wrong.
int work(const QString &folder, int thread)
{
    int wrong = 0;
    const auto expect = [&wrong](bool right) { wrong += !right; };

    const QString group = QStringLiteral("thread%1").arg(thread);
    const QString ownFile = folder + group;
    const QString ownIni = ownFile + ".ini";
    const QString sharedIni = folder + "shared.ini";
    for (int round = 0; round < rounds; ++round) {
        const QString key = QStringLiteral("key%1").arg(round);
        const QString value = QStringLiteral("ü %1 %2").arg(thread).arg(round);

        expect(FileManager::checkPath(folder + QStringLiteral("shared/%1/a/b").arg(round)));
        expect(FileManager::writeFile(value.toUtf8().repeated(1000), ownFile));
        expect(FileManager::readFile(ownFile) == value.toUtf8().repeated(1000));
        expect(FileManager::isFileExist(ownFile));
        expect(FileManager::removeFile(ownFile));
        expect(!FileManager::isFileExist(ownFile));

        FileManager::writeIniConfigFile({{group, {{key, value}}}}, ownIni);
        FileManager::writeIniConfigFile({{group, {{key, key}}}}, sharedIni);
        expect(FileManager::readSettingFile(ownIni, group).value(key) == value);
        expect(FileManager::readSettingFile(sharedIni, group).value(key) == key);
        expect(FileManager::readIniConfigFile(sharedIni, group, key, QString()) == key);
        expect(FileManager::readIniConfigFile(ownIni, group, "none", value) == value);

        QJsonDocument document;
        expect(FileManager::parseJson(R"({"k":")" + value.toUtf8() + R"("})", document));
        expect(FileManager::parseJsonData(document).value("k") == value);
        expect(FileManager::transQBytearrayToJsonDocument("{").isNull());
    }
    return wrong;
}

} // namespace

class TestFileThreads : public FilesFixture
{
    Q_OBJECT

private Q_SLOTS:
    void eightAtOnce();
};

void TestFileThreads::eightAtOnce()
{
    const QString folder = path(QString()) + QLatin1Char('/');
    std::atomic<int> wrong{0};
    atOnce(threadCount, [&](int thread) { wrong += work(folder, thread); });
    QCOMPARE(wrong.load(), 0);

    const QStringList lines = takeLines();
    constexpr int all = threadCount * rounds;
    QCOMPARE(lines.count(agentWarning("write IniConfigFile succeed")), 2 * all);
    QCOMPARE(lines.count(agentWarning("QJsonParseError  \"unterminated object\"")), all);
    QCOMPARE(lines.filter("\"  non-existent.").size(), all);
    QCOMPARE(lines.size(), 4 * all);

    for (int i = 0; i < threadCount; ++i) {
        const QString group = QStringLiteral("thread%1").arg(i);
        QMap<QString, QString> own;
        QMap<QString, QString> shared;
        for (int round = 0; round < rounds; ++round) {
            const QString key = QStringLiteral("key%1").arg(round);
            own[key] = QStringLiteral("ü %1 %2").arg(i).arg(round);
            shared[key] = key;
        }
        QCOMPARE(FileManager::readSettingFile(folder + group + ".ini", group), own);
        QCOMPARE(FileManager::readSettingFile(folder + "shared.ini", group), shared);
    }
    for (int round = 0; round < rounds; ++round)
        QVERIFY(QFileInfo(folder + QStringLiteral("shared/%1/a/b").arg(round)).isDir());
}

SYNCSTATUS_TEST(TestFileThreads)
#include "tst_filethreads.moc"
