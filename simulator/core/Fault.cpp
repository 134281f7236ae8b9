#include "core/Fault.h"

#include <algorithm>
#include <utility>

namespace pdasim {

Fault& Fault::silence() {
    m_silent = true;
    return *this;
}

Fault& Fault::delay(std::chrono::milliseconds time) {
    m_delay = time;
    return *this;
}

Fault& Fault::replyType(std::string type) {
    m_replyType = std::move(type);
    return *this;
}

Fault& Fault::split(std::size_t pieces, std::chrono::milliseconds pause) {
    m_pieces = std::max<std::size_t>(pieces, 1);
    m_pause = pause;
    return *this;
}

Fault& Fault::repeatReply() {
    m_repeatsReply = true;
    return *this;
}

Fault& Fault::followedBy(std::string text) {
    m_follower = std::move(text);
    return *this;
}

Fault& Fault::unplugBeforeReply(std::optional<std::chrono::milliseconds> replugAfter) {
    m_unplugging = Unplugging::BeforeReply;
    m_replugAfter = replugAfter;
    return *this;
}

Fault& Fault::unplugAfterReply(std::optional<std::chrono::milliseconds> replugAfter) {
    m_unplugging = Unplugging::AfterReply;
    m_replugAfter = replugAfter;
    return *this;
}

Fault& Fault::shortWrite(std::size_t bytes) {
    m_shortWrite = bytes;
    return *this;
}

Fault& Fault::refuseWrite(int error) {
    m_writeError = error;
    return *this;
}

Fault& Fault::refuse(std::string returnCode) {
    m_refuses = true;
    return setTag("Ex_RetCode", std::move(returnCode));
}

Fault& Fault::misread(std::string name, std::string value) {
    m_misreadings.push_back({std::move(name), std::move(value)});
    return *this;
}

Fault& Fault::dropTag(std::string name) {
    m_changes.emplace_back([name = std::move(name)](Reply& reply, const Request& /*request*/) {
        pdasim::dropTag(reply.tags, name);
    });
    return *this;
}

Fault& Fault::setTag(std::string name, std::string value) {
    m_changes.emplace_back(
        [name = std::move(name), value = std::move(value)](Reply& reply, const Request& /*request*/) {
            pdasim::setTag(reply.tags, name, value);
        });
    return *this;
}

Fault& Fault::dropLockTag(std::size_t entry, std::string name) {
    m_changes.emplace_back([entry, name = std::move(name)](Reply& reply, const Request& /*request*/) {
        if (entry < reply.groups.size()) {
            pdasim::dropTag(reply.groups[entry], name);
        }
    });
    return *this;
}

Fault& Fault::setLockTag(std::size_t entry, std::string name, std::string value) {
    m_changes.emplace_back(
        [entry, name = std::move(name), value = std::move(value)](Reply& reply, const Request& /*request*/) {
            if (entry < reply.groups.size()) {
                pdasim::setTag(reply.groups[entry], name, value);
            }
        });
    return *this;
}

Fault& Fault::growLockList(std::size_t entries) {
    m_changes.emplace_back([entries](Reply& reply, const Request& /*request*/) {
        const std::vector<Tags> locks = reply.groups;
        while (!locks.empty() && reply.groups.size() < entries) {
            reply.groups.push_back(locks[reply.groups.size() % locks.size()]);
        }
    });
    return *this;
}

Fault& Fault::answerPacket(int number) {
    return misread("Ex_CurPkt", std::to_string(number));
}

Fault& Fault::endlessFile() {
    m_changes.emplace_back([](Reply& reply, const Request& request) {
        const std::int64_t asked = request.number("Ex_CurPkt");
        pdasim::setTag(reply.tags, "Ex_CurPkt", std::to_string(asked));
        pdasim::setTag(reply.tags, "Ex_TotalPkt", std::to_string(asked + 2));
    });
    return answerPacket(0);
}

Fault& Fault::wrongCheck() {
    m_changes.emplace_back([](Reply& reply, const Request& /*request*/) {
        const Tag* check = findTag(reply.tags, "Ex_HexCheck");
        if (check != nullptr && !check->value.empty()) {
            std::string wrong = check->value;
            wrong.back() = wrong.back() == '0' ? '1' : '0';
            pdasim::setTag(reply.tags, "Ex_HexCheck", wrong);
        }
    });
    return *this;
}

Fault& Fault::upperCaseCheck() {
    m_changes.emplace_back([](Reply& reply, const Request& /*request*/) {
        if (const Tag* check = findTag(reply.tags, "Ex_HexCheck"); check != nullptr) {
            std::string upper = check->value;
            std::transform(upper.begin(), upper.end(), upper.begin(), [](char digit) {
                return digit >= 'a' && digit <= 'f' ? digit - 'a' + 'A' : digit;
            });
            pdasim::setTag(reply.tags, "Ex_HexCheck", upper);
        }
    });
    return *this;
}

Fault& Fault::rawReply(std::string text) {
    m_rawReply = std::move(text);
    return *this;
}

Fault& Fault::when(std::function<bool(const ParsedMessage&)> condition) {
    m_conditions.push_back(std::move(condition));
    return *this;
}

bool Fault::concerns(const ParsedMessage& message) const {
    return std::all_of(m_conditions.begin(), m_conditions.end(),
                       [&message](const auto& condition) { return condition(message); });
}

Fault& Fault::from(std::size_t message) {
    m_letThrough = std::max<std::size_t>(message, 1) - 1;
    return *this;
}

Fault& Fault::once() {
    return times(1);
}

Fault& Fault::times(std::size_t count) {
    m_remaining = count;
    return *this;
}

Fault& Fault::always() {
    return times(std::numeric_limits<std::size_t>::max());
}

} // namespace pdasim
