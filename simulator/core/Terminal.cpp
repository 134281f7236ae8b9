#include "core/Terminal.h"

#include "core/ReplyPlan.h"

#include <algorithm>

namespace pdasim {

void Terminal::addFault(std::string_view type, Fault fault) {
    m_faults.emplace_back(std::string(type), std::move(fault));
}

void Terminal::clearFaults() {
    m_faults.clear();
}

Fault Terminal::takeFault(const std::string& type) {
    const auto found = std::find_if(m_faults.begin(), m_faults.end(), [&type](const auto& entry) {
        return entry.second.m_remaining > 0 && (entry.first == AnyType || entry.first == type);
    });
    if (found == m_faults.end()) {
        return {};
    }
    Fault fault = found->second;
    if (found->second.m_remaining != std::numeric_limits<std::size_t>::max() &&
        --found->second.m_remaining == 0) {
        m_faults.erase(found);
    }
    return fault;
}

WriteOutcome Terminal::handleWrite(std::string_view bytes, std::string_view localTime) {
    m_received.emplace_back(bytes);
    const CheckedMessage request = m_checker.check(bytes);
    for (const std::string& violation : request.violations) {
        m_violations.push_back(
            "message " + std::to_string(m_received.size()) +
            (request.type.empty() ? std::string() : " of type " + printable(request.type)) + ": " +
            violation);
    }
    const Fault fault = takeFault(request.type);
    WriteOutcome outcome;
    outcome.accepted = bytes.size();
    if (fault.m_writeError != 0) {
        outcome.error = fault.m_writeError;
        return outcome;
    }
    if (fault.m_shortWrite) {
        outcome.accepted = std::min(*fault.m_shortWrite, bytes.size());
        return outcome;
    }
    outcome.steps = ReplyPlan::layOut(composeReply(request, fault, localTime), fault);
    return outcome;
}

std::string Terminal::composeReply(const CheckedMessage& request, const Fault& fault,
                                   std::string_view localTime) {
    if (fault.m_rawReply) {
        return *fault.m_rawReply;
    }
    if (request.row == nullptr || !request.bodyIsWhole) {
        return {};
    }
    std::vector<Tag> tags = {{"Ex_TrTime", std::string(localTime)}, {"Ex_SeqNo", request.sequence}};
    const std::vector<Tag> body = request.row->answer(request.body, m_state);
    tags.insert(tags.end(), body.begin(), body.end());
    for (const Fault::TagChange& change : fault.m_tagChanges) {
        const auto named = std::find_if(tags.begin(), tags.end(),
                                        [&change](const Tag& tag) { return tag.name == change.name; });
        if (!change.value) {
            if (named != tags.end()) {
                tags.erase(named);
            }
        } else if (named != tags.end()) {
            named->value = *change.value;
        } else {
            tags.push_back({change.name, *change.value});
        }
    }
    return composeMessage(fault.m_replyType.value_or(request.type), tags);
}

} // namespace pdasim
