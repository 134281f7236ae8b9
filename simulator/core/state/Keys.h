#pragma once

#include <optional>
#include <string>

namespace pdasim {

struct Key {
    std::string value;
    std::string checkValue;
};

/** The keys that the host has installed on the terminal. */
struct Keys {
    std::optional<Key> master;
    std::optional<Key> encryption;
    std::optional<Key> mac;
};

} // namespace pdasim
