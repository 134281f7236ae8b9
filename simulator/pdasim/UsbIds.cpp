#include "pdasim/UsbIds.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <stdexcept>

namespace pdasim {

namespace {

constexpr std::size_t kIdDigits = 4;

/// Without leading and trailing spaces, each inner run of them being one.
std::string squeeze(const std::string& text) {
    std::string squeezed;
    for (const char character : text) {
        if (character != ' ' || (!squeezed.empty() && squeezed.back() != ' ')) {
            squeezed.push_back(character);
        }
    }
    if (!squeezed.empty() && squeezed.back() == ' ') {
        squeezed.pop_back();
    }
    return squeezed;
}

std::string withoutPrefix(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    if (text.compare(0, 2, "0x") == 0) {
        text.erase(0, 2);
    }
    return text;
}

std::string requireId(const std::optional<std::string>& value, const char* name) {
    if (!value) {
        throw std::invalid_argument(std::string("no line ") + name + "=...; add one, " + name +
                                    "=0x1209 for example, or give both ids with --vid and --pid");
    }
    return normaliseId(*value);
}

} // namespace

std::string normaliseId(const std::string& text) {
    std::string digits = withoutPrefix(text);
    const bool hexadecimal =
        std::all_of(digits.begin(), digits.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
    if (digits.empty() || digits.size() > kIdDigits || !hexadecimal) {
        throw std::invalid_argument("\"" + text +
                                    "\" is no USB id: up to four hexadecimal digits, 0x or not");
    }
    std::transform(digits.begin(), digits.end(), digits.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::string(kIdDigits - digits.size(), '0') + digits;
}

UsbIds readIds(std::istream& ini) {
    std::optional<std::string> vendor;
    std::optional<std::string> product;
    for (std::string line; std::getline(ini, line);) {
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) {
            continue;
        }
        const std::string name = squeeze(line.substr(0, equals));
        const std::string value = squeeze(line.substr(equals + 1));
        if (name == "VID") {
            vendor = value;
        } else if (name == "PID") {
            product = value;
        }
    }
    return {requireId(vendor, "VID"), requireId(product, "PID")};
}

} // namespace pdasim
