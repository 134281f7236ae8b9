#include "tests/interface/FailingAllocation.h"

#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <new>

namespace {

thread_local int allocationsLeft = 0; // 0: none fails

bool isInsideQt(const void* caller) {
    Dl_info info{};
    return dladdr(caller, &info) != 0 && std::strstr(info.dli_fname, "libQt5Core") != nullptr;
}

void* allocate(std::size_t size, const void* caller) noexcept {
    if (allocationsLeft > 0 && !isInsideQt(caller) && --allocationsLeft == 0) {
        return nullptr;
    }
    return std::malloc(size == 0 ? 1 : size);
}

void* allocateOrThrow(std::size_t size, const void* caller) {
    void* const memory = allocate(size, caller);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

FailingAllocation::FailingAllocation(int number) {
    allocationsLeft = number;
}

FailingAllocation::~FailingAllocation() {
    allocationsLeft = 0;
}

bool FailingAllocation::happened() const {
    return allocationsLeft == 0;
}

// Exported, so that all libraries of the process allocate through them.
// NOLINTBEGIN(cppcoreguidelines-no-malloc,misc-new-delete-overloads)
#pragma GCC visibility push(default)

void* operator new(std::size_t size) {
    return allocateOrThrow(size, __builtin_return_address(0));
}

void* operator new[](std::size_t size) {
    return allocateOrThrow(size, __builtin_return_address(0));
}

void* operator new(std::size_t size, const std::nothrow_t& /*unused*/) noexcept {
    return allocate(size, __builtin_return_address(0));
}

void* operator new[](std::size_t size, const std::nothrow_t& /*unused*/) noexcept {
    return allocate(size, __builtin_return_address(0));
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

#pragma GCC visibility pop
// NOLINTEND(cppcoreguidelines-no-malloc,misc-new-delete-overloads)
