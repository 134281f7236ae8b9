#include "AtomicFile.h"

#include "Endings.h"
#include "Failure.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace pdactl {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path) {
    throw Failure(LocalFailure, "Cannot write " + path + ": " + std::strerror(errno) +
                                    ". Choose a place where there is room and you may write.");
}

/** Where the file really lies: a link stays a link. */
std::string resolved(const std::string& path) {
    std::error_code error;
    const fs::path place = fs::canonical(path, error);
    return error ? path : place.string();
}

/** The mode of the file that is replaced, or that of a new one. */
mode_t modeFor(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0) {
        if (!S_ISREG(status.st_mode)) {
            throw Failure(LocalFailure, path + " is no regular file. Give the name of a file to be written.");
        }
        return status.st_mode & 07777U;
    }
    const mode_t mask = ::umask(0);
    (void)::umask(mask);
    return 0666U & ~mask;
}

void synchroniseDirectory(const fs::path& file) {
    const fs::path parent = file.parent_path();
    const int directory = ::open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        (void)::fsync(directory);
        (void)::close(directory);
    }
}

} // namespace

AtomicFile::AtomicFile(const std::string& path)
    : m_path(resolved(path)), m_temporaryPath(m_path + ".XXXXXX") {
    const mode_t mode = modeFor(m_path);
    m_descriptor = ::mkostemp(m_temporaryPath.data(), O_CLOEXEC);
    if (m_descriptor < 0) {
        fail(path);
    }
    setTemporaryFile(m_temporaryPath);
    (void)::fchmod(m_descriptor, mode);
}

AtomicFile::~AtomicFile() {
    setTemporaryFile({});
    if (m_descriptor >= 0) {
        (void)::close(m_descriptor);
        (void)::unlink(m_temporaryPath.c_str());
    }
}

void AtomicFile::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(m_descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            fail(m_path);
        }
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

void AtomicFile::commit() {
    if (::fsync(m_descriptor) != 0 || std::rename(m_temporaryPath.c_str(), m_path.c_str()) != 0) {
        fail(m_path);
    }
    (void)::close(m_descriptor);
    m_descriptor = -1;
    synchroniseDirectory(m_path);
}

} // namespace pdactl
