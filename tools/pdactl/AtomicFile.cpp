#include "AtomicFile.h"

#include "Failure.h"
#include "Signals.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

namespace pdactl {

namespace {

namespace fs = std::filesystem;

void requireFilePlace(const std::string& path) {
    std::error_code unknown;
    const fs::file_status status = fs::status(path, unknown);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw Failure(LocalFailure, path + " is not a regular file. Give the name of a file to be written.");
    }
}

} // namespace

AtomicFile::AtomicFile(const std::string& path) : m_file(QString::fromStdString(path)) {
    requireFilePlace(path);
    if (!m_file.open(QIODevice::WriteOnly)) {
        fail(m_file.errorString());
    }
    // Qt keeps its name to itself. On most file systems it has none.
    std::error_code unknown;
    m_before =
        setTemporaryFile(fs::read_symlink("/proc/self/fd/" + std::to_string(m_file.handle()), unknown));
}

AtomicFile::~AtomicFile() {
    (void)setTemporaryFile(m_before);
}

void AtomicFile::restrictTo(mode_t mode) {
    struct stat status {};
    if (::fstat(m_file.handle(), &status) != 0 || ::fchmod(m_file.handle(), status.st_mode & mode) != 0) {
        fail(qt_error_string());
    }
}

void AtomicFile::write(std::string_view bytes) {
    const auto size = static_cast<qint64>(bytes.size());
    if (m_file.write(bytes.data(), size) != size) {
        fail(m_file.errorString());
    }
}

/// Qt synchronises the file too before it renames it, but does not tell when that fails.
void AtomicFile::commit() {
    if (!m_file.flush()) {
        fail(m_file.errorString());
    }
    if (::fsync(m_file.handle()) != 0) {
        fail(qt_error_string());
    }
    if (!m_file.commit()) {
        fail(m_file.errorString());
    }
}

void AtomicFile::fail(const QString& reason) const {
    throw Failure(LocalFailure, "Cannot write '" + m_file.fileName().toStdString() +
                                    "': " + reason.toStdString() +
                                    ". Choose a place where there is room and you may write.");
}

} // namespace pdactl
