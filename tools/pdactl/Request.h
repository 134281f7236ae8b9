#pragma once

#include "Host.h"
#include "Outcome.h"
#include "Values.h"

#include <string>

namespace pdactl {

/// What the command line says about the way in which a command is carried out.
struct Settings {
    bool asJson = false;
    bool verbose = false;
    bool isDryRun = false;
};

/// The request in JSON.
std::string makeRequest(const Transaction& transaction, const Values& values);

/// For a request that the library did not carry out.
std::string refusalMessage();

/// Carries out a request of this code. `answer` is what the library wrote.
Outcome ask(const Host& host, const Transaction& transaction, const std::string& json, Answer& answer);

/// Carries out a request or a call, prints what came of it and returns the exit code.
int carryOut(const Transaction& transaction, const Values& given, Naming nameOf, const Settings& settings);

} // namespace pdactl
