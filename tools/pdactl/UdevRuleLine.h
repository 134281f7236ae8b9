#pragma once

#include <string>
#include <vector>

namespace pdactl {

/** One of the parts of an udev rule that commas separate: KEY{attribute}=="value". */
struct RulePart {
    std::string key; ///< with its attribute
    std::string operation;
    std::string value;

    /** Whether it is a condition; else it assigns something. */
    bool isCondition() const { return operation == "==" || operation == "!="; }

    /** Whether a condition holds for this text. */
    bool holdsFor(const std::string& text) const;
};

using RuleLine = std::vector<RulePart>;

/** Takes a rule apart; what cannot be understood is left out, as udev leaves it out. */
RuleLine parseRule(const std::string& text);

/** Whether a rule is meant for a USB device with these ids, or for all of its maker's. */
bool namesDevice(const RuleLine& rule, const std::string& vendorId, const std::string& productId);

/** Whether nothing in a rule keeps it from a hidraw node. */
bool canMeetHidraw(const RuleLine& rule);

/** Whether its conditions hold for every hidraw node that is plugged in. */
bool alwaysMeetsHidraw(const RuleLine& rule);

/** What it assigns to a key; empty when it does not. */
std::string assigned(const RuleLine& rule, const std::string& key);

} // namespace pdactl
