#pragma once

#include <cstddef>
#include <string>

namespace pdactl {

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
