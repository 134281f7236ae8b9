#pragma once

#include "log/Exchange.h"

#include <optional>
#include <string>
#include <vector>

namespace pdactl::log {

/// Which exchanges somebody wants to see.
struct Filter {
    std::vector<std::string> codes;   ///< request codes, names of members or message types
    std::vector<std::string> results; ///< outcomes, the library's results or the terminal's codes
    std::string since;                ///< from the beginning of this moment on
    std::string until;                ///< up to the end of this one
    bool isOnlyFailed = false;

    /// To be called before matches(). Throws Failure for what does not exist or is not a moment, and when
    /// nothing is between the two.
    void check();
    bool matches(const Exchange& exchange) const;

    std::optional<Moment> first = {}; ///< what check() has made of the moments
    std::optional<Moment> last = {};
};

} // namespace pdactl::log
