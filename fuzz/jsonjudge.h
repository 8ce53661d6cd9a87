// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef JSONJUDGE_H
#define JSONJUDGE_H

#include <QByteArray>
#include <QVariant>

/// How nlohmann's JSON parser, which follows RFC 8259, reads a text.
struct JsonJudgement
{
    /// First rewrites what Qt's parser accepts beyond RFC 8259. Applies Qt's other rules too, for
    /// the top value, depth and numbers.
    explicit JsonJudgement(const QByteArray &text);

    /// Whether Qt accepts the text, and its value if so.
    bool isJson = false;
    QVariant value;
    /// The text has no defined meaning: it escapes half a surrogate pair or a character beyond
    /// ASCII. Qt's parser reads something, which cannot be compared.
    bool isUnclear = false;
    /// A name is repeated in one object, and its value is an object or an array. Qt 5.15's parser
    /// leaks memory then.
    bool isLeaked = false;
};

#endif
