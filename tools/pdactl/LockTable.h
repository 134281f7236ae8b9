#pragma once

#include "CodeTable.h"
#include "WireMessage.h"

#include <pdalink/analysis/PDAXMLAnalysis.h>

#include <string>
#include <vector>

namespace pdactl {

/** The texts of a call, in the order of the member's parameters. */
using Texts = std::vector<char*>;

/** A member of the library that is called directly, and the command that stands for it. */
struct LockCall {
    const char* type; ///< of its message
    std::vector<const char*> command;
    const char* help;
    const char* example; ///< what an example has behind the command
    std::vector<Parameter> parameters;
    std::vector<const char*> outputs;
    int (*call)(CPDAXMLAnalysis& library, const Texts& in, const Texts& out);
    /** Fills in what the others imply, and throws a Failure when they do not go together; null for neither.
     */
    void (*complete)(std::vector<std::string>& inputs) = nullptr;
    /** Adds the message's body; null when it has a tag for each input. */
    void (*addBody)(WireMessage& message, const std::vector<std::string>& inputs) = nullptr;
};

const std::vector<LockCall>& allLockCalls();

/** The message of a call of which all inputs are there. */
WireMessage messageOf(const LockCall& call, const std::vector<std::string>& inputs);

} // namespace pdactl
