#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pdactl::log {

/** How the log shows that a member which the host called directly has come to its end. */
enum class Ending {
    Reply,    ///< by a reply, or by waiting in vain
    Written,  ///< by its message being written
    Begin,    ///< it writes no more than its first line
    LastLine, ///< by a line of its own
    Next,     ///< only by the next exchange: it may wait twice, or send several messages
};

/** A member of the library as the log shows it. */
struct Method {
    std::string_view name;
    std::string_view code; ///< of the request that calls it; empty for none
    std::string_view type; ///< of its messages; empty for none
    Ending ending = Ending::Next;
    bool isTeller = false;  ///< 1 is its success
    bool isHandler = false; ///< of a message that the terminal started
};

const std::vector<Method>& allMethods();

/** Null when there is none. */
const Method* methodOfName(std::string_view name);
const Method* methodOfCode(std::string_view code);
/** Null too when there are several. */
const Method* methodOfType(std::string_view type);

/** Types of the messages that the terminal starts. */
bool isTerminalType(std::string_view type);

} // namespace pdactl::log
