#pragma once

#include "Outcome.h"

#include <map>
#include <string>
#include <vector>

namespace pdactl {

/** What a value is, and how it is sent. */
enum class Kind {
    Text,
    Needed, ///< a text that must not be empty
    Secret, ///< the same, and never on a command line
    Integer,
    Total,    ///< an integer: how many labels the next parameter lists
    Items,    ///< a list, sent with the number of its values before it
    Gbk,      ///< a text that is sent in this encoding
    FileText, ///< sent in packets
    NotSent,
};

/** One member of a request. */
struct Parameter {
    const char* name;   ///< in JSON
    const char* tag;    ///< in the message to the terminal
    const char* option; ///< of the task's command, without its dashes
    const char* help;
    Kind kind = Kind::Text;
    const char* preset = nullptr; ///< taken when the option is not given

    bool isInteger() const { return kind == Kind::Integer || kind == Kind::Total; }
    bool isSecret() const { return kind == Kind::Secret; }
    bool mayBeEmpty() const { return kind != Kind::Needed && kind != Kind::Secret; }
};

/** Values of a request's members, by their names in JSON. */
using Values = std::map<std::string, std::string>;

/** A transaction code, and the command for people that stands for it. */
struct Code {
    const char* number;
    const char* type;                 ///< of its message
    std::vector<const char*> command; ///< its words
    const char* help;
    const char* example;               ///< what an example has behind the command
    std::vector<Parameter> parameters; ///< in the order in which they are sent
    std::vector<const char*> outputs;
    const char* verdict = "pRetCode"; ///< the output that holds the terminal's verdict; null for none
    Results results = Results::Usual;
};

const std::vector<Code>& allCodes();

/** Null for an unknown number. */
const Code* findCode(const std::string& number);

} // namespace pdactl
