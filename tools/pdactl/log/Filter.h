#pragma once

#include "log/Exchange.h"

#include <optional>
#include <string>
#include <vector>

namespace pdactl::log {

/// Which exchanges somebody wants to see.
class Filter {
public:
    /// Request codes, names of members or message types. Throws Failure for one that does not exist.
    void setCodes(const std::vector<std::string>& codes);
    /// Outcomes, the library's results or the terminal's codes. Throws Failure for what is none of them.
    void setResults(const std::vector<std::string>& results);
    /// From the beginning of a moment on, and up to its end. Throw Failure for what is not a moment, and when
    /// nothing is between them.
    void setSince(const std::string& moment);
    void setUntil(const std::string& moment);
    void setOnlyFailed() { m_isOnlyFailed = true; }

    bool matches(const Exchange& exchange) const;

private:
    void requireOrder() const;

    std::vector<std::string> m_codes;
    std::vector<std::string> m_results;
    std::optional<Time> m_since;
    std::optional<Time> m_until;
    bool m_isOnlyFailed = false;
};

} // namespace pdactl::log
