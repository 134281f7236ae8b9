#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

/// What a target does with an input: it stops the process when the code under test is wrong about it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Stops the process unless it is so. What is required is on standard error then.
inline void require(bool condition, std::string_view what) {
    if (!condition) {
        std::fprintf(stderr, "not so: %.*s\n", static_cast<int>(what.size()), what.data());
        std::abort();
    }
}

/// Takes an input apart from its front. What is not there counts as zero or as empty.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : m_rest(reinterpret_cast<const char*>(data), size) {}

    bool isEmpty() const { return m_rest.empty(); }

    /// A number below the limit, which is 256 at most: one byte.
    std::size_t below(std::size_t limit) {
        const std::string byte = take(1);
        return byte.empty() ? 0 : static_cast<unsigned char>(byte.front()) % limit;
    }

    /// The bytes up to the next line feed, which is dropped.
    std::string line() {
        std::string text = take(m_rest.find('\n'));
        (void)take(1);
        return text;
    }

    /// The same, without taking it.
    std::string peek() const { return std::string(m_rest.substr(0, m_rest.find('\n'))); }

    std::string rest() { return take(m_rest.size()); }

private:
    std::string take(std::size_t count) {
        std::string text(m_rest.substr(0, count));
        m_rest.remove_prefix(text.size());
        return text;
    }

    std::string_view m_rest;
};

} // namespace fuzz
