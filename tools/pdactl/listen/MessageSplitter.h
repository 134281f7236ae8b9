#pragma once

#include <QString>

#include <chrono>
#include <deque>
#include <string>
#include <vector>

namespace pdactl {

/// Cuts what a channel brings into messages.
///
/// A message is as many characters long as its first six digits say, these included. What does not begin a
/// message is skipped; a message that is not finished is given up when nothing comes any more.
class MessageSplitter {
public:
    using Clock = std::chrono::steady_clock;

    /// Text as it came; it may begin and end within a message.
    void add(const QString& text, Clock::time_point now);

    /// Gives up an unfinished message of which nothing has come for five seconds.
    void giveUpOld(Clock::time_point now);

    /// True while part of a message is there.
    bool isUnfinished() const { return !m_rest.isEmpty(); }

    /// The whole messages; whoever takes one takes it away.
    std::deque<QString> messages;
    /// What went wrong; whoever tells it takes it away.
    std::vector<std::string> warnings;

private:
    void cut(int position);

    QString m_rest;
    Clock::time_point m_lastAdded{};
};

} // namespace pdactl
