#pragma once

#include <string>

/// A text of `length` characters whose length field says `stated`.
inline std::string messageOf(std::size_t length, int stated) {
    std::string text = std::to_string(1000000 + stated).substr(1);
    text.resize(length, 'x');
    return text;
}
