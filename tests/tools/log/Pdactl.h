#pragma once

#include "PdactlRun.h"

#include <string>
#include <vector>

namespace pdactl::log::test {

/// Runs "pdactl log" with these arguments.
inline pdalink::test::ProgramResult pdactlLog(pdalink::test::Words arguments) {
    arguments.insert(arguments.begin(), "log");
    return pdalink::test::runPdactl(arguments);
}

inline bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

inline std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t i = text.find(part); i != std::string::npos; i = text.find(part, i + part.size())) {
        ++found;
    }
    return found;
}

} // namespace pdactl::log::test
