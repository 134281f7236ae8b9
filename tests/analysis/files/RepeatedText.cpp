#include "RepeatedText.h"

#include <cerrno>
#include <cstring>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace {

constexpr std::size_t kPiece = std::size_t{1} << 22U; // bytes, a multiple of any page's

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

char* map(char* at, std::size_t size, int flags, int file) {
    void* const mapped =
        mmap(at, size, PROT_READ | PROT_WRITE, flags | (at != nullptr ? MAP_FIXED : 0), file, 0);
    if (mapped == MAP_FAILED) { // NOLINT(performance-no-int-to-ptr): the system's own constant
        fail("mmap");
    }
    return static_cast<char*>(mapped);
}

} // namespace

RepeatedText::RepeatedText(char character, std::size_t length) {
    const std::size_t pieces = length / kPiece;
    m_mapped = (pieces + 1) * kPiece;
    m_text = map(nullptr, m_mapped, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1);
    const int file = memfd_create("repeated text", MFD_CLOEXEC);
    if (file < 0 || ftruncate(file, kPiece) != 0) {
        fail("memfd");
    }
    for (std::size_t i = 0; i < pieces; ++i) {
        map(m_text + i * kPiece, kPiece, MAP_SHARED, file);
    }
    close(file);
    if (pieces > 0) {
        std::memset(m_text, character, kPiece);
    }
    std::memset(m_text + pieces * kPiece, character, length % kPiece); // what follows is 0
}

RepeatedText::~RepeatedText() {
    munmap(m_text, m_mapped);
}
