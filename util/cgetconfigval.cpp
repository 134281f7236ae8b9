#include "util/cgetconfigval.h"

#include "util/Descriptor.h"
#include "util/Guard.h"
#include "util/Settings.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sstream>
#include <unistd.h>
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
        stopForLength("the text after an equals sign", line.size() - equals - 1, kRawValueLimit);
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

/// A line's name and value.
struct Entry {
    std::string name;
    std::string value;
};

std::optional<Entry> splitLine(CGetConfigVal& reader, const std::string& line) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) {
        return {};
    }
    return Entry{squeezed(reader, line.substr(0, equals)), squeezed(reader, line.substr(equals + 1))};
}

void readReplySetting(CGetConfigVal& reader, std::string line, bool& waitForWholeReply) {
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    const std::optional<Entry> entry = splitLine(reader, line);
    if (entry && entry->name == "REPLY") {
        waitForWholeReply = entry->value == "whole";
    }
}

/// Closes a descriptor at the end of its scope.
class OpenFile {
public:
    explicit OpenFile(int descriptor) : m_descriptor(descriptor) {}
    ~OpenFile() { close(m_descriptor); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

private:
    int m_descriptor;
};

/// A file's text as far as it can be read; nothing if it cannot be opened.
std::optional<std::string> textOf(const char* path) {
    const int descriptor = pdalink::openRegularFile(path, O_RDONLY);
    if (descriptor < 0) {
        return {};
    }
    const OpenFile file(descriptor);
    std::string text;
    std::array<char, 4096> piece{};
    ssize_t size = 0;
    while ((size = read(descriptor, piece.data(), piece.size())) > 0 || (size == -1 && errno == EINTR)) {
        text.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    }
    return text;
}

} // namespace

bool pdalink::readSettings(const char* path, Settings& settings) {
    const std::optional<std::string> text = textOf(path);
    if (!text) {
        return false;
    }
    CGetConfigVal reader;
    std::istringstream lines(*text);
    std::string line;
    while (std::getline(lines, line)) {
        if (!readField(reader, line, "VID", settings.ids.Vid)) {
            readField(reader, line, "PID", settings.ids.Pid);
        }
        readReplySetting(reader, line, settings.waitForWholeReply);
    }
    return true;
}

CGetConfigVal::CGetConfigVal() = default;

bool CGetConfigVal::GetprofileConfig(const char* path, CParamConfig* config) {
    if (path == nullptr || config == nullptr) {
        return false;
    }
    return guarded(
        [&] {
            pdalink::Settings settings{*config};
            const bool isOpen = pdalink::readSettings(path, settings);
            *config = settings.ids;
            return isOpen;
        },
        [] { return false; });
}

// The signature is fixed by the exported name.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool CGetConfigVal::CompareAndGetVal(std::string line, const char* key, char* value) {
    const std::optional<Entry> entry = splitLine(*this, line);
    if (!entry || key == nullptr || entry->name != key) {
        return false;
    }
    if (value != nullptr) {
        std::copy(entry->value.begin(), entry->value.end(), value);
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
