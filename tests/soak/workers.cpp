// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "workers.h"

#include "progress.h"

#include <syncstatus/filemanager.h>
#include <syncstatus/rsacrypt.h>
#include <syncstatus/utils.h>

#include <QFile>
#include <QJsonObject>
#include <QTemporaryDir>

using logEncryption::RsaCrypt;
using systemFileManager::FileManager;
using utility::Utils;

namespace {

/// A text of this round: from nothing to some blocks of the usual keys.
QByteArray text(qint64 round)
{
    const QByteArray unit = "round " + QByteArray::number(round) + ' ';
    return unit.repeated(int(round * 37 % 60));
}

} // namespace

void encrypt(Progress &progress)
{
    QFile file(QStringLiteral(DEVELOPMENT_KEY));
    if (!file.open(QIODevice::ReadOnly))
        return progress.fail(QStringLiteral("no key to decrypt with: ") + file.errorString());
    const QByteArray privateKey = file.readAll();
    file.close();
    const QByteArray marker = "LicenseLogEncryptSign";

    for (qint64 round = 0; progress.wait(100); ++round) {
        const std::shared_lock<std::shared_mutex> atWork(progress.atWork);
        QByteArray encrypted;
        for (int i = 0; i < 10; ++i) {
            encrypted = RsaCrypt::logEncryptToBase64(text(round));
            ++progress.encryptions;
        }
        const QByteArray body = QByteArray::fromBase64(encrypted.mid(marker.size()));
        if (!encrypted.startsWith(marker) || body.isEmpty() != text(round).isEmpty())
            return progress.fail(QStringLiteral("encrypted log text of another form"));
        if (round % 10 != 0)
            continue;
        if (RsaCrypt::rsaPrivateKeyDecrypt(body, privateKey) != text(round))
            return progress.fail(QStringLiteral("an encrypted text decrypts to another"));
        // The wrong kind of key gives nothing.
        if (!RsaCrypt::rsaPublicKeyDecrypt(body, privateKey).isEmpty() ||
            !RsaCrypt::rsaPublicKeyEncrypt(text(round), privateKey).isEmpty() ||
            !RsaCrypt::rsaPrivateKeyDecrypt(body, privateKey.left(500)).isEmpty())
            return progress.fail(QStringLiteral("something came out of a wrong key"));
        ++progress.decryptions;
    }
}

void useFiles(Progress &progress)
{
    const QTemporaryDir directory;
    const QString deep = directory.filePath(QStringLiteral("a/b/c"));
    const QString whole = deep + QLatin1String("/whole");
    const QString ini = directory.filePath(QStringLiteral("settings.ini"));
    const QString group = QStringLiteral("group");
    const QString key = QStringLiteral("key");

    for (qint64 round = 0; progress.wait(100); ++round) {
        const std::shared_lock<std::shared_mutex> atWork(progress.atWork);
        const QByteArray bytes = text(round).repeated(50);
        if (!FileManager::checkPath(deep) || !FileManager::writeFile(bytes, whole) ||
            !FileManager::isFileExist(whole) || FileManager::readFile(whole) != bytes ||
            !FileManager::removeFile(whole) || FileManager::isFileExist(whole) ||
            !FileManager::readFile(whole).isEmpty() || FileManager::writeFile(bytes, deep))
            return progress.fail(QStringLiteral("a file was not as written"));

        const QString value = QString::number(round);
        FileManager::writeIniConfigFile({{group, {{key, value}, {QStringLiteral("n"), round % 7}}}},
                                        ini);
        if (FileManager::readIniConfigFile(ini, group, key, QString()) != value ||
            FileManager::readIniConfigFile(ini, group, QStringLiteral("none"), key) != key ||
            FileManager::readSettingFile(ini, group).value(key) != value)
            return progress.fail(QStringLiteral("an INI file was not as written"));

        const QByteArray json = "{\"round\": [" + QByteArray::number(round) + ", \"text\", {}]}";
        QJsonDocument document;
        if (!FileManager::parseJson(json, document) ||
            FileManager::parseJsonData(document).value(QStringLiteral("round")).toList().value(0) !=
                QVariant(double(round)) ||
            FileManager::transQBytearrayToJsonDocument(json) != document ||
            FileManager::parseJson(json.left(json.size() / 2), document) ||
            !FileManager::transQBytearrayToJsonDocument(json.mid(1)).isNull())
            return progress.fail(QStringLiteral("JSON was not as written"));
        ++progress.files;
    }
}

void runCommands(Progress &progress)
{
    for (qint64 round = 0; progress.wait(200); ++round) {
        const std::shared_lock<std::shared_mutex> atWork(progress.atWork);
        QString output;
        const QString number = QString::number(round);
        if (!Utils::executeCmd(QStringLiteral("echo %1; echo complaint >&2; exit 3").arg(number),
                               output) ||
            output != number + QLatin1Char('\n'))
            return progress.fail(QStringLiteral("a command printed another text: ") + output);
        ++progress.commands;
        if (round % 25 != 0)
            continue;
        // Whatever rpm says, if it is there.
        Utils::getPackageNameByProcessName(QStringLiteral("bash"));
        // Ended by a signal, three times over.
        if (Utils::executeCmd(QStringLiteral("kill -9 $$"), output))
            return progress.fail(QStringLiteral("a command that was killed printed ") + output);
        progress.commands += 2;
    }
}
