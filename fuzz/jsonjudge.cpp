// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "jsonjudge.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr std::size_t deepest = 1024;

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isSurrogate(ushort unit)
{
    return unit >= 0xd800 && unit < 0xe000;
}

/// The UTF-16 unit of the escape "\uXXXX" at the position \a at of \a text.
std::optional<ushort> escapedUnit(const QByteArray &text, int at)
{
    const QByteArray digits = text.mid(at + 2, 4);
    const bool isEscape =
        text.mid(at, 2) == "\\u" && digits.size() == 4 &&
        std::all_of(digits.cbegin(), digits.cend(), [](char c) { return std::isxdigit(uchar(c)); });
    if (!isEscape)
        return {};
    return digits.toUShort(nullptr, 16);
}

/// \a text, rewritten to conform to RFC 8259.
QByteArray corrected(const QByteArray &text, bool *isUnclear)
{
    QByteArray result;
    bool inString = false;
    for (int i = 0; i < text.size(); ++i) {
        const char c = text.at(i);
        const char next = i + 1 < text.size() ? text.at(i + 1) : '\0';
        if (c == '"') {
            inString = !inString;
            result += c;
        } else if (!inString && c == '\0') {
            result += '?'; // not JSON; for the judge, a NUL would be the end
        } else if (!inString && c == '.') {
            // Qt: a number may have no digits on one side of its point.
            const bool before = i > 0 && isDigit(text.at(i - 1));
            const bool after = isDigit(next);
            result += before || !after ? "." : "0.";
            if (before && !after)
                result += '0';
        } else if (inString && c == '\\' && escapedUnit(text, i)) {
            const ushort unit = *escapedUnit(text, i);
            const ushort second = escapedUnit(text, i + 6).value_or(0);
            const bool isPair =
                isSurrogate(unit) && unit < 0xdc00 && isSurrogate(second) && second >= 0xdc00;
            *isUnclear = *isUnclear || (isSurrogate(unit) && !isPair);
            const int length = isPair ? 12 : 6;
            result += text.mid(i, length);
            i += length - 1;
        } else if (inString && c == '\\' && next == 'u') {
            result += "\\u?"; // so that the following text cannot complete it
            ++i;
        } else if (inString && c == '\\' && next != '\0' && std::strchr("\"\\/bfnrt", next)) {
            result += c;
            result += next;
            ++i;
        } else if (inString && c == '\\' && i + 1 < text.size()) {
            // Qt: another escape is the character itself.
            *isUnclear = *isUnclear || uchar(next) >= 0x80;
        } else if (inString && uchar(c) < 0x20) {
            // Qt: a string may contain control characters.
            result += "\\u00" + QByteArray(1, c).toHex();
        } else {
            result += c;
        }
    }
    return result;
}

/// Receives the events of nlohmann's parser. Each operation returns whether to go on.
class Builder
{
public:
    using number_integer_t = nlohmann::json::number_integer_t;
    using number_unsigned_t = nlohmann::json::number_unsigned_t;
    using number_float_t = nlohmann::json::number_float_t;
    using string_t = nlohmann::json::string_t;
    using binary_t = nlohmann::json::binary_t;

    bool null() { return add(QVariant::fromValue(nullptr)); }
    bool boolean(bool value) { return add(value); }
    bool number_integer(number_integer_t value) { return add(double(value)); }
    bool number_unsigned(number_unsigned_t value) { return add(double(value)); }
    bool number_float(number_float_t value, const string_t &text)
    {
        // Qt also refuses a number that is not zero but too small for a double.
        const std::string digits = text.substr(0, text.find_first_of("eE"));
        return (value != 0 || digits.find_first_of("123456789") == std::string::npos) && add(value);
    }
    bool string(const string_t &value) { return add(QString::fromStdString(value)); }
    bool binary(const binary_t &) { return false; } // not in a text
    bool start_object(std::size_t) { return begin(true); }
    bool key(const string_t &name)
    {
        m_levels.back().name = QString::fromStdString(name);
        return true;
    }
    bool end_object() { return end(); }
    bool start_array(std::size_t) { return begin(false); }
    bool end_array() { return end(); }
    bool parse_error(std::size_t, const std::string &, const nlohmann::json::exception &)
    {
        return false;
    }

    QVariant top;
    bool isLeaked = false;

private:
    struct Level
    {
        bool isObject;
        QString name;
        QVariantMap members;
        QVariantList items;
    };

    bool begin(bool isObject)
    {
        m_levels.push_back({isObject, {}, {}, {}});
        return m_levels.size() <= deepest;
    }

    bool end()
    {
        const Level level = std::move(m_levels.back());
        m_levels.pop_back();
        return add(level.isObject ? QVariant(level.members) : QVariant(level.items));
    }

    bool add(const QVariant &value)
    {
        if (m_levels.empty()) {
            top = value;
            return true;
        }
        Level &level = m_levels.back();
        if (level.isObject) {
            // For a name that is repeated, the last value counts.
            QVariant &member = level.members[level.name];
            isLeaked = isLeaked || member.userType() == QMetaType::QVariantMap ||
                       member.userType() == QMetaType::QVariantList;
            member = value;
        } else {
            level.items += value;
        }
        return true;
    }

    std::vector<Level> m_levels;
};

} // namespace

JsonJudgement::JsonJudgement(const QByteArray &text)
{
    const QByteArray strict = corrected(text, &isUnclear);
    Builder builder;
    const bool parsed = nlohmann::json::sax_parse(strict.cbegin(), strict.cend(), &builder);
    isLeaked = builder.isLeaked;
    value = builder.top;
    // Qt: no other values at the top.
    isJson = parsed && (value.userType() == QMetaType::QVariantMap ||
                        value.userType() == QMetaType::QVariantList);
}
