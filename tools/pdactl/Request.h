#pragma once

#include "CodeTable.h"
#include "Host.h"

#include <map>
#include <string>

namespace pdactl {

/** Values of a request's members, by their names in JSON. */
using Values = std::map<std::string, std::string>;

/** The request in JSON. Throws a Failure that names every missing member, or a number that is none. */
std::string makeRequest(const Code& code, const Values& values);

/** For a request that the library did not carry out. */
std::string refusalMessage();

/** What a code's answer means. */
Outcome readAnswer(const Code& code, const Answer& answer);

/** Carries out a code's request, prints what came of it and returns the exit code. */
int carryOut(const Code& code, const Values& values, bool asJson, bool verbose);

} // namespace pdactl
