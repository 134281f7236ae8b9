#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace pdactl {

/**
 * What the terminal said to a file's packets, as the library's log tells it.
 *
 * The result of a transfer does not tell: after a refused packet it can be a success although the last
 * packets were never sent.
 */
class TransferRecord {
public:
    /** Of the replies of this type. */
    explicit TransferRecord(std::string type);

    /** What was appended to the log, in any pieces. */
    void add(std::string_view logged);
    /** Takes the last line too, of which nobody could know that it was whole. */
    void finish();

    /** Packets that the terminal agreed to. */
    int agreed() const { return m_agreed; }
    int refused() const { return m_refused; }
    const std::string& firstRefusal() const { return m_firstRefusal; }

    /** How many packets the file has, as the terminal said last; 0 when it never did. */
    int total() const { return m_total; }
    /** True when every packet of the file arrived and they have so many digits in all. */
    bool hasWhole(std::size_t digits) const;

private:
    void takeLine(std::string_view line);
    void takeEntry();
    void takeReply(std::string_view reply);

    std::string m_type;
    std::string m_line;
    std::string m_entry;
    int m_agreed = 0;
    int m_refused = 0;
    std::string m_firstRefusal;
    int m_total = 0;
    std::map<int, std::size_t> m_digits;
};

} // namespace pdactl
