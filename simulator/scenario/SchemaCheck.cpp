#include "scenario/SchemaCheck.h"

#include "core/Message.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <regex>
#include <stdexcept>
#include <utility>
#include <vector>

namespace pdasim {

namespace {

using Kind = Json::Kind;

struct TypeName {
    std::string_view name;
    const char* shown;
    bool (*fits)(const Json& value);
};

constexpr std::array<TypeName, 6> TypeNames = {{
    {"object", "an object", [](const Json& value) { return value.kind() == Kind::Object; }},
    {"array", "an array", [](const Json& value) { return value.kind() == Kind::Array; }},
    {"string", "a text", [](const Json& value) { return value.kind() == Kind::Text; }},
    {"boolean", "true or false", [](const Json& value) { return value.kind() == Kind::Boolean; }},
    {"integer", "a whole number", [](const Json& value) { return value.kind() == Kind::Integer; }},
    {"number", "a number",
     [](const Json& value) { return value.kind() == Kind::Integer || value.kind() == Kind::Real; }},
}};

const TypeName& typeNamed(const std::string& name) {
    const auto* found = std::find_if(TypeNames.begin(), TypeNames.end(),
                                     [&name](const TypeName& type) { return type.name == name; });
    if (found == TypeNames.end()) {
        throw std::logic_error("the schema names the type " + name);
    }
    return *found;
}

std::string shown(const Json& value) {
    const auto* found = std::find_if(TypeNames.begin(), TypeNames.end(),
                                     [&value](const TypeName& type) { return type.fits(value); });
    return found == TypeNames.end() ? "null" : found->shown;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string line;
    for (const std::string& text : texts) {
        line.append(line.empty() ? "" : ", ").append(text);
    }
    return line;
}

std::string quotedName(const std::string& name) {
    return "\"" + name + "\"";
}

/** The number of characters, as the schema counts them. */
std::int64_t lengthOf(const std::string& text) {
    return std::count_if(text.begin(), text.end(),
                         [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; });
}

class Checker {
public:
    explicit Checker(const Json& root) : m_root(root) {}

    bool check(const Json& schema, const Json& value, const std::string& path);
    std::optional<SchemaViolation> takeViolation() { return std::move(m_violation); }

private:
    using Rule = bool (Checker::*)(const Json& schema, const Json& rule, const Json& value,
                                   const std::string& path);
    struct Keyword {
        std::string_view name;
        /** Null for what only describes. */
        Rule rule;
    };
    static const std::vector<Keyword>& keywords();

    bool checkReference(const Json& schema, const Json& rule, const Json& value, const std::string& path);
    bool checkType(const Json& schema, const Json& rule, const Json& value, const std::string& path);
    bool checkEnum(const Json& schema, const Json& rule, const Json& value, const std::string& path);
    bool checkProperties(const Json& schema, const Json& rule, const Json& value, const std::string& path);
    bool checkRequired(const Json& schema, const Json& rule, const Json& value, const std::string& path);
    bool checkDependentRequired(const Json& schema, const Json& rule, const Json& value,
                                const std::string& path);
    bool checkOneOf(const Json& schema, const Json& rule, const Json& value, const std::string& path);
    bool checkMinProperties(const Json& schema, const Json& rule, const Json& value, const std::string& path);
    bool checkAdditionalProperties(const Json& schema, const Json& rule, const Json& value,
                                   const std::string& path);
    bool checkItems(const Json& schema, const Json& rule, const Json& value, const std::string& path);
    bool checkMinItems(const Json& schema, const Json& rule, const Json& value, const std::string& path);
    bool checkMinimum(const Json& schema, const Json& rule, const Json& value, const std::string& path);
    bool checkMaximum(const Json& schema, const Json& rule, const Json& value, const std::string& path);
    bool checkMinLength(const Json& schema, const Json& rule, const Json& value, const std::string& path);
    bool checkMaxLength(const Json& schema, const Json& rule, const Json& value, const std::string& path);
    bool checkPattern(const Json& schema, const Json& rule, const Json& value, const std::string& path);

    bool fail(const Json& value, const std::string& path, std::string reason) {
        m_violation = {value.line(), path.empty() ? "/" : path, std::move(reason), nullptr};
        return false;
    }

    const Json& m_root;
    std::optional<SchemaViolation> m_violation;
};

const std::vector<Checker::Keyword>& Checker::keywords() {
    static const std::vector<Keyword> all = {
        {"$schema", nullptr},
        {"$id", nullptr},
        {"$defs", nullptr},
        {"title", nullptr},
        {"description", nullptr},
        {"$ref", &Checker::checkReference},
        {"type", &Checker::checkType},
        {"enum", &Checker::checkEnum},
        {"required", &Checker::checkRequired},
        {"minProperties", &Checker::checkMinProperties},
        {"additionalProperties", &Checker::checkAdditionalProperties},
        {"properties", &Checker::checkProperties},
        {"dependentRequired", &Checker::checkDependentRequired},
        {"oneOf", &Checker::checkOneOf},
        {"minItems", &Checker::checkMinItems},
        {"items", &Checker::checkItems},
        {"minimum", &Checker::checkMinimum},
        {"maximum", &Checker::checkMaximum},
        {"minLength", &Checker::checkMinLength},
        {"maxLength", &Checker::checkMaxLength},
        {"pattern", &Checker::checkPattern},
    };
    return all;
}

bool Checker::check(const Json& schema, const Json& value, const std::string& path) {
    for (const Json::Member& member : schema.members()) {
        const auto& known = keywords();
        if (std::none_of(known.begin(), known.end(),
                         [&member](const Keyword& keyword) { return keyword.name == member.name; })) {
            throw std::logic_error("the schema uses the keyword " + member.name);
        }
    }
    return std::all_of(keywords().begin(), keywords().end(), [&](const Keyword& keyword) {
        const Json* rule = keyword.rule == nullptr ? nullptr : schema.find(keyword.name);
        if (rule == nullptr || (this->*keyword.rule)(schema, *rule, value, path)) {
            return true;
        }
        if (m_violation->rule == nullptr) {
            m_violation->rule = rule;
        }
        return false;
    });
}

bool Checker::checkReference(const Json& /*schema*/, const Json& rule, const Json& value,
                             const std::string& path) {
    constexpr std::string_view Place = "#/$defs/";
    const Json* definitions = m_root.find("$defs");
    const std::string& text = rule.asText();
    const Json* definition = text.rfind(Place, 0) == 0 && definitions != nullptr
                                 ? definitions->find(text.substr(Place.size()))
                                 : nullptr;
    if (definition == nullptr) {
        throw std::logic_error("the schema refers to " + text);
    }
    return check(*definition, value, path);
}

bool Checker::checkType(const Json& /*schema*/, const Json& rule, const Json& value,
                        const std::string& path) {
    const TypeName& wanted = typeNamed(rule.asText());
    return wanted.fits(value) ||
           fail(value, path, std::string("must be ") + wanted.shown + ", is " + shown(value));
}

bool Checker::checkEnum(const Json& /*schema*/, const Json& rule, const Json& value,
                        const std::string& path) {
    const std::vector<std::string> choices = rule.texts();
    if (std::find(choices.begin(), choices.end(), value.asText()) != choices.end()) {
        return true;
    }
    std::vector<std::string> names;
    std::transform(choices.begin(), choices.end(), std::back_inserter(names), quotedName);
    return fail(value, path, "must be one of " + joined(names));
}

bool Checker::checkProperties(const Json& /*schema*/, const Json& rule, const Json& value,
                              const std::string& path) {
    return std::all_of(value.members().begin(), value.members().end(), [&](const Json::Member& member) {
        const Json* schema = rule.find(member.name);
        return schema == nullptr || check(*schema, member.value, path + "/" + member.name);
    });
}

bool Checker::checkRequired(const Json& /*schema*/, const Json& rule, const Json& value,
                            const std::string& path) {
    const std::vector<std::string> names = rule.texts();
    const auto missing = std::find_if(names.begin(), names.end(), [&value](const std::string& name) {
        return value.find(name) == nullptr;
    });
    return missing == names.end() || fail(value, path, quotedName(*missing) + " is missing");
}

bool Checker::checkDependentRequired(const Json& /*schema*/, const Json& rule, const Json& value,
                                     const std::string& path) {
    for (const Json::Member& dependency : rule.members()) {
        if (const Json* present = value.find(dependency.name); present != nullptr) {
            for (const std::string& needed : dependency.value.texts()) {
                if (value.find(needed) == nullptr) {
                    return fail(*present, path, quotedName(dependency.name) + " needs " + quotedName(needed));
                }
            }
        }
    }
    return true;
}

bool Checker::checkOneOf(const Json& /*schema*/, const Json& rule, const Json& value,
                         const std::string& path) {
    std::vector<std::string> names;
    int present = 0;
    for (const Json& alternative : rule.elements()) {
        const Json* required = alternative.find("required");
        if (alternative.members().size() != 1 || required == nullptr || required->elements().size() != 1) {
            throw std::logic_error("an alternative of the schema is more than one required member");
        }
        const std::string& name = required->elements().front().asText();
        names.push_back(quotedName(name));
        present += value.find(name) != nullptr ? 1 : 0;
    }
    return present == 1 || fail(value, path, "needs exactly one of " + joined(names));
}

bool Checker::checkMinProperties(const Json& /*schema*/, const Json& rule, const Json& value,
                                 const std::string& path) {
    const auto least = static_cast<std::size_t>(rule.asInteger());
    return value.members().size() >= least ||
           fail(value, path, "must have at least " + std::to_string(least) + " member");
}

bool Checker::checkAdditionalProperties(const Json& schema, const Json& rule, const Json& value,
                                        const std::string& path) {
    if (rule.kind() != Kind::Boolean || rule.asBoolean()) {
        throw std::logic_error("additional properties are either refused or not mentioned");
    }
    std::vector<std::string> known;
    for (const Json::Member& member : schema.find("properties")->members()) {
        known.push_back(member.name);
    }
    for (const Json::Member& member : value.members()) {
        if (std::find(known.begin(), known.end(), member.name) == known.end()) {
            return fail(member.value, path + "/" + printable(member.name),
                        "is unknown here; known are " + joined(known));
        }
    }
    return true;
}

bool Checker::checkItems(const Json& /*schema*/, const Json& rule, const Json& value,
                         const std::string& path) {
    for (std::size_t i = 0; i < value.elements().size(); ++i) {
        if (!check(rule, value.elements()[i], path + "/" + std::to_string(i))) {
            return false;
        }
    }
    return true;
}

bool Checker::checkMinItems(const Json& /*schema*/, const Json& rule, const Json& value,
                            const std::string& path) {
    const auto least = static_cast<std::size_t>(rule.asInteger());
    return value.elements().size() >= least ||
           fail(value, path, "must have at least " + std::to_string(least) + " element");
}

bool Checker::checkMinimum(const Json& /*schema*/, const Json& rule, const Json& value,
                           const std::string& path) {
    return value.asReal() >= rule.asReal() || fail(value, path, "must be " + rule.write() + " or more");
}

bool Checker::checkMaximum(const Json& /*schema*/, const Json& rule, const Json& value,
                           const std::string& path) {
    return value.asReal() <= rule.asReal() || fail(value, path, "must be " + rule.write() + " or less");
}

bool Checker::checkMinLength(const Json& /*schema*/, const Json& rule, const Json& value,
                             const std::string& path) {
    return lengthOf(value.asText()) >= rule.asInteger() || fail(value, path, "must not be empty");
}

bool Checker::checkMaxLength(const Json& /*schema*/, const Json& rule, const Json& value,
                             const std::string& path) {
    return lengthOf(value.asText()) <= rule.asInteger() ||
           fail(value, path, "must not be longer than " + rule.write() + " characters");
}

bool Checker::checkPattern(const Json& schema, const Json& rule, const Json& value, const std::string& path) {
    // The regular expressions of the standard library recurse once per character.
    if (schema.find("maxLength") == nullptr) {
        throw std::logic_error("the schema has a pattern without maxLength");
    }
    if (std::regex_search(value.asText(), std::regex(rule.asText(), std::regex::ECMAScript))) {
        return true;
    }
    const Json* description = schema.find("description");
    return fail(value, path,
                "must match " + rule.asText() +
                    (description == nullptr ? std::string() : " (" + description->asText() + ")"));
}

} // namespace

std::optional<SchemaViolation> checkSchema(const Json& schema, const Json& document) {
    Checker checker(schema);
    (void)checker.check(schema, document, "");
    return checker.takeViolation();
}

} // namespace pdasim
