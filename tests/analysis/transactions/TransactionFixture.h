#pragma once

#include "tests/analysis/ExchangeFixture.h"

#include <QTimer>
#include <functional>
#include <string>
#include <thread>
#include <vector>

/// An OutputBuffer for tests with dozens of them.
class ShortOutputBuffer {
public:
    char* data() { return m_bytes.data(); }
    std::string written() const { return m_bytes.substr(0, m_bytes.find_last_not_of('#') + 1); }

private:
    std::string m_bytes = std::string(1000, '#');
};

/// How a call through the JSON ended.
struct JsonAnswer {
    int result;
    std::string text;

    bool operator==(const JsonAnswer& other) const { return result == other.result && text == other.text; }
};
void PrintTo(const JsonAnswer& answer, std::ostream* stream);

/// A host's text, for parameters that are older than const.
class HostText {
public:
    HostText(const char* text) : m_text(text) {}            // NOLINT(google-explicit-constructor)
    HostText(std::string text) : m_text(std::move(text)) {} // NOLINT(google-explicit-constructor)
    operator char*() { return m_text.data(); }              // NOLINT(google-explicit-constructor)

private:
    std::string m_text;
};

/// While it lives, waits for a terminal that stays silent end at once, each with one report that holds no
/// text.
class ShortSilence {
public:
    /// The first messages are answered. After `waits` waits something else happens, once.
    explicit ShortSilence(pdasim::SimulatedTerminal& terminal, std::size_t answered = 0, int waits = 1000,
                          std::function<void()> then = {});

private:
    void act(int waitsBefore);

    pdasim::SimulatedTerminal& m_terminal;
    std::size_t m_answered;
    int m_waits;
    std::function<void()> m_then;
    int m_ended = 0;
    QTimer m_timer;
};

/// A host with an event loop and a terminal on an open channel, whose usual replies fit into one report.
class TransactionTest : public ExchangeAmongEvents {
protected:
    TransactionTest() : ExchangeAmongEvents(longReports()) {}
    void SetUp() override;

    static pdasim::SimulatedTerminal::Options longReports();

    /// A reply of a type with the tags, after the two that each message has in front.
    static std::string reply(const std::string& type, const std::string& tags);
    /// Lets the terminal answer the next message of a type so.
    void answer(const std::string& type, const std::string& tags) { answerWith(type, reply(type, tags)); }
    /// The same, whatever the length of the reply.
    void answerAtLength(const std::string& type, const std::string& tags) {
        answerWhole(type, reply(type, tags));
    }

    /// Silences the terminal once and sends the reply as soon as the first wait for it has ended with
    /// nothing.
    std::thread answerInTheSecondWait(const std::string& type, const std::string& tags);

    JsonAnswer ask(const std::string& request);

    /// A message with its 14 digits of time replaced by "(time)".
    static std::string masked(std::string message);
    std::string newMaskedMessage() { return masked(newMessage()); }
    /// What the new message holds after Ex_SeqNo.
    std::string newBody();
    /// A whole message that is to be sent, masked as newMaskedMessage() does. Without `length`, the length
    /// field counts characters.
    static std::string maskedMessage(const std::string& type, const std::string& sequence,
                                     const std::string& body, int length = 0);

    /// The entries logged since the last call of this, "level text".
    std::vector<std::string> newLines();

private:
    std::size_t m_linesSeen = 0;
};
