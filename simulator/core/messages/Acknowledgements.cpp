#include "core/Texts.h"
#include "core/messages/Checks.h"
#include "core/state/Identity.h"

namespace pdasim {

void checkSuccess(const ParsedMessage& message, std::vector<std::string>& violations) {
    const auto expect = [&](std::string_view name, std::string_view expected) {
        const Tag* tag = findTag(message.tags, name);
        if (tag != nullptr && tag->value != expected) {
            violations.push_back(tag->name + " is " + quoted(tag->value) + " instead of " + quoted(expected));
        }
    };
    expect("Ex_RetCode", code::Accepted);
    expect("Ex_ScanState", "1");
}

} // namespace pdasim
