#pragma once

#include "Outcome.h"

#include <string>
#include <vector>

namespace pdactl {

/** One member of a request. */
struct Parameter {
    const char* name;   ///< in JSON
    const char* option; ///< of the task's command, without its dashes
    const char* help;
    bool isNumber = false;
    bool isSecret = false;        ///< never on a command line
    const char* preset = nullptr; ///< taken when the option is not given
};

/** A transaction code, and the command for people that stands for it. */
struct Code {
    const char* number;
    std::vector<const char*> command; ///< its words
    const char* help;
    const char* example; ///< what an example has behind the command
    std::vector<Parameter> parameters;
    std::vector<const char*> outputs;
    const char* verdict = "pRetCode"; ///< the output that holds the terminal's verdict; null for none
    Results results = Results::Usual;
};

const std::vector<Code>& allCodes();

/** Null for an unknown number. */
const Code* findCode(const std::string& number);

} // namespace pdactl
