#pragma once

#include <string_view>
#include <vector>

namespace pdasim {

/** A scenario that comes with the program. */
struct BuiltInScenario {
    std::string_view name;
    std::string_view text;
};

const std::vector<BuiltInScenario>& builtInScenarios();

/** The JSON Schema that every scenario keeps to. */
std::string_view scenarioSchema();

} // namespace pdasim
