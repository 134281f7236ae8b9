#include "util/cgetconfigval.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <vector>

namespace {

constexpr std::size_t kNameLimit = 256;
constexpr std::size_t kRawValueLimit = 255;

[[noreturn]] void stopForLength(const char* what, std::size_t length, std::size_t limit) {
    std::fprintf(stderr, "PDAConfigure.ini: %s of %zu bytes, fewer than %zu are allowed\n", what, length,
                 limit);
    std::abort();
}

void guardLengths(const std::string& line) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) {
        return;
    }
    if (equals >= kNameLimit) {
        stopForLength("a name", equals, kNameLimit);
    }
    if (line.size() - equals - 1 >= kRawValueLimit) {
        stopForLength("the text behind an equals sign", line.size() - equals - 1, kRawValueLimit);
    }
}

/// Fills `field` if the line is named `key`.
bool readField(CGetConfigVal& reader, const std::string& line, const char* key, char (&field)[16]) {
    if (line.find(key) == std::string::npos) {
        return false;
    }
    guardLengths(line);
    std::vector<char> value(line.size() + 1, '\0');
    if (!reader.CompareAndGetVal(line, key, value.data())) {
        return false;
    }
    const std::size_t length = std::strlen(value.data());
    if (length >= sizeof field) {
        stopForLength("an id", length, sizeof field);
    }
    std::memcpy(field, value.data(), length + 1);
    return true;
}

std::string squeezed(CGetConfigVal& reader, std::string text) {
    reader.eraseSpace(text.data());
    text.resize(std::strlen(text.data()));
    return text;
}

} // namespace

CGetConfigVal::CGetConfigVal() = default;

bool CGetConfigVal::GetprofileConfig(const char* path, CParamConfig* config) {
    if (path == nullptr || config == nullptr) {
        return false;
    }
    std::ifstream file(path);
    if (!file.is_open()) {
        return false;
    }
    std::string line;
    while (std::getline(file, line)) {
        if (!readField(*this, line, "VID", config->Vid)) {
            readField(*this, line, "PID", config->Pid);
        }
    }
    return true;
}

// The signature is fixed by the exported name.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool CGetConfigVal::CompareAndGetVal(std::string line, const char* key, char* value) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos || key == nullptr || squeezed(*this, line.substr(0, equals)) != key) {
        return false;
    }
    const std::string found = squeezed(*this, line.substr(equals + 1));
    if (value != nullptr) {
        std::copy(found.begin(), found.end(), value);
    }
    return true;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static)
void CGetConfigVal::eraseSpace(char* text) {
    if (text == nullptr) {
        return;
    }
    char* end = text;
    bool blankPending = false;
    for (const char* next = text; *next != '\0'; ++next) {
        if (*next == ' ') {
            blankPending = end != text;
            continue;
        }
        if (blankPending) {
            *end++ = ' ';
            blankPending = false;
        }
        *end++ = *next;
    }
    *end = '\0';
}
