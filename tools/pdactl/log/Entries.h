#pragma once

#include "log/Time.h"

#include <string>
#include <string_view>
#include <vector>

namespace pdactl::log {

enum class Level { Message, Error, Warning, Info };

/// One entry of a log. Head, text and line end together are its bytes.
struct Entry {
    std::string head; ///< stamp and level word; empty for what comes before the first stamp
    std::string text; ///< line ends inside it included
    std::string lineEnd;
    Time time = 0;
    Level level = Level::Info;
    bool isWhole = false; ///< what it carries is as long as it says
};

/// Takes the bytes of a log apart, as they come.
///
/// A line without a stamp belongs to the entry before it. So does one that imitates a stamp inside a message
/// or a request whose declared length agrees with what follows it, and one that repeats such an imitation
/// soon after.
class EntryReader {
public:
    /// The entries that are complete with these bytes.
    std::vector<Entry> feed(std::string_view bytes);

    /// The rest, complete or not, up to these last bytes. What comes after it begins a new entry.
    std::vector<Entry> finish(std::string_view bytes = {});

    /// Whether bytes are waiting, and the last of them ends a line.
    bool isAtLineEnd() const { return !m_pending.empty() && m_pending.back() == '\n'; }

private:
    std::vector<Entry> take(bool isEnd);
    bool isImitation(std::string_view line) const;
    void rememberImitations(std::string_view text);

    struct Imitation {
        std::string line;
        std::size_t entry; ///< the number of the entry in which it stood
    };

    std::string m_pending;
    std::vector<Imitation> m_imitations;
    std::size_t m_entries = 0;
};

/// All entries of a text.
std::vector<Entry> readEntries(std::string_view bytes);

} // namespace pdactl::log
