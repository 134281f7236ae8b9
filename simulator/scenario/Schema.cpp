#include "scenario/Schema.h"

#include "core/Message.h"
#include "scenario/Scenario.h"

#include <algorithm>
#include <regex>

namespace pdasim {

namespace {

using Texts = std::vector<std::string>;

/// The schema alone says what a scenario has to be. Of JSON Schema's words this file knows those that it
/// uses.
const Document& scenarioRules() {
    static const Document schema = Document::parse(scenarioSchema());
    return schema;
}

/// The definition that a reference leads to.
const Document& resolved(const Document& schema) {
    const auto reference = schema.find("$ref");
    return reference == schema.end()
               ? schema
               : scenarioRules().at(Document::json_pointer(reference->get<std::string>().substr(1)));
}

void require(bool holds, const std::string& pointer, const std::string& reason) {
    if (!holds) {
        refuseAt(pointer, reason);
    }
}

std::string below(const std::string& pointer, const std::string& member) {
    return std::string(pointer).append("/").append(member);
}

std::string inQuotes(const std::string& text) {
    return std::string("\"").append(text).append("\"");
}

std::string kindNamed(const std::string& type) {
    if (type == "boolean") {
        return "true or false";
    }
    return (type == "object" || type == "array" || type == "integer" ? "an " : "a ") + type;
}

/// A number is shown as "an integer" only when it is one.
std::string kindOf(const Json& value) {
    if (value.is_null()) {
        return "null";
    }
    return kindNamed(integerIn(value) ? "integer" : value.type_name());
}

std::size_t charactersIn(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

void checkText(const std::string& text, const Document& schema, const std::string& pointer) {
    if (const auto choice = schema.find("enum"); choice != schema.end()) {
        const Texts allowed = *choice;
        require(std::find(allowed.begin(), allowed.end(), text) != allowed.end(), pointer,
                "must be one of " + joined(allowed));
    }
    const std::size_t characters = charactersIn(text);
    const bool hasLength = characters >= schema.value("minLength", std::size_t{0}) &&
                           characters <= schema.value("maxLength", text.size());
    const auto pattern = schema.find("pattern");
    if (pattern == schema.end()) {
        require(hasLength, pointer, "must be a string that is not empty");
    } else {
        require(hasLength && std::regex_search(text, std::regex(pattern->get<std::string>())), pointer,
                "must be " + schema.at("description").get<std::string>());
    }
}

void checkInteger(std::int64_t number, const Document& schema, const std::string& pointer) {
    const auto min = schema.at("minimum").get<std::int64_t>();
    const auto max = schema.at("maximum").get<std::int64_t>();
    require(number >= min, pointer, "must be " + std::to_string(min) + " or more");
    require(number <= max, pointer, "must be " + std::to_string(max) + " or less");
}

/// Rules about which members go together.
void checkCombination(const Json& object, const Document& schema, const std::string& pointer) {
    Texts alternatives;
    for (const Document& alternative : schema.value("oneOf", Document::array())) {
        alternatives.push_back(alternative.at("required").at(0));
    }
    const auto exists = [&object](const std::string& name) { return object.contains(name); };
    require(alternatives.empty() || std::count_if(alternatives.begin(), alternatives.end(), exists) == 1,
            pointer, "needs exactly one of " + joined(alternatives));
    require(object.size() >= schema.value("minProperties", std::size_t{0}), pointer,
            "must have at least 1 member");
    const Document dependencies = schema.value("dependentRequired", Document::object());
    for (const auto& [name, needed] : dependencies.items()) {
        const std::string other = needed.at(0);
        require(!exists(name) || exists(other), pointer, inQuotes(name) + " needs " + inQuotes(other));
    }
}

void check(const Json& value, const Document& reference, const std::string& pointer);

void checkObject(const Json& object, const Document& schema, const std::string& pointer) {
    for (const std::string name : schema.value("required", Document::array())) {
        require(object.contains(name), pointer, inQuotes(name) + " is missing");
    }
    const Document& known = schema.at("properties");
    Texts names;
    for (const auto& [name, rules] : known.items()) {
        names.push_back(name);
    }
    for (const auto& [name, value] : object.items()) {
        require(known.contains(name), below(pointer, printable(name)),
                "is unknown here; known are " + joined(names));
    }
    for (const std::string& name : names) {
        if (object.contains(name)) {
            check(object.at(name), known.at(name), below(pointer, name));
        }
    }
    checkCombination(object, schema, pointer);
}

void check(const Json& value, const Document& reference, const std::string& pointer) {
    const Document& schema = resolved(reference);
    const std::string wanted = kindNamed(schema.at("type"));
    require(kindOf(value) == wanted, pointer, "must be " + wanted + ", is " + kindOf(value));
    if (value.is_object()) {
        checkObject(value, schema, pointer);
    } else if (value.is_array()) {
        require(value.size() >= schema.value("minItems", std::size_t{0}), pointer,
                "must have at least 1 element");
        for (std::size_t i = 0; i < value.size(); ++i) {
            check(value[i], schema.at("items"), below(pointer, std::to_string(i)));
        }
    } else if (value.is_string()) {
        checkText(value, schema, pointer);
    } else if (const auto number = integerIn(value)) {
        checkInteger(*number, schema, pointer);
    }
}

} // namespace

void checkAgainstSchema(const Json& scenario) {
    check(scenario, scenarioRules(), "");
}

void refuseAt(const std::string& pointer, const std::string& reason) {
    throw JsonError("at " + (pointer.empty() ? "/" : pointer) + ": " + reason);
}

std::string joined(const std::vector<std::string>& texts) {
    std::string line;
    for (const std::string& text : texts) {
        line.append(line.empty() ? "" : ", ").append(text);
    }
    return line;
}

} // namespace pdasim
