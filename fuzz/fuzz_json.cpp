// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// FileManager's JSON operations on any text. nlohmann's parser must find the same value, or also
// none, and the operations must agree with each other. The log lines are compared too.

#include "jsonjudge.h"
#include "target.h"

#include <syncstatus/filemanager.h>

#include <QJsonArray>
#include <QJsonObject>

#include <jsonform.h>
#include <logcapture.h>

using systemFileManager::FileManager;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    static const QJsonDocument before(QJsonObject{{QStringLiteral("before"), true}});
    static LogCapture log;
    const QByteArray text(reinterpret_cast<const char *>(bytes), int(size));
    const JsonJudgement judgement(text);
    if (judgement.isLeaked)
        return 0;

    QJsonDocument document = before;
    const bool isJson = FileManager::parseJson(text, document);
    const QStringList lines = log.takeLines();
    const QJsonDocument other = FileManager::transQBytearrayToJsonDocument(text);
    const QStringList otherLines = log.takeLines();
    require(isJson == judgement.isJson || judgement.isUnclear, "JSON or not");

    if (!isJson) {
        require(document == before, "the document is unchanged");
        require(other.isNull(), "no document");
        require(FileManager::parseJsonData(other).isEmpty(), "an empty map");
        require(lines.size() == 1 && otherLines.size() == 1, "a line each");
        const QString start = agentWarning(QStringLiteral("QJsonParseError  "));
        require(otherLines.first().startsWith(start + QLatin1Char('"')), "the line of the error");
        const QString reason = otherLines.first().mid(start.size());
        require(lines.first() ==
                    (text.isEmpty() ? agentWarning(QStringLiteral("fileData isEmpty :"))
                                    : agentWarning(QStringLiteral("json data error : ")) + reason),
                "the line of the error");
        return 0;
    }
    require(other == document, "the same document");
    require(lines.isEmpty() && otherLines.isEmpty(), "no line");
    const QVariantMap map = FileManager::parseJsonData(document);
    require(document.isObject() || map.isEmpty(), "an empty map");
    const QByteArray form =
        plain(document.isObject() ? QVariant(map) : QVariant(document.array().toVariantList()));
    require(form == plain(judgement.value) || judgement.isUnclear, "the same value");
    return 0;
}
