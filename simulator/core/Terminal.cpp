#include "core/Terminal.h"

#include <algorithm>

namespace pdasim {

namespace {

std::vector<std::string> cutIntoPieces(const std::string& text, std::size_t count) {
    std::vector<std::string> pieces;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t begin = text.size() * i / count;
        const std::size_t end = text.size() * (i + 1) / count;
        if (end > begin) {
            pieces.push_back(text.substr(begin, end - begin));
        }
    }
    return pieces;
}

} // namespace

void Terminal::addFault(std::string_view type, Fault fault) {
    m_faults.emplace_back(std::string(type), std::move(fault));
}

void Terminal::clearFaults() {
    m_faults.clear();
}

Fault Terminal::takeFault(const ParsedMessage& message) {
    auto striking = m_faults.end();
    for (auto entry = m_faults.begin(); entry != m_faults.end(); ++entry) {
        const bool isOfType = entry->first == AnyType || entry->first == message.type;
        const auto& condition = entry->second.m_condition;
        if (!isOfType || (condition && !condition(message))) {
            continue;
        }
        if (entry->second.m_letThrough > 0) {
            --entry->second.m_letThrough;
        } else if (striking == m_faults.end() && entry->second.m_remaining > 0) {
            striking = entry;
        }
    }
    if (striking == m_faults.end()) {
        return {};
    }
    Fault fault = striking->second;
    if (striking->second.m_remaining != std::numeric_limits<std::size_t>::max() &&
        --striking->second.m_remaining == 0) {
        m_faults.erase(striking);
    }
    return fault;
}

void Terminal::addViolations(const std::string& type, const std::vector<std::string>& violations) {
    for (const std::string& violation : violations) {
        m_violations.push_back("message " + std::to_string(m_received.size()) +
                               (type.empty() ? std::string() : " of type " + printable(type)) + ": " +
                               violation);
    }
}

WriteOutcome Terminal::handleWrite(std::string_view bytes, std::string_view localTime) {
    m_received.emplace_back(bytes);
    const CheckedMessage checked = m_checker.check(bytes);
    m_messages.push_back(checked.message);
    addViolations(checked.message.type, checked.violations);
    const Fault fault = takeFault(checked.message);
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
    outcome.steps = layOut(respond(checked, fault, localTime), fault);
    return outcome;
}

std::string Terminal::respond(const CheckedMessage& checked, const Fault& fault, std::string_view localTime) {
    if (checked.bodyIsWhole && checked.row->respondsTo) {
        std::vector<std::string> violations;
        m_announcements.take(*checked.row->respondsTo, checked.message, violations);
        addViolations(checked.message.type, violations);
    }
    if (fault.m_rawReply) {
        return *fault.m_rawReply;
    }
    const bool isAnswered = checked.bodyIsWhole && checked.row->answer != nullptr;
    return isAnswered ? composeReply(checked, fault, localTime) : std::string();
}

std::string Terminal::composeReply(const CheckedMessage& checked, const Fault& fault,
                                   std::string_view localTime) {
    const Request request = {checked.message, std::string(localTime)};
    Request asRead = request;
    if (fault.m_packet) {
        setTag(asRead.message.tags, "Ex_CurPkt", std::to_string(*fault.m_packet));
    }
    Reply reply;
    if (fault.m_refuses) {
        TerminalState untouched = m_state;
        reply = checked.row->answer(asRead, untouched);
    } else {
        reply = checked.row->answer(asRead, m_state);
    }
    const Tags front = frontOfReply(request);
    reply.tags.insert(reply.tags.begin(), front.begin(), front.end());
    for (const auto& change : fault.m_changes) {
        change(reply.tags);
    }
    return composeMessage(fault.m_replyType.value_or(request.message.type), reply.tags, reply.groups);
}

std::vector<TimedStep> Terminal::layOut(const std::string& reply, const Fault& fault) {
    std::vector<TimedStep> steps;
    std::chrono::milliseconds time = fault.m_delay;
    const bool goesFirst = fault.m_unplugging == Fault::Unplugging::BeforeReply;
    if (!goesFirst && !fault.m_silent) {
        for (std::string& piece : cutIntoPieces(reply, fault.m_pieces)) {
            time += steps.empty() ? std::chrono::milliseconds(0) : fault.m_pause;
            steps.push_back({time, SendText{std::move(piece)}});
        }
        if (fault.m_repeatsReply && !reply.empty()) {
            steps.push_back({time, SendText{reply}});
        }
    }
    if (fault.m_unplugging != Fault::Unplugging::Never) {
        steps.push_back({time, Unplug{}});
        if (fault.m_replugAfter) {
            steps.push_back({time + *fault.m_replugAfter, Replug{}});
        }
    }
    return steps;
}

std::string Terminal::announce(const Announcement& announcement, std::string_view localTime) {
    if (announcement.kind == Announced::ScannedLabel) {
        m_state.scan.labels.push_back(announcement.tags.at(0).value);
    }
    return m_announcements.compose(announcement, localTime, m_state.number());
}

} // namespace pdasim
