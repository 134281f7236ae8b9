#include "core/Message.h"

#include "core/Texts.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace pdasim {

namespace {

struct SequenceShape {
    std::size_t bytes;
    char32_t smallest;
    char32_t leadBits;
};

std::optional<SequenceShape> shapeOfLead(unsigned char lead) {
    if (lead < 0x80U) {
        return SequenceShape{1, 0, lead};
    }
    if ((lead & 0xE0U) == 0xC0U) {
        return SequenceShape{2, 0x80, lead & 0x1FU};
    }
    if ((lead & 0xF0U) == 0xE0U) {
        return SequenceShape{3, 0x800, lead & 0x0FU};
    }
    if ((lead & 0xF8U) == 0xF0U) {
        return SequenceShape{4, 0x10000, lead & 0x07U};
    }
    return std::nullopt;
}

/// Decodes the sequence at the start of the text; nothing when it is not well-formed UTF-8.
std::optional<std::pair<char32_t, std::size_t>> decodeFirst(std::string_view text) {
    const auto shape = shapeOfLead(static_cast<unsigned char>(text.front()));
    if (!shape || text.size() < shape->bytes) {
        return std::nullopt;
    }
    char32_t value = shape->leadBits;
    for (std::size_t i = 1; i < shape->bytes; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0U) != 0x80U) {
            return std::nullopt;
        }
        value = (value << 6U) | (byte & 0x3FU);
    }
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    if (value < shape->smallest || value > 0x10FFFF || surrogate) {
        return std::nullopt;
    }
    return std::pair{value, shape->bytes};
}

void appendTags(std::string& text, const Tags& tags) {
    for (const Tag& tag : tags) {
        text.append("<").append(tag.name).append(">").append(tag.value);
        text.append("</").append(tag.name).append(">");
    }
}

} // namespace

const Tag* findTag(const Tags& tags, std::string_view name) {
    const auto found =
        std::find_if(tags.begin(), tags.end(), [name](const Tag& tag) { return tag.name == name; });
    return found == tags.end() ? nullptr : &*found;
}

void setTag(Tags& tags, std::string_view name, std::string value) {
    const auto found =
        std::find_if(tags.begin(), tags.end(), [name](const Tag& tag) { return tag.name == name; });
    if (found != tags.end()) {
        found->value = std::move(value);
    } else {
        tags.push_back({std::string(name), std::move(value)});
    }
}

void dropTag(Tags& tags, std::string_view name) {
    const auto found =
        std::find_if(tags.begin(), tags.end(), [name](const Tag& tag) { return tag.name == name; });
    if (found != tags.end()) {
        tags.erase(found);
    }
}

std::u16string utf16Of(std::string_view bytes) {
    std::u16string units;
    for (std::string_view rest = bytes; !rest.empty();) {
        const auto decoded = decodeFirst(rest);
        if (!decoded) {
            units.resize(bytes.size());
            std::transform(bytes.begin(), bytes.end(), units.begin(),
                           [](char byte) { return static_cast<char16_t>(static_cast<unsigned char>(byte)); });
            return units;
        }
        const auto& [value, size] = *decoded;
        if (value > 0xFFFF) {
            units.push_back(static_cast<char16_t>(0xD800 + ((value - 0x10000) >> 10U)));
            units.push_back(static_cast<char16_t>(0xDC00 + ((value - 0x10000) & 0x3FFU)));
        } else {
            units.push_back(static_cast<char16_t>(value));
        }
        rest.remove_prefix(size);
    }
    return units;
}

std::size_t lengthInCharacters(std::string_view bytes) {
    return utf16Of(bytes).size();
}

std::string sequenceText(int sequence) {
    std::array<char, 16> text{};
    (void)std::snprintf(text.data(), text.size(), "%04d", sequence);
    return text.data();
}

std::string composeMessage(std::string_view type, const Tags& tags, const std::vector<Tags>& groups) {
    std::string text(type);
    text.append(header::kFactory).append(header::kZeros).append(header::kBlanks).append(header::kFixed);
    appendTags(text, tags);
    for (const Tags& group : groups) {
        text.append(kGroupOpening);
        appendTags(text, group);
        text.append(kGroupClosing);
    }
    // A message too long for its length field keeps the other fields in their places.
    constexpr std::size_t kMax = 999999;
    std::array<char, 32> length{};
    (void)std::snprintf(length.data(), length.size(), "%06zu",
                        std::min(lengthInCharacters(text) + header::kLengthWidth, kMax));
    return length.data() + text;
}

std::optional<std::string> ParsedMessage::value(std::string_view name) const {
    const Tag* tag = findTag(tags, name);
    return tag == nullptr ? std::nullopt : std::optional(tag->value);
}

std::string printable(std::string_view bytes) {
    std::string line;
    line.reserve(bytes.size());
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte < 0x7F && character != '\\') {
            line.push_back(character);
            continue;
        }
        std::array<char, 8> escaped{};
        (void)std::snprintf(escaped.data(), escaped.size(), "\\x%02X", byte);
        line.append(escaped.data());
    }
    return line;
}

const std::string& Request::operator[](std::string_view name) const {
    const Tag* tag = findTag(message.tags, name);
    if (tag == nullptr) {
        throw std::out_of_range("no tag " + std::string(name) + " in a message of type " + message.type);
    }
    return tag->value;
}

std::int32_t Request::number(std::string_view name) const {
    return leadingNumber((*this)[name]);
}

Reply& Reply::with(std::string_view name, std::string value) {
    tags.push_back({std::string(name), std::move(value)});
    return *this;
}

Reply& Reply::withResult(std::string_view returnCode) {
    return with("Ex_RetCode", std::string(returnCode));
}

Tags frontOfReply(const Request& request) {
    return {{"Ex_TrTime", request.localTime}, {"Ex_SeqNo", request.message.sequence}};
}

} // namespace pdasim
