#pragma once

#include "CodeTable.h"
#include "Host.h"
#include "Settings.h"

#include <string>

namespace pdactl {

/** How a user calls a parameter. */
using Naming = std::string (*)(const Parameter& parameter);
std::string asMember(const Parameter& parameter); ///< "pTotal"
std::string asOption(const Parameter& parameter); ///< "--total"

/**
 * All values of a request, presets included. Throws a Failure that names what is missing, empty, not an
 * integer, or does not go together.
 */
Values complete(const Code& code, const Values& given, Naming nameOf);

/** The request in JSON. */
std::string makeRequest(const Code& code, const Values& values);

/** For a request that the library did not carry out. */
std::string refusalMessage();

/** Carries out a request of this code. `answer` is what the library wrote. */
Outcome ask(const Host& host, const Code& code, const std::string& json, Answer& answer);

/** Carries out a code's request, prints what came of it and returns the exit code. */
int carryOut(const Code& code, const Values& given, Naming nameOf, const Settings& settings);

} // namespace pdactl
