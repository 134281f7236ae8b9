#include "Argument.h"

#include "Failure.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

namespace pdactl {

std::string readWhole(const std::string& path) {
    std::ostringstream content;
    if (path == "-") {
        content << std::cin.rdbuf();
        return content.str();
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw Failure(LocalFailure, "Cannot read " + path + ": " + std::strerror(errno));
    }
    content << file.rdbuf();
    return content.str();
}

std::string readArgument(const std::string& name, const std::string& text, bool isSecret) {
    if (text != "-" && text.rfind('@', 0) != 0) {
        if (isSecret) {
            throw Failure(BadUsage,
                          name + " is secret and must not stand on the command line, where every user of "
                                 "this machine sees it. Put it into a file and give @FILE, or send it to "
                                 "standard input and give -");
        }
        return text;
    }
    std::string content = readWhole(text == "-" ? text : text.substr(1));
    if (!content.empty() && content.back() == '\n') {
        content.pop_back();
    }
    return content;
}

} // namespace pdactl
