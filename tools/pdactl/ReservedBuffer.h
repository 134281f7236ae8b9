#pragma once

#include <cstddef>
#include <string>

namespace pdactl {

/** Room for any value of a reply, which has 16 Mi characters at most, of three bytes each. */
constexpr std::size_t ReplyRoom = std::size_t{64} * 1024 * 1024;

/** Zeroed memory for an output of any length: address space only, until it is written. */
class ReservedBuffer {
public:
    /** Throws std::bad_alloc. */
    explicit ReservedBuffer(std::size_t size);
    ReservedBuffer(const ReservedBuffer&) = delete;
    ReservedBuffer& operator=(const ReservedBuffer&) = delete;
    ReservedBuffer(ReservedBuffer&& other) noexcept;
    ReservedBuffer& operator=(ReservedBuffer&&) = delete;
    ~ReservedBuffer();

    char* data() { return m_data; }
    std::string text() const { return m_data; }

private:
    char* m_data = nullptr;
    std::size_t m_size;
};

} // namespace pdactl
