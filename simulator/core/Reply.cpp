#include "core/Reply.h"

#include "core/Texts.h"

#include <stdexcept>
#include <utility>

namespace pdasim {

const std::string& Request::operator[](std::string_view name) const {
    const Tag* tag = findTag(message.tags, name);
    if (tag == nullptr) {
        throw std::out_of_range("no tag " + std::string(name) + " in a message of type " + message.type);
    }
    return tag->value;
}

std::int32_t Request::number(std::string_view name) const {
    return leadingNumber((*this)[name]);
}

Reply& Reply::with(std::string_view name, std::string value) {
    tags.push_back({std::string(name), std::move(value)});
    return *this;
}

Reply& Reply::withResult(std::string_view returnCode) {
    return with("Ex_RetCode", std::string(returnCode));
}

Tags frontOfReply(const Request& request) {
    return {{"Ex_TrTime", request.localTime}, {"Ex_SeqNo", request.message.sequence}};
}

} // namespace pdasim
