#pragma once

#include "ExitCode.h"

#include <string>
#include <utility>
#include <vector>

namespace pdactl {

/** One value that the terminal returned, under its name in JSON. */
struct Field {
    std::string name;
    std::string value;
    bool isNumber = false;
};

/** What came of one call. */
struct Outcome {
    int result = 0;
    ExitCode exitCode = Success;
    std::string message; ///< for people; empty after success
    std::vector<Field> fields;
};

/** Which results a call has. */
enum class Results {
    Usual,  ///< 0 reply, 2 none, -1 not sent
    Teller, ///< 1 reply, -1 none or not sent
    Send,   ///< of a file: as usual, and 5 and 6 when it is too short or was refused
    Fetch,  ///< of a file: as usual
};

/**
 * Fills in exit code and message from the result and from the terminal's verdict, the field of this name
 * (null for calls without one).
 */
void judge(Outcome& outcome, Results results, const char* verdictName);

/** Prints the outcome on standard output: one JSON document, or a table. The message goes to standard error.
 */
void print(const Outcome& outcome, bool asJson);

/** Throws a Failure unless what was printed on standard output has arrived. */
void requireOutput();

} // namespace pdactl
