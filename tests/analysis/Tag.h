#pragma once

#include <string>

/// "<name>value</name>".
inline std::string tag(const std::string& name, const std::string& value) {
    return std::string("<").append(name).append(">").append(value).append("</").append(name).append(">");
}
