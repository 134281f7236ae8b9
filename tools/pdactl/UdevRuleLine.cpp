#include "UdevRuleLine.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <sstream>

namespace pdactl {

namespace {

/** What a hidraw node is to udev; it has none of the attributes that are empty here. */
struct Property {
    const char* key;
    const char* value;
};
constexpr std::array<Property, 7> HidrawNode{{{"ACTION", "add"},
                                              {"SUBSYSTEM", "hidraw"},
                                              {"KERNEL", "hidraw0"},
                                              {"DRIVER", ""},
                                              {"ENV{DEVTYPE}", ""},
                                              {"ATTR{idVendor}", ""},
                                              {"ATTR{idProduct}", ""}}};

constexpr std::array VendorKeys{"ATTRS{idVendor}", "ATTR{idVendor}", "ENV{ID_VENDOR_ID}"};
constexpr std::array ProductKeys{"ATTRS{idProduct}", "ATTR{idProduct}", "ENV{ID_MODEL_ID}"};

enum class Mention { None, Same, Other };

/** Whether the conditions on any of these keys hold for an id. */
template <std::size_t Count>
Mention mentions(const RuleLine& rule, const std::array<const char*, Count>& keys, const std::string& id) {
    Mention found = Mention::None;
    for (const RulePart& part : rule) {
        if (part.isCondition() && std::find(keys.begin(), keys.end(), part.key) != keys.end()) {
            if (!part.holdsFor(id)) {
                return Mention::Other;
            }
            found = Mention::Same;
        }
    }
    return found;
}

std::string converted(std::string text, int (*convert)(int)) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [convert](unsigned char c) { return static_cast<char>(convert(c)); });
    return text;
}

/** Whether it names the HID device above the node: bus, vendor and product are its name there. */
bool namesHidDevice(const RuleLine& rule, const std::string& vendorId, const std::string& productId) {
    const std::string name =
        converted("0003:" + vendorId + ":" + productId + ".0001", [](int c) { return std::toupper(c); });
    return std::any_of(rule.begin(), rule.end(), [&](const RulePart& part) {
        return part.key == "KERNELS" && part.operation == "==" && part.value.find(':') != std::string::npos &&
               part.holdsFor(name);
    });
}

/** What a condition asks for, if a hidraw node is known to have it or not. */
const Property* hidrawProperty(const RulePart& part) {
    const auto* const found =
        std::find_if(HidrawNode.begin(), HidrawNode.end(),
                     [&part](const Property& each) { return part.isCondition() && part.key == each.key; });
    return found == HidrawNode.end() ? nullptr : found;
}

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t,\r");
    const std::size_t end = text.find_last_not_of(" \t\r");
    return begin == std::string::npos || end < begin ? "" : text.substr(begin, end - begin + 1);
}

} // namespace

bool RulePart::holdsFor(const std::string& text) const {
    std::istringstream alternatives(value);
    bool isMatched = value.empty() && text.empty();
    for (std::string pattern; std::getline(alternatives, pattern, '|');) {
        isMatched = isMatched || ::fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
    }
    return isMatched == (operation == "==");
}

RuleLine parseRule(const std::string& text) {
    constexpr const char* Operators = "=!+-:";
    RuleLine rule;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t begin = text.find_first_of(Operators, at);
        const std::size_t opening = text.find('"', at);
        const std::size_t closing = text.find('"', opening == std::string::npos ? opening : opening + 1);
        if (begin == std::string::npos || closing == std::string::npos || opening < begin) {
            break;
        }
        const std::size_t behind = std::min(text.find_first_not_of(Operators, begin), opening);
        rule.push_back({trimmed(text.substr(at, begin - at)), text.substr(begin, behind - begin),
                        text.substr(opening + 1, closing - opening - 1)});
        at = closing + 1;
    }
    return rule;
}

bool namesDevice(const RuleLine& rule, const std::string& vendorId, const std::string& productId) {
    // In /sys they are written small, and udev tells the cases apart.
    const auto small = [](const std::string& id) {
        return converted(id, [](int c) { return std::tolower(c); });
    };
    return (mentions(rule, VendorKeys, small(vendorId)) == Mention::Same &&
            mentions(rule, ProductKeys, small(productId)) != Mention::Other) ||
           namesHidDevice(rule, vendorId, productId);
}

bool canMeetHidraw(const RuleLine& rule) {
    return std::none_of(rule.begin(), rule.end(), [](const RulePart& part) {
        const Property* const property = hidrawProperty(part);
        return property != nullptr && !part.holdsFor(property->value);
    });
}

bool alwaysMeetsHidraw(const RuleLine& rule) {
    return std::all_of(rule.begin(), rule.end(), [](const RulePart& part) {
        const Property* const property = hidrawProperty(part);
        return !part.isCondition() || (property != nullptr && part.holdsFor(property->value));
    });
}

std::string assigned(const RuleLine& rule, const std::string& key) {
    const auto part = std::find_if(rule.rbegin(), rule.rend(), [&key](const RulePart& each) {
        return each.key == key && !each.isCondition();
    });
    return part == rule.rend() ? "" : part->value;
}

} // namespace pdactl
