#pragma once

#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace pdasim {

/// Something that the system refuses; the text ends with what to do about it.
class AdvisedError : public std::system_error {
public:
    AdvisedError(int error, const std::string& what, const std::string& advice)
        : std::system_error(error, std::generic_category(), what),
          m_text(std::string(std::system_error::what()) + ". " + advice) {}

    const char* what() const noexcept override { return m_text.c_str(); }

private:
    std::string m_text;
};

/// Owns a file descriptor.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : m_descriptor(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_descriptor(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { reset(); }

    int get() const { return m_descriptor; }
    bool isOpen() const { return m_descriptor >= 0; }
    int release() { return std::exchange(m_descriptor, -1); }
    void reset(int descriptor = -1) {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
        m_descriptor = descriptor;
    }

private:
    int m_descriptor = -1;
};

/// An exception with `what` and the text of the current errno.
[[noreturn]] inline void throwSystemError(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace pdasim
