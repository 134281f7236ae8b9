#pragma once

#include "BareClient.h"

#include "core/Terminal.h"

#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace pdasim::test {

/// The tags that a text like "Ex_A=1 Ex_B=" names.
inline Tags tagsOf(std::string_view text) {
    Tags tags;
    std::istringstream words{std::string(text)};
    for (std::string word; words >> word;) {
        const std::size_t equals = word.find('=');
        tags.push_back({word.substr(0, equals), word.substr(equals + 1)});
    }
    return tags;
}

/// The body of a message out of names and values.
inline std::string body(const Tags& tags) {
    std::string text;
    for (const Tag& tag : tags) {
        text.append("<").append(tag.name).append(">").append(tag.value);
        text.append("</").append(tag.name).append(">");
    }
    return text;
}

inline std::string body(std::string_view tags) {
    return body(tagsOf(tags));
}

/// The answer that says yes and nothing else.
inline const std::string Accepted = body({{"Ex_RetCode", "000000"}});

/// The names of a run of tags in order.
inline std::vector<std::string> names(const Tags& tags) {
    std::vector<std::string> all;
    for (const Tag& tag : tags) {
        all.push_back(tag.name);
    }
    return all;
}

/// A host that numbers its messages, and the terminal's core that answers them at once.
class Conversation {
public:
    static constexpr std::string_view Now = "20260304050607";
    /// Header, Ex_TrTime and Ex_SeqNo with four digits.
    static constexpr std::size_t FrontSize = 112;

    Terminal terminal;

    /// The whole reply; empty when there is none.
    std::string ask(std::string_view type, const std::string& requestBody = {}) {
        const WriteOutcome outcome = terminal.handleWrite(request(type, ++m_sequence, requestBody), Now);
        const auto* sent = outcome.steps.empty() ? nullptr : std::get_if<SendText>(&outcome.steps[0].step);
        return sent == nullptr ? std::string() : sent->text;
    }

    /// What follows the reply's sequence number.
    std::string answer(std::string_view type, const Tags& tags = {}, const std::string& groups = {}) {
        const std::string reply = ask(type, body(tags) + groups);
        return reply.size() < FrontSize ? "(no reply)" : reply.substr(FrontSize);
    }

    std::vector<std::string> takeViolations() { return terminal.takeViolations(); }

private:
    int m_sequence = 0;
};

} // namespace pdasim::test
