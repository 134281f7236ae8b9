#pragma once

#include <QFile>

#include <memory>
#include <string>

namespace pdactl::log {

/// What a log's file has grown by.
struct Growth {
    std::string bytes;
    bool hasGap = false; ///< something before them is lost
};

/// A log that is being written, over its rotations.
///
/// The open file stays the same while it is renamed, so that nothing is lost as long as no more than five
/// rotations pass between two looks.
class FollowedLog {
public:
    /// Where to begin: with the oldest copy, or with what is written from now on.
    enum class From { OldestCopy, End };

    explicit FollowedLog(std::string base, From from = From::OldestCopy);

    const std::string& base() const { return m_base; }

    /// What has been added since the last time, up to the next gap or the present end.
    Growth grow();

private:
    bool goOnAfter(int number);
    int ownNumber() const;
    bool openOldest();

    std::string m_base;
    std::unique_ptr<QFile> m_file; ///< null as long as there is none
};

} // namespace pdactl::log
