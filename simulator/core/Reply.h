#pragma once

#include "core/Message.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim {

/** A host's message as the terminal takes it. */
struct Request {
    ParsedMessage message;
    /** The terminal's clock as yyyyMMddhhmmss. */
    std::string localTime;

    /** The value of a tag that every message of its kind has. */
    const std::string& operator[](std::string_view name) const;
    /** The value of a tag that the terminal has made sure to be a number. */
    std::int32_t number(std::string_view name) const;
};

/** What the terminal says, without the tags that stand at the front of every message. */
struct Reply {
    Tags tags;
    std::vector<Tags> groups;

    Reply& with(std::string_view name, std::string value);
    Reply& withResult(std::string_view returnCode);
};

/** The tags at the front of the reply to a request. */
Tags frontOfReply(const Request& request);

} // namespace pdasim
