#include "scenario/TagCondition.h"

#include <algorithm>

namespace pdasim {

namespace {

bool matches(const std::string& text, TagCondition::Match match, const std::string& value) {
    switch (match) {
    case TagCondition::Match::Equals:
        return text == value;
    case TagCondition::Match::StartsWith:
        return text.compare(0, value.size(), value) == 0;
    case TagCondition::Match::EndsWith:
        break;
    }
    return text.size() >= value.size() &&
           text.compare(text.size() - value.size(), std::string::npos, value) == 0;
}

} // namespace

bool TagCondition::operator()(const ParsedMessage& message) const {
    const auto holds = [this](const Tag& tag) {
        return tag.name == name && matches(tag.value, match, value);
    };
    return std::any_of(message.tags.begin(), message.tags.end(), holds) ||
           std::any_of(message.groups.begin(), message.groups.end(), [&holds](const Tags& group) {
               return std::any_of(group.begin(), group.end(), holds);
           });
}

} // namespace pdasim
