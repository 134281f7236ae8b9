#include "FollowedFile.h"

#include "Failure.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <system_error>

namespace pdactl {

namespace {

namespace fs = std::filesystem;

constexpr const char* OwnDescriptors = "/proc/self/fd";
constexpr int RotatedCopies = 5;

/** The file of this directory that the process has open. */
std::string openFileIn(const std::string& directory) {
    std::error_code missing;
    const fs::path wanted = fs::canonical(directory, missing);
    for (const fs::directory_entry& entry : fs::directory_iterator(OwnDescriptors, missing)) {
        std::error_code gone;
        const fs::path target = fs::read_symlink(entry.path(), gone);
        if (!gone && !wanted.empty() && target.parent_path() == wanted) {
            return target;
        }
    }
    throw Failure(LocalFailure, "The library cannot write its log in " + directory +
                                    ", and without it a packet that the terminal refuses would go unseen. "
                                    "Run 'pdactl doctor' to find out why.");
}

std::string copyName(const std::string& path, int number) {
    return number == 0 ? path : path + "." + std::to_string(number);
}

} // namespace

FollowedFile::FollowedFile(const std::string& directory) : m_path(openFileIn(directory)) {
    open(m_path);
    if (m_descriptor < 0) {
        throw Failure(LocalFailure, "Cannot read " + m_path + ". Run 'pdactl doctor' to find out why.");
    }
    (void)::lseek(m_descriptor, 0, SEEK_END);
}

FollowedFile::~FollowedFile() {
    if (m_descriptor >= 0) {
        (void)::close(m_descriptor);
    }
}

std::string FollowedFile::readNew() {
    std::string text = readToEnd();
    while (m_isComplete && !isStillWritten()) {
        text += readToEnd(); // what came between the last look and the rotation
        m_isComplete = goOnToNext();
        text += readToEnd();
    }
    return text;
}

std::string FollowedFile::readToEnd() {
    std::string text;
    std::array<char, 65536> piece{};
    for (ssize_t length = 0; (length = ::read(m_descriptor, piece.data(), piece.size())) > 0;) {
        text.append(piece.data(), static_cast<std::size_t>(length));
    }
    return text;
}

bool FollowedFile::isStillWritten() const {
    std::error_code missing;
    for (const fs::directory_entry& entry : fs::directory_iterator(OwnDescriptors, missing)) {
        struct stat status {};
        if (entry.path().filename() != std::to_string(m_descriptor) &&
            ::stat(entry.path().c_str(), &status) == 0 && status.st_dev == m_device &&
            status.st_ino == m_inode) {
            return true;
        }
    }
    return false;
}

/** To the file that was begun when the present one was rotated away. */
bool FollowedFile::goOnToNext() {
    for (int number = 1; number <= RotatedCopies; ++number) {
        struct stat status {};
        if (::stat(copyName(m_path, number).c_str(), &status) == 0 && status.st_dev == m_device &&
            status.st_ino == m_inode) {
            const int previous = m_descriptor;
            open(copyName(m_path, number - 1));
            (void)::close(previous);
            return m_descriptor >= 0;
        }
    }
    return false;
}

void FollowedFile::open(const std::string& path) {
    m_descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (m_descriptor >= 0 && ::fstat(m_descriptor, &status) == 0) {
        m_device = status.st_dev;
        m_inode = status.st_ino;
    }
}

} // namespace pdactl
