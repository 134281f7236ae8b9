#include "util/FileLog.h"

#include "util/Descriptor.h"
#include "util/ForkSection.h"
#include "util/MutexGuard.h"

#include <array>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <new>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr int kFallbackNames = 19;
constexpr std::size_t kFormattedLimit = 102399;
constexpr mode_t kFileMode = 0640; // the lines carry key material

const char* levelWord(long level) {
    switch (level) {
    case pdalink::Message:
        return "MESSAGE  : ";
    case pdalink::Error:
        return "ERROR  : ";
    case pdalink::Warning:
        return "WARNING  : ";
    default:
        return "INFO     : ";
    }
}

using Stamp = std::array<char, 64>;

/// "2026-01-02 03:04:05678 ": milliseconds follow the seconds without a separator.
Stamp currentStamp() {
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    Stamp stamp{};
    const std::size_t used = std::strftime(stamp.data(), stamp.size(), "%Y-%m-%d %H:%M:%S", &local);
    std::snprintf(stamp.data() + used, stamp.size() - used, "%.03d ", static_cast<int>(now.tv_usec / 1000));
    return stamp;
}

// Names are composed without allocating, so that neither opening nor rotating can fail for lack of memory.
// One that is too long for a log fits, and is refused there.
using Name = std::array<char, 512 + 32>;

Name copyName(const char* name, int number) {
    Name copy{};
    std::snprintf(copy.data(), copy.size(), "%s.%d", name, number);
    return copy;
}

/// "<base>_T<number>.log", base being the name up to its last ".".
Name fallbackName(const char* name, int number) {
    const char* const point = std::strrchr(name, '.');
    const std::size_t length = point != nullptr ? static_cast<std::size_t>(point - name) : std::strlen(name);
    Name fallback{};
    std::snprintf(fallback.data(), fallback.size(), "%.*s_T%d.log", static_cast<int>(length), name, number);
    return fallback;
}

/// Opened for reading too, where that is allowed: see endTornLine.
int openForAppending(const char* path) {
    constexpr int flags = O_APPEND | O_CREAT;
    const int descriptor = pdalink::openRegularFile(path, O_RDWR | flags, kFileMode);
    return descriptor >= 0 ? descriptor : pdalink::openRegularFile(path, O_WRONLY | flags, kFileMode);
}

/// Ends the file's last line if that could not be written whole, by this process or an earlier one.
void endTornLine(FILE* file) {
    std::clearerr(file);
    const int descriptor = fileno(file);
    struct stat status {};
    char last = '\n';
    if (fstat(descriptor, &status) == 0 && status.st_size > 0 &&
        pread(descriptor, &last, 1, status.st_size - 1) == 1 && last != '\n') {
        std::fputc('\n', file);
    }
}

} // namespace

CFileLog::CFileLog() = default;

CFileLog::~CFileLog() {
    Close();
}

bool CFileLog::Open(const char* path) {
    const pdalink::ForkSection section;
    const MutexGuard guard(m_lock);
    return openUnlocked(path);
}

void CFileLog::Close() {
    const pdalink::ForkSection section;
    const MutexGuard guard(m_lock);
    closeUnlocked();
}

void CFileLog::Backup(int count) {
    const pdalink::ForkSection section;
    const MutexGuard guard(m_lock);
    backupUnlocked(count);
}

bool CFileLog::AddLog(long level, const char* text) {
    const pdalink::ForkSection section;
    const Stamp stamp = currentStamp();
    const MutexGuard guard(m_lock);
    if (m_file == nullptr) {
        return false;
    }
    if (std::ferror(m_file) != 0) {
        endTornLine(m_file);
    }
    const bool written = std::fputs(stamp.data(), m_file) >= 0 && std::fputs(levelWord(level), m_file) >= 0 &&
                         std::fputs(text != nullptr ? text : "", m_file) >= 0 &&
                         std::fputc('\n', m_file) >= 0;
    if (std::fflush(m_file) != 0 || !written) {
        __fpurge(m_file); // a part of this line must not appear in front of a later one
        return false;
    }
    return std::ftell(m_file) <= m_sizeLimitKiB * 1024 || rotateUnlocked();
}

bool CFileLog::AddLogEx(long level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    if (length < 0) {
        return false;
    }
    const auto size = static_cast<std::size_t>(length);
    if (size > kFormattedLimit) {
        std::fprintf(stderr, "pdalink: a formatted log line of %d bytes exceeds the limit of %zu\n", length,
                     kFormattedLimit);
        std::abort();
    }
    const std::unique_ptr<char[]> text(new (std::nothrow) char[size + 1]);
    if (text == nullptr) {
        return false;
    }
    va_start(arguments, format);
    std::vsnprintf(text.get(), size + 1, format, arguments);
    va_end(arguments);
    return AddLog(level, text.get());
}

bool CFileLog::openUnlocked(const char* path) {
    closeUnlocked();
    const std::size_t length = path != nullptr ? std::strlen(path) : sizeof m_fileName;
    if (length >= sizeof m_fileName) {
        return false;
    }
    Name wanted{}; // a rotation passes m_fileName itself, which tryOpen overwrites
    std::memcpy(wanted.data(), path, length);
    bool isOpen = tryOpen(wanted.data());
    for (int number = 1; number <= kFallbackNames && !isOpen; ++number) {
        isOpen = tryOpen(fallbackName(wanted.data(), number).data());
    }
    return isOpen;
}

bool CFileLog::tryOpen(const char* path) {
    const std::size_t length = std::strlen(path);
    if (length >= sizeof m_fileName) {
        return false;
    }
    const int descriptor = openForAppending(path);
    if (descriptor < 0) {
        return false;
    }
    m_file = fdopen(descriptor, "a");
    if (m_file == nullptr) {
        close(descriptor);
        return false;
    }
    endTornLine(m_file);
    std::memcpy(m_fileName, path, length + 1);
    m_isOpen = 1;
    return true;
}

void CFileLog::closeUnlocked() {
    if (m_file != nullptr) {
        std::fclose(m_file);
        m_file = nullptr;
        m_isOpen = 0;
    }
}

void CFileLog::backupUnlocked(int count) const {
    if (m_fileName[0] == '\0') {
        return;
    }
    std::remove(copyName(m_fileName, count).data());
    for (int number = count; number >= 2; --number) {
        std::rename(copyName(m_fileName, number - 1).data(), copyName(m_fileName, number).data());
    }
    std::rename(m_fileName, copyName(m_fileName, 1).data());
}

bool CFileLog::rotateUnlocked() {
    closeUnlocked();
    backupUnlocked(m_backupCount);
    return openUnlocked(m_fileName);
}
