#include "scenario/RuleCheck.h"

#include "core/MessageTable.h"
#include "core/TagNames.h"
#include "core/Terminal.h"

#include <algorithm>
#include <vector>

namespace pdasim {

namespace {

using Names = std::vector<std::string>;

constexpr const char* CheckTag = "Ex_HexCheck";

bool holds(const Names& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string listed(const Names& names) {
    std::string line;
    for (const std::string& name : names) {
        line.append(line.empty() ? "" : ", ").append(name);
    }
    return line.empty() ? "there is none" : "there are " + line;
}

std::string typeShown(const std::string& type) {
    return type == Terminal::AnyType ? "of any type" : "of type " + type;
}

std::optional<RuleMistake> mistakeInCondition(const Json& rule, const std::string& type) {
    const Json* condition = rule.find("tag");
    const Json* name = condition == nullptr ? nullptr : condition->find("name");
    const Names known = requestTagNames(type);
    if (name == nullptr || holds(known, name->asText())) {
        return std::nullopt;
    }
    return RuleMistake{name->line(), "/tag/name",
                       "no message " + typeShown(type) + " has such a tag to ask for; " + listed(known)};
}

std::optional<RuleMistake> mistakeInDrop(const Json& action, const std::string& type) {
    const Json* drop = action.find("drop");
    const Names known = replyTagNames(type);
    for (std::size_t i = 0; drop != nullptr && i < drop->elements().size(); ++i) {
        const Json& name = drop->elements()[i];
        if (!holds(known, name.asText())) {
            return RuleMistake{name.line(), "/do/drop/" + std::to_string(i),
                               "no reply " + typeShown(type) + " has such a tag to drop; " + listed(known)};
        }
    }
    return std::nullopt;
}

/** The types whose replies have a check value. */
Names typesWithCheck() {
    Names types;
    for (const MessageRow& row : messageRows()) {
        if (holds(replyTagNames(row.type), CheckTag)) {
            types.emplace_back(row.type);
        }
    }
    return types;
}

std::optional<RuleMistake> mistakeInCheck(const Json& action, const std::string& type) {
    const Json* corrupt = action.find("corruptCrc");
    if (corrupt == nullptr || !corrupt->asBoolean() || holds(replyTagNames(type), CheckTag)) {
        return std::nullopt;
    }
    std::string types;
    for (const std::string& each : typesWithCheck()) {
        types.append(types.empty() ? "" : ", ").append(each);
    }
    return RuleMistake{corrupt->line(), "/do/corruptCrc",
                       "no reply " + typeShown(type) + " has a check value; only " + types + " has one"};
}

} // namespace

std::optional<RuleMistake> findMistake(const Json& rule) {
    const std::string& type = rule.find("on")->asText();
    const Json& action = *rule.find("do");
    std::optional<RuleMistake> mistake = mistakeInCondition(rule, type);
    if (!mistake) {
        mistake = mistakeInDrop(action, type);
    }
    return mistake ? mistake : mistakeInCheck(action, type);
}

} // namespace pdasim
