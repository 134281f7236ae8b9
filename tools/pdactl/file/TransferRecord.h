#pragma once

#include "log/Entries.h"

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace pdactl {

/// What the terminal said to a file's packets, as the library's log tells it.
///
/// The result of a transfer does not tell: after a refused packet it can be a success although the last
/// packets were never sent.
class TransferRecord {
public:
    /// Of the replies of this type.
    explicit TransferRecord(std::string type);

    /// What was appended to the log, in any pieces.
    void add(std::string_view logged);
    /// Takes the last line too, of which nobody could know that it was whole.
    void finish();

    /// True when every packet of the file arrived and they have this many digits in all.
    bool hasWhole(std::size_t digits) const;

    int accepted = 0;
    int refused = 0;
    std::string firstRefusal;
    int total = 0; ///< how many packets the file has, as the terminal said last; 0 when it never did

private:
    void take(const std::vector<log::Entry>& entries);
    void takeReply(std::string_view reply);

    std::string m_type;
    log::EntryReader m_reader;
    std::map<int, std::size_t> m_digits;
};

} // namespace pdactl
