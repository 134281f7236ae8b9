#include "ReservedBuffer.h"

#include <sys/mman.h>

#include <new>
#include <utility>

namespace pdactl {

ReservedBuffer::ReservedBuffer(std::size_t size) : m_size(size) {
    void* const memory =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::bad_alloc();
    }
    m_data = static_cast<char*>(memory);
}

ReservedBuffer::ReservedBuffer(ReservedBuffer&& other) noexcept
    : m_data(std::exchange(other.m_data, nullptr)), m_size(other.m_size) {
}

ReservedBuffer::~ReservedBuffer() {
    if (m_data != nullptr) {
        (void)::munmap(m_data, m_size);
    }
}

} // namespace pdactl
