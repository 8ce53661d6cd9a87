// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef JSONFORM_H
#define JSONFORM_H

#include <QByteArray>
#include <QByteArrayList>
#include <QMap>
#include <QVariant>
#include <QtEndian>

#include <cstring>

/// A value out of a JSON text in a form without choices, in which two parsers can be compared:
/// what jsonjudge.py writes.
inline QByteArray plain(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::Nullptr:
        return "n";
    case QMetaType::Bool:
        return value.toBool() ? "t" : "f";
    case QMetaType::LongLong:
    case QMetaType::Double: {
        const double number = value.toDouble() + 0.0; // no negative zero
        quint64 bits = 0;
        std::memcpy(&bits, &number, sizeof bits);
        bits = qToBigEndian(bits);
        return 'd' + QByteArray(reinterpret_cast<const char *>(&bits), sizeof bits).toHex();
    }
    case QMetaType::QString:
        return 's' + value.toString().toUtf8().toHex();
    case QMetaType::QVariantList: {
        QByteArrayList items;
        const QVariantList list = value.toList();
        for (const QVariant &item : list)
            items += plain(item);
        return '[' + items.join(',') + ']';
    }
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        QMap<QByteArray, QByteArray> members;
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            members[plain(it.key())] = plain(it.value());
        QByteArrayList items;
        for (auto it = members.cbegin(); it != members.cend(); ++it)
            items += it.key() + ':' + it.value();
        return '{' + items.join(',') + '}';
    }
    default:
        return QByteArray("no JSON type: ") + value.typeName();
    }
}

#endif
