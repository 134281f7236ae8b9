#include "analysis/Values.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace pdalink {

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

void ResultText::copyAt(std::size_t offset, std::string_view bytes) {
    const std::size_t size = std::max(m_size, offset + bytes.size());
    m_beginning.resize(std::min(size, kMax));
    m_size = size;
    if (offset < kMax) {
        const std::string_view kept = bytes.substr(0, kMax - offset);
        m_beginning.replace(offset, kept.size(), kept);
    }
}

void Output::copyAt(std::size_t offset, std::string_view bytes) const {
    if (m_text != nullptr) {
        m_text->copyAt(offset, bytes);
    } else if (m_buffer != nullptr) {
        std::memcpy(m_buffer + offset, bytes.data(), bytes.size());
    }
}

void Output::copyTerminated(const QByteArray& bytes) const {
    copy(bytes);
    terminate(toSize(bytes));
}

void Output::append(const QByteArray& bytes) const {
    const std::size_t end = m_text != nullptr     ? m_text->size()
                            : m_buffer != nullptr ? std::strlen(m_buffer)
                                                  : 0;
    copyAt(end, {bytes.constData(), toSize(bytes)});
    terminate(end + toSize(bytes));
}

void Output::terminate(std::size_t length) const {
    if (m_buffer != nullptr) {
        m_buffer[length] = '\0';
    }
}

} // namespace pdalink
