#include "core/ReplyPlan.h"

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

std::vector<TimedStep> ReplyPlan::layOut(const std::string& reply, const Fault& fault) {
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
        if (fault.m_follower) {
            steps.push_back({time, SendText{*fault.m_follower}});
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

} // namespace pdasim
