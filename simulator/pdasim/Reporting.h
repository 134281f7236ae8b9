#pragma once

#include <functional>
#include <string>
#include <vector>

namespace pdasim {

/** Runs the action; an exception becomes a message and the exit code for its kind. */
int reportingFailures(const std::function<int()>& action);

/** Tells what hosts have done against the protocol. */
void reportViolations(const std::vector<std::string>& violations);

} // namespace pdasim
