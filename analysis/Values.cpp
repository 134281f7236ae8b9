#include "analysis/Values.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

QByteArray Input::bytes() const {
    constexpr std::size_t longest = std::size_t{1} << 30U; // what Qt's texts hold
    if (m_text == nullptr) {
        return QByteArray::number(m_number);
    }
    const std::size_t length = std::strlen(m_text);
    if (length >= longest) {
        throw std::length_error("input text");
    }
    return QByteArray::fromRawData(m_text, static_cast<int>(length));
}

void TextOut::copy(const QByteArray& bytes) const {
    const auto size = static_cast<std::size_t>(bytes.size());
    if (m_text != nullptr) {
        m_text->resize(std::max(m_text->size(), size));
        m_text->replace(0, size, bytes.constData(), size);
    } else if (m_buffer != nullptr) {
        std::memcpy(m_buffer, bytes.constData(), size);
    }
}
