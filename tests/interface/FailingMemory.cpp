// The program's own allocation functions come before the C library's.

#include "tests/interface/FailingMemory.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <malloc.h>

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the C library's own names
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
}

namespace {

std::atomic<int> allocationsLeft{0}; // 0: none fails
std::atomic<bool (*)()> refusal{nullptr};

bool isLibrarys(const void* caller) {
    Dl_info info{};
    if (dladdr(caller, &info) == 0 || info.dli_fname == nullptr) {
        return false;
    }
    constexpr std::array<const char*, 3> names{"libpdalink", "libQt5Core", "libstdc++"};
    for (const char* name : names) {
        if (std::strstr(info.dli_fname, name) != nullptr) {
            return true;
        }
    }
    return false;
}

[[maybe_unused]] bool fails(const void* caller) {
    bool (*const isRefused)() = refusal;
    const bool isTheOne = allocationsLeft > 0 && isLibrarys(caller) && --allocationsLeft == 0;
    const bool isFailure = isTheOne || (isRefused != nullptr && isRefused());
    if (isFailure) {
        errno = ENOMEM;
    }
    return isFailure;
}

} // namespace

FailingMemory::FailingMemory(int number) {
    allocationsLeft = number;
}

FailingMemory::~FailingMemory() {
    allocationsLeft = 0;
}

bool FailingMemory::happened() {
    return allocationsLeft <= 0;
}

void FailingMemory::refuse(bool (*isRefused)()) {
    refusal = isRefused;
}

#if !PDALINK_IS_SANITIZED // the sanitizers have functions of their own
// Exported, so that every library of the process runs into them.
#pragma GCC visibility push(default)
extern "C" {

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's names are reserved
void* malloc(std::size_t size) noexcept {
    return fails(__builtin_return_address(0)) ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return fails(__builtin_return_address(0)) ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    return fails(__builtin_return_address(0)) ? nullptr : __libc_realloc(memory, size);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

} // extern "C"
#pragma GCC visibility pop
#endif
