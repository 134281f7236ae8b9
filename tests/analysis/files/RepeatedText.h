#pragma once

#include <cstddef>

/// A NUL-terminated text of one character that is as long as one likes: the same few pages of memory again
/// and again.
class RepeatedText {
public:
    /// Throws std::system_error when there is no room for it in the address space.
    RepeatedText(char character, std::size_t length);
    ~RepeatedText();
    RepeatedText(const RepeatedText&) = delete;
    RepeatedText& operator=(const RepeatedText&) = delete;

    /// Not to be written to.
    char* data() const { return m_text; }

private:
    char* m_text;
    std::size_t m_mapped;
};
