#pragma once

#include "Host.h"
#include "Values.h"

#include <string>

namespace pdactl {

/// The request in JSON.
std::string makeRequest(const Transaction& transaction, const Values& values);

/// Carries out a request. `response` is what the library wrote, empty for nothing.
Outcome ask(const Host& host, const Transaction& transaction, const std::string& json, std::string& response);

/// Carries out a request or a call with values of which none is missing.
Outcome carryOut(const Host& host, const Transaction& transaction, const Values& values);

/// Carries out a request or a call, prints what came of it and returns the exit code.
int carryOut(const Transaction& transaction, const Values& given, Naming nameOf, const Settings& settings);

} // namespace pdactl
