#pragma once

#include "scenario/Json.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace pdasim {

/// A value of a document, and its JSON pointer.
struct Value {
    const Json& json;
    std::string path;

    [[noreturn]] void refuse(const std::string& reason) const;
    void require(bool holds, const std::string& reason) const;
};

/// What is done with a value. Whatever takes one refuses values that do not fit, with a JsonError.
using Take = std::function<void(const Value&)>;

struct Field {
    const char* name;
    Take take;
    bool isRequired = false;
};

/// Takes those of the fields that are present, in the order of the fields; refuses other members.
void takeObject(const Value& value, const std::vector<Field>& fields);
/// Refuses an object that has not exactly one of the members.
void requireOneOf(const Value& object, const std::vector<const char*>& names);
void takeList(const Value& value, const Take& takeElement, std::size_t minElements = 0);
bool takeFlag(const Value& value);
std::int64_t takeInteger(const Value& value, std::int64_t min, std::int64_t max);

/// What a string has to be; the description follows "must be".
struct TextRule {
    const char* description;
    bool (*accepts)(const std::string& text);
};
extern const TextRule kAnyText;
extern const TextRule kNonEmptyText;
/// An element of a list.
extern const TextRule kItem;
/// One lock's text in a list of locks.
extern const TextRule kColumn;
extern const TextRule kReturnCode;
extern const TextRule kMessageType;
extern const TextRule kHexText;
extern const TextRule kTagName;

std::string takeText(const Value& value, const TextRule& rule = kAnyText);

// The targets have to outlive what is returned.

template <typename Target>
Take text(Target& target, const TextRule& rule = kAnyText) {
    return [&target, &rule](const Value& value) { target = takeText(value, rule); };
}

template <typename Target>
Take integer(Target& target, std::int64_t min, std::int64_t max) {
    return [&target, min, max](const Value& value) {
        target = static_cast<Target>(takeInteger(value, min, max));
    };
}

/// Of up to ten minutes.
template <typename Target>
Take milliseconds(Target& target) {
    return [&target](const Value& value) {
        constexpr std::int64_t kMaxMilliseconds = 600000;
        target = std::chrono::milliseconds(takeInteger(value, 0, kMaxMilliseconds));
    };
}

Take flag(bool& target);
/// Takes the place of what the list holds.
Take items(std::vector<std::string>& list);

/// Binds the object that a function fills.
template <typename Target>
Take with(void (*read)(const Value& value, Target& target), Target& target) {
    return [read, &target](const Value& value) { read(value, target); };
}

/// "a, b, c"
std::string joined(const std::vector<std::string>& texts);

} // namespace pdasim
