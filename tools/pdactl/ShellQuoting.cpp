#include "ShellQuoting.h"

namespace pdactl {

std::string shellWord(const std::string& text) {
    constexpr const char* Plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789%+,-./:=@_";
    if (!text.empty() && text.find_first_not_of(Plain) == std::string::npos) {
        return text;
    }
    std::string word = "'";
    for (const char character : text) {
        word += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return word + "'";
}

} // namespace pdactl
