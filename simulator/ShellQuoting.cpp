#include "ShellQuoting.h"

namespace pdasim {

std::string quotedForShell(const std::string& text) {
    std::string quoted = "'";
    for (const char each : text) {
        quoted.append(each == '\'' ? std::string("'\\''") : std::string(1, each));
    }
    return quoted + "'";
}

} // namespace pdasim
