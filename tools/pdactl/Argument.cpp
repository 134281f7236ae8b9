#include "Argument.h"

#include "Failure.h"

#include <QByteArray>
#include <QString>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <system_error>

namespace pdactl {

namespace {

void removeLineEnd(std::string& text) {
    for (const char end : {'\n', '\r'}) {
        if (!text.empty() && text.back() == end) {
            text.pop_back();
        }
    }
}

} // namespace

void requireSendable(const std::string& name, const std::string& value) {
    const QByteArray bytes = QByteArray::fromStdString(value);
    if (bytes.contains('\0') || QString::fromUtf8(bytes).toUtf8() != bytes) {
        throw Failure(BadUsage, name + " holds bytes that are no UTF-8 text. Write them as the text that the "
                                       "terminal expects, hexadecimal digits for example.");
    }
    if (value.find_first_of("<>") != std::string::npos) {
        throw Failure(BadUsage, name + R"( holds "<" or ">", which have a meaning in the protocol. Give it )"
                                       "without them.");
    }
}

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

void requireNotEmpty(const std::string& name, const std::string& value) {
    if (isBlank(value)) {
        throw Failure(BadUsage, name + " is empty. Give its value; nothing was sent.");
    }
}

std::string readWhole(const std::string& path) {
    std::ostringstream content;
    if (path == "-") {
        static bool isTaken = false;
        if (isTaken) {
            throw Failure(BadUsage, "Standard input can give one value only: put the others into files and "
                                    "give @FILE for them.");
        }
        isTaken = true;
        content << std::cin.rdbuf();
        return content.str();
    }
    std::error_code missing;
    if (std::filesystem::is_directory(path, missing)) {
        throw Failure(LocalFailure, "Cannot read " + path + ": it is a folder. Give a file in it.");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw Failure(LocalFailure, "Cannot read " + path + ": " + std::strerror(errno) +
                                        ". Check its name and permissions.");
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
        requireSendable(name, text);
        return text;
    }
    std::string content = readWhole(text == "-" ? text : text.substr(1));
    removeLineEnd(content);
    requireSendable(name, content);
    return content;
}

} // namespace pdactl
