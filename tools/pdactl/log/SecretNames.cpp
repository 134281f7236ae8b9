#include "log/SecretNames.h"

#include <algorithm>
#include <array>

namespace pdactl::log {

namespace {

constexpr std::size_t MaxLength = 64; // of a name; a longer one is judged by its end

/** Anywhere in a name. */
constexpr std::array<std::string_view, 22> SecretParts{
    "key",        "chkval",  "checkval",   "cdk",      "unlockk", // keys and their check values
    "rnd",        "random",  "nonce",      "otccode",             // numbers used once
    "pwd",        "passw",   "passphrase", "passcode",            // users
    "pincode",    "figdata", "finger",     "secret",   "token",
    "credential", "hexval",  "filepath",   "biometr", // contents of files are named after their path
};

/** Only at a name's end: they begin or fill many harmless words. */
constexpr std::array<std::string_view, 4> SecretEnds{"pin", "pass", "otp", "otc"};

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

} // namespace

std::string secretName(std::string_view name) {
    if (name.find_first_not_of("0123456789") == std::string_view::npos) {
        return {};
    }
    std::string lower(name.substr(name.size() - std::min(name.size(), MaxLength)));
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    const std::string_view stem =
        std::string_view(lower).substr(0, lower.find_last_not_of("0123456789_") + 1);
    const bool isSecret =
        std::any_of(SecretParts.begin(), SecretParts.end(),
                    [&](std::string_view part) { return lower.find(part) != std::string::npos; }) ||
        std::any_of(SecretEnds.begin(), SecretEnds.end(),
                    [&](std::string_view end) { return endsWith(stem, end); });
    return isSecret ? lower : std::string();
}

} // namespace pdactl::log
