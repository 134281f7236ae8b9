#include "analysis/Response.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstring>
#include <string>

namespace pdalink {

namespace {

// What a host's buffer holds, with the NUL. One that was made for 23 values shorter than 5000 bytes,
// unescaped, need not be any larger than those; a value that is longer must not count on more.
constexpr std::size_t kLimit = 131072;
constexpr std::size_t kLimitWithLongValue = 115000;
constexpr std::size_t kLongValue = 5000;
static_assert(ResultText::kMax >= kLimitWithLongValue + 3); // Qt drops the three bytes of a byte order mark

constexpr std::size_t kEmptyText = 2;   // the quotes
constexpr std::size_t kEmptyNumber = 1; // "0"

std::size_t writtenSize(char16_t unit) {
    constexpr char shortlyEscaped[] = "\"\\\b\f\n\r\t";
    if (unit >= 0x80) {
        return unit < 0x800 ? 2 : 3;
    }
    if (unit != 0 && std::strchr(shortlyEscaped, unit) != nullptr) {
        return 2;
    }
    return unit < 0x20 ? 6 : 1;
}

} // namespace

std::size_t writtenSize(const QString& text) {
    std::size_t size = 0;
    for (int i = 0; i < text.size(); ++i) {
        if (!text[i].isSurrogate()) {
            size += writtenSize(char16_t{text[i].unicode()});
        } else if (text[i].isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
            size += 4;
            ++i;
        } else {
            size += 6; // half a pair is escaped
        }
    }
    return size;
}

Response::Response(const Transaction& row) : m_code(row.code) {
    m_values.reserve(row.outputs.size());
    for (const ReplyField& field : row.outputs) {
        m_values.push_back({field.key, field.isNumber(), {}, 0});
    }
}

std::vector<Output> Response::outputs() {
    std::vector<Output> outputs;
    outputs.reserve(m_values.size());
    for (Value& value : m_values) {
        outputs.push_back(value.isNumber ? Output(&value.number) : Output(value.text));
    }
    return outputs;
}

std::string Response::limit() {
    const auto first = firstBeyondTheLimit();
    if (first == m_values.end()) {
        return {};
    }
    const std::size_t size = first->isNumber ? sizeOf(*first) : first->text.size();
    std::for_each(first, m_values.end(), [](Value& value) {
        value.text = {};
        value.number = 0;
    });
    return std::string("response too long, left empty from ") + first->key + " on (" + std::to_string(size) +
           " bytes)";
}

QByteArray Response::json() const {
    QJsonObject response{{QStringLiteral("transCode"), QLatin1String(m_code)}};
    for (const Value& value : m_values) {
        response.insert(QString::fromLatin1(value.key),
                        value.isNumber ? QJsonValue(value.number) : QJsonValue(value.text.toQString()));
    }
    return QJsonDocument(response).toJson(QJsonDocument::Compact);
}

/// With all texts empty and all numbers 0.
std::size_t Response::emptySize() const {
    std::size_t size = std::strlen(R"({"transCode":""})") + std::strlen(m_code);
    for (const Value& value : m_values) {
        size += std::strlen(R"(,"":)") + std::strlen(value.key);
        size += value.isNumber ? kEmptyNumber : kEmptyText;
    }
    return size;
}

/// How many bytes a value has more than an empty one.
std::size_t Response::sizeOf(const Value& value) {
    if (value.isNumber) {
        return std::to_string(value.number).size() - kEmptyNumber;
    }
    return value.text.isWhole() ? writtenSize(value.text.toQString()) : value.text.size();
}

std::vector<Response::Value>::iterator Response::firstBeyondTheLimit() {
    std::size_t size = emptySize() + 1; // the NUL
    std::size_t limit = kLimit;
    return std::find_if(m_values.begin(), m_values.end(), [&](const Value& value) {
        limit = value.text.size() >= kLongValue ? kLimitWithLongValue : limit;
        size += sizeOf(value);
        return size > limit;
    });
}

} // namespace pdalink
