#pragma once

#include <sys/types.h>

#include <string>

namespace pdactl {

/**
 * What this process's library appends to its log, read past the rotations that rename the log to NAME.1,
 * NAME.2 and so on.
 *
 * To be read often enough: of what has been rotated away nothing is left.
 */
class FollowedFile {
public:
    /** Begins at the present end of the file that the process has open in the directory. Throws a Failure
     * when it has none. */
    explicit FollowedFile(const std::string& directory);
    FollowedFile(const FollowedFile&) = delete;
    FollowedFile& operator=(const FollowedFile&) = delete;
    ~FollowedFile();

    /** What was appended since the last time. */
    std::string readNew();
    /** False once something was appended that could not be read. */
    bool isComplete() const { return m_isComplete; }
    const std::string& path() const { return m_path; }

private:
    std::string readToEnd();
    bool isStillWritten() const;
    bool goOnToNext();
    void open(const std::string& path);

    std::string m_path;
    int m_descriptor = -1;
    dev_t m_device = 0;
    ino_t m_inode = 0;
    bool m_isComplete = true;
};

} // namespace pdactl
