#pragma once

#include "CodeTable.h"

#include <pdalink/analysis/PDAXMLAnalysis.h>

#include <vector>

namespace pdactl {

/** The texts of a call, in the order of the member's parameters. */
using Texts = std::vector<char*>;

/** A member of the library that is called directly, and the command that stands for it. */
struct LockCall {
    std::vector<const char*> command;
    const char* help;
    std::vector<Parameter> parameters;
    std::vector<const char*> outputs;
    int (*call)(CPDAXMLAnalysis& library, const Texts& in, const Texts& out);
};

const std::vector<LockCall>& allLockCalls();

} // namespace pdactl
