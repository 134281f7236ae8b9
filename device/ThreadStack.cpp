#include "device/ThreadStack.h"

#include <new>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

namespace pdalink {

namespace {

std::size_t usualSize() {
    std::size_t size = 0;
    pthread_attr_t usual;
    pthread_attr_init(&usual);
    pthread_attr_getstacksize(&usual, &size);
    pthread_attr_destroy(&usual);
    return size;
}

} // namespace

ThreadStack::ThreadStack()
    : m_size(usualSize()),
      m_address(mmap(nullptr, m_size, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK | MAP_NORESERVE, -1, 0)) {
    if (m_address == MAP_FAILED) {
        throw std::bad_alloc();
    }
    mprotect(m_address, static_cast<std::size_t>(sysconf(_SC_PAGESIZE)), PROT_NONE);
}

ThreadStack::~ThreadStack() {
    if (m_address != nullptr) {
        munmap(m_address, m_size);
    }
}

} // namespace pdalink
