#include "usb/MessageAssembler.h"

#include "core/Message.h"

#include <charconv>
#include <utility>

namespace pdasim {

namespace {

/** What the length field says; nothing when it holds no number. */
std::optional<std::size_t> announcedLength(std::string_view bytes) {
    const std::string_view field = bytes.substr(header::LengthOffset, header::LengthWidth);
    std::size_t length = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), length);
    const bool isNumber = error == std::errc() && end == field.data() + field.size();
    return isNumber && field.size() == header::LengthWidth ? std::optional(length) : std::nullopt;
}

/** Without the beginning of a character whose end is still to come. */
std::string_view withoutCutCharacter(std::string_view bytes) {
    std::size_t end = bytes.size();
    for (std::size_t back = 1; back <= 3 && back <= bytes.size(); ++back) {
        const auto byte = static_cast<unsigned char>(bytes[bytes.size() - back]);
        if ((byte & 0xC0U) == 0x80U) {
            continue;
        }
        const std::size_t size = byte >= 0xF0U ? 4 : byte >= 0xE0U ? 3 : byte >= 0xC0U ? 2 : 1;
        if (size > back) {
            end -= back;
        }
        break;
    }
    return bytes.substr(0, end);
}

} // namespace

std::optional<std::string> MessageAssembler::add(std::string_view piece) {
    m_gathered.append(piece);
    if (m_gathered.empty() || !isWhole(piece)) {
        return std::nullopt;
    }
    return take();
}

bool MessageAssembler::isWhole(std::string_view piece) const {
    if (piece.size() % m_packetSize != 0) {
        return true;
    }
    const auto announced = announcedLength(m_gathered);
    return !announced || lengthInCharacters(withoutCutCharacter(m_gathered)) >= *announced;
}

std::string MessageAssembler::take() {
    return std::exchange(m_gathered, {});
}

} // namespace pdasim
