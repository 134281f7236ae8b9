#pragma once

#include <string>

namespace pdactl::log {

/** What a log's file has grown by. */
struct Growth {
    std::string bytes;
    bool hasGap = false; ///< something before them is lost
};

/**
 * A log that is being written, from its oldest copy on and over its rotations.
 *
 * The open descriptor stays with a file while it is renamed, so that nothing is lost as long as no more than
 * five rotations pass between two looks.
 */
class FollowedLog {
public:
    explicit FollowedLog(std::string base);
    FollowedLog(const FollowedLog&) = delete;
    FollowedLog& operator=(const FollowedLog&) = delete;
    ~FollowedLog();

    /** What has come since the last time, up to the end of one file; empty when nothing has. */
    Growth grow();

private:
    std::string readRest();
    int ownNumber() const;
    int oldestNumber() const;
    bool openNumber(int number);
    bool openOldest();
    void adopt(int descriptor);
    bool wasCut() const;

    std::string m_base;
    int m_descriptor = -1;
};

} // namespace pdactl::log
