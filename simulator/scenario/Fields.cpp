#include "scenario/Fields.h"

#include "core/Message.h"

#include <algorithm>
#include <cctype>

namespace pdasim {

namespace {

/// A number is shown as "an integer" only when it is one.
std::string kindOf(const Json& json) {
    if (json.is_number()) {
        return integerIn(json) ? "an integer" : "a number";
    }
    if (json.is_boolean()) {
        return "true or false";
    }
    return json.is_null()
               ? "null"
               : std::string(json.is_array() || json.is_object() ? "an " : "a ") + json.type_name();
}

void requireKind(const Value& value, bool holds, const std::string& wanted) {
    value.require(holds, "must be " + wanted + ", is " + kindOf(value.json));
}

bool hasCharacters(const std::string& text, std::size_t min, std::size_t max) {
    const auto count = static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
    return count >= min && count <= max;
}

bool isAll(const std::string& text, int (*kind)(int)) {
    return std::all_of(text.begin(), text.end(), [kind](unsigned char byte) { return kind(byte) != 0; });
}

bool isColumn(const std::string& text) {
    return hasCharacters(text, 0, 1000) && text.find(';') == std::string::npos;
}

bool isTagName(const std::string& text) {
    return hasCharacters(text, 1, 40) && std::all_of(text.begin(), text.end(), [](unsigned char byte) {
               return std::isalpha(byte) != 0 || byte == '_';
           });
}

} // namespace

const TextRule kAnyText = {"", [](const std::string& /*text*/) { return true; }};
const TextRule kNonEmptyText = {"a string that is not empty",
                                [](const std::string& text) { return !text.empty(); }};
const TextRule kItem = {"1 to 1000 characters without a semicolon",
                        [](const std::string& text) { return !text.empty() && isColumn(text); }};
const TextRule kColumn = {"at most 1000 characters without a semicolon", isColumn};
const TextRule kReturnCode = {
    "six digits", [](const std::string& text) { return text.size() == 6 && isAll(text, std::isdigit); }};
const TextRule kMessageType = {
    "four digits", [](const std::string& text) { return text.size() == 4 && isAll(text, std::isdigit); }};
const TextRule kHexText = {"at most 1000 bytes of two hexadecimal digits", [](const std::string& text) {
                               return text.size() <= 2000 && text.size() % 2 == 0 &&
                                      isAll(text, std::isxdigit);
                           }};
const TextRule kTagName = {"a tag's name without brackets", isTagName};

void Value::refuse(const std::string& reason) const {
    throw JsonError("at " + (path.empty() ? "/" : path) + ": " + reason);
}

void Value::require(bool holds, const std::string& reason) const {
    if (!holds) {
        refuse(reason);
    }
}

void takeObject(const Value& value, const std::vector<Field>& fields) {
    requireKind(value, value.json.is_object(), "an object");
    std::vector<std::string> names;
    for (const Field& field : fields) {
        names.emplace_back(field.name);
        value.require(!field.isRequired || value.json.contains(field.name),
                      "\"" + names.back() + "\" is missing");
    }
    for (const auto& member : value.json.items()) {
        if (std::find(names.begin(), names.end(), member.key()) == names.end()) {
            Value{member.value(), value.path + "/" + printable(member.key())}.refuse(
                "is unknown here; known are " + joined(names));
        }
    }
    for (const Field& field : fields) {
        if (const auto member = value.json.find(field.name); member != value.json.end()) {
            field.take({*member, value.path + "/" + field.name});
        }
    }
}

void requireOneOf(const Value& object, const std::vector<const char*>& names) {
    const auto count = std::count_if(names.begin(), names.end(),
                                     [&object](const char* name) { return object.json.contains(name); });
    object.require(count == 1, "needs exactly one of " + joined({names.begin(), names.end()}));
}

void takeList(const Value& value, const Take& takeElement, std::size_t minElements) {
    requireKind(value, value.json.is_array(), "an array");
    value.require(value.json.size() >= minElements,
                  "must have at least " + std::to_string(minElements) + " element");
    for (std::size_t i = 0; i < value.json.size(); ++i) {
        takeElement({value.json[i], value.path + "/" + std::to_string(i)});
    }
}

bool takeFlag(const Value& value) {
    requireKind(value, value.json.is_boolean(), "true or false");
    return value.json.get<bool>();
}

std::int64_t takeInteger(const Value& value, std::int64_t min, std::int64_t max) {
    const std::optional<std::int64_t> number = integerIn(value.json);
    requireKind(value, number.has_value(), "an integer");
    value.require(*number >= min, "must be " + std::to_string(min) + " or more");
    value.require(*number <= max, "must be " + std::to_string(max) + " or less");
    return *number;
}

std::string takeText(const Value& value, const TextRule& rule) {
    requireKind(value, value.json.is_string(), "a string");
    std::string text = value.json.get<std::string>();
    value.require(rule.accepts(text), std::string("must be ") + rule.description);
    return text;
}

Take flag(bool& target) {
    return [&target](const Value& value) { target = takeFlag(value); };
}

Take items(std::vector<std::string>& list) {
    return [&list](const Value& value) {
        list.clear();
        takeList(value, [&list](const Value& element) { list.push_back(takeText(element, kItem)); });
    };
}

std::string joined(const std::vector<std::string>& texts) {
    std::string line;
    for (const std::string& text : texts) {
        line.append(line.empty() ? "" : ", ").append(text);
    }
    return line;
}

} // namespace pdasim
