#include "util/FileLog.h"

#include "util/MutexGuard.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <string>
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

std::string copyName(const std::string& name, int number) {
    return name + "." + std::to_string(number);
}

} // namespace

CFileLog::CFileLog() = default;

CFileLog::~CFileLog() {
    Close();
}

bool CFileLog::Open(const char* path) {
    const MutexGuard guard(m_lock);
    return openUnlocked(path);
}

void CFileLog::Close() {
    const MutexGuard guard(m_lock);
    closeUnlocked();
}

void CFileLog::Backup(int count) {
    const MutexGuard guard(m_lock);
    backupUnlocked(count);
}

bool CFileLog::AddLog(long level, const char* text) {
    const Stamp stamp = currentStamp();
    const MutexGuard guard(m_lock);
    if (m_file == nullptr) {
        return false;
    }
    const bool written = std::fputs(stamp.data(), m_file) >= 0 && std::fputs(levelWord(level), m_file) >= 0 &&
                         std::fputs(text != nullptr ? text : "", m_file) >= 0 &&
                         std::fputc('\n', m_file) >= 0;
    if (std::fflush(m_file) != 0 || !written) {
        return false;
    }
    return std::ftell(m_file) <= m_sizeLimitKiB * 1024 || rotateUnlocked();
}

bool CFileLog::AddLogEx(long level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string text(static_cast<std::size_t>(std::max(length, 0)), '\0');
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    va_end(arguments);
    if (length < 0) {
        return false;
    }
    if (text.size() > kFormattedLimit) {
        std::fprintf(stderr, "pdalink: a formatted log line of %d bytes exceeds the limit of %zu\n", length,
                     kFormattedLimit);
        std::abort();
    }
    return AddLog(level, text.c_str());
}

bool CFileLog::openUnlocked(const char* path) {
    closeUnlocked();
    if (path == nullptr || std::strlen(path) >= sizeof m_fileName) {
        return false;
    }
    const std::string wanted = path; // a rotation passes m_fileName itself, which tryOpen overwrites
    if (tryOpen(wanted.c_str())) {
        return true;
    }
    const std::string base = wanted.substr(0, wanted.rfind('.'));
    for (int number = 1; number <= kFallbackNames; ++number) {
        if (tryOpen((base + "_T" + std::to_string(number) + ".log").c_str())) {
            return true;
        }
    }
    return false;
}

bool CFileLog::tryOpen(const char* path) {
    const std::size_t length = std::strlen(path);
    if (length >= sizeof m_fileName) {
        return false;
    }
    const int descriptor = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, kFileMode);
    if (descriptor < 0) {
        return false;
    }
    m_file = fdopen(descriptor, "a");
    if (m_file == nullptr) {
        close(descriptor);
        return false;
    }
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
    const std::string name = m_fileName;
    if (name.empty()) {
        return;
    }
    std::remove(copyName(name, count).c_str());
    for (int number = count; number >= 2; --number) {
        std::rename(copyName(name, number - 1).c_str(), copyName(name, number).c_str());
    }
    std::rename(name.c_str(), copyName(name, 1).c_str());
}

bool CFileLog::rotateUnlocked() {
    closeUnlocked();
    backupUnlocked(m_backupCount);
    return openUnlocked(m_fileName);
}
