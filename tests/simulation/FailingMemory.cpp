// The program's own allocation functions come before the C library's.

#include "FailingMemory.h"

#include "util/Util.h"

#include <QtGlobal>
#include <atomic>
#include <cerrno>
#include <cstddef>

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the C library's own names
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
}

namespace {

std::atomic<bool (*)()> refusal{nullptr};

[[maybe_unused]] bool fails() {
    bool (*const isRefused)() = refusal;
    const bool isFailure = isRefused != nullptr && isRefused();
    if (isFailure) {
        errno = ENOMEM;
    }
    return isFailure;
}

} // namespace

void pdalink::test::refuseMemory(bool (*isRefused)()) {
    refusal = isRefused;
}

void pdalink::test::initialiseQt() {
    qDebug("%s", qUtf8Printable(CUtil::getCurrentTimes()));
    CUtil::Delay_MSec(0);
}

#if !PDALINK_IS_SANITIZED
// Exported, so that every library of the process runs into them.
#pragma GCC visibility push(default)
extern "C" {

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's names are reserved
void* malloc(std::size_t size) noexcept {
    return fails() ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return fails() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    return fails() ? nullptr : __libc_realloc(memory, size);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

} // extern "C"
#pragma GCC visibility pop
#endif
