#pragma once

#include <chrono>
#include <string>

namespace pdactl {

/// One line on standard error that tells how far a transfer is; nothing when nobody watches it there.
class Progress {
public:
    /// `verb` begins the line.
    explicit Progress(std::string verb);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    /// Leaves an empty line for what is printed next.
    ~Progress();

    /// Draws the line anew. A total of 0 is not known yet.
    void show(int packets, int total);

private:
    using Clock = std::chrono::steady_clock;

    std::string m_verb;
    bool m_isWatched;
    Clock::time_point m_begin = Clock::now();
};

} // namespace pdactl
