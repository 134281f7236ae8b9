#pragma once

#include "BareClient.h"

#include "core/Terminal.h"

#include <gtest/gtest.h>

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

/// The body that a text like "Ex_A=1 ( Ex_B= )" names; the parentheses are those of a group of locks.
inline std::string body(std::string_view text) {
    std::string all;
    std::istringstream words{std::string(text)};
    for (std::string word; words >> word;) {
        all += word == "(" ? "<LockList>" : word == ")" ? "</LockList>" : body(tagsOf(word));
    }
    return all;
}

/// The answer that says yes and nothing else.
inline const std::string Accepted = body("Ex_RetCode=000000");

/// A host that numbers its messages, and the terminal's core that answers them at once.
class Conversation {
public:
    static constexpr std::string_view Now = "20260304050607";
    /// Header, Ex_TrTime and Ex_SeqNo with four digits.
    static constexpr std::size_t FrontSize = 112;

    Terminal terminal;

    std::vector<TimedStep> send(std::string_view type, const std::string& requestBody = {}) {
        return terminal.handleWrite(request(type, ++m_sequence, requestBody), Now).steps;
    }

    /// The whole reply; empty when there is none.
    std::string ask(std::string_view type, const std::string& requestBody = {}) {
        const std::vector<TimedStep> steps = send(type, requestBody);
        const auto* sent = steps.empty() ? nullptr : std::get_if<SendText>(&steps[0].step);
        return sent == nullptr ? std::string() : sent->text;
    }

    /// What follows the reply's sequence number.
    std::string answer(std::string_view type, const std::string& requestBody = {}) {
        const std::string reply = ask(type, requestBody);
        return reply.size() < FrontSize ? "(no reply)" : reply.substr(FrontSize);
    }

    /// Each line is a message and its answer: "8005 Ex_PdaSn=P -> Ex_Label= Ex_ScanState=0".
    void expect(const std::string& lines) {
        std::istringstream all(lines);
        for (std::string line; std::getline(all, line);) {
            const std::size_t arrow = line.find("->");
            const std::size_t type = line.find_first_of("0123456789");
            if (arrow != std::string::npos) {
                EXPECT_EQ(answer(line.substr(type, 4), body(line.substr(type + 4, arrow - type - 4))),
                          body(line.substr(arrow + 2)))
                    << line;
            }
        }
    }

    std::vector<std::string> takeViolations() { return terminal.takeViolations(); }

private:
    int m_sequence = 0;
};

/// What follows from a message, each step after its time: a message's type and result code, the size of a
/// text that is none, "unplug" or "replug"; "-" for nothing.
inline std::string shown(const std::vector<TimedStep>& steps) {
    const auto shownText = [](const std::string& text) {
        const std::size_t code = text.find("<Ex_RetCode>");
        const bool isMessage = text.size() > header::kSize && text.substr(10, 3) == "QEV";
        return (isMessage ? text.substr(6, 4) : "(" + std::to_string(text.size()) + ")") +
               (code == std::string::npos ? "" : "/" + text.substr(code + 12, 6));
    };
    std::string all;
    for (const TimedStep& timed : steps) {
        const auto* sent = std::get_if<SendText>(&timed.step);
        all += (all.empty() ? "" : " ") + std::to_string(timed.after.count()) + ":" +
               (sent != nullptr                              ? shownText(sent->text)
                : std::holds_alternative<Unplug>(timed.step) ? "unplug"
                                                             : "replug");
    }
    return all.empty() ? "-" : all;
}

} // namespace pdasim::test
