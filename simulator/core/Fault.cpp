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

Fault& Fault::dropTag(std::string name) {
    m_tagChanges.push_back({std::move(name), std::nullopt});
    return *this;
}

Fault& Fault::setTag(std::string name, std::string value) {
    m_tagChanges.push_back({std::move(name), std::move(value)});
    return *this;
}

Fault& Fault::rawReply(std::string text) {
    m_rawReply = std::move(text);
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
