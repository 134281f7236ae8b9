#pragma once

#include "core/MessageTable.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim {

/** What was found behind a message's sequence number. */
struct BodyReading {
    Tags tags;
    std::vector<Tags> groups;
    /** What does not belong there; empty when the body is whole. */
    std::string violation;

    bool isWhole() const { return violation.empty(); }
};

/** Takes a body apart as the row lays it down. */
BodyReading readBody(std::string_view text, const MessageRow& row);

/** Takes a tag whose value holds no "<" from the front of the rest. */
std::optional<std::string> takePlainTag(std::string_view& rest, std::string_view name);

} // namespace pdasim
