#pragma once

#include "tests/analysis/Tag.h"
#include "tests/device/ChannelFixture.h"

#include "analysis/PDAXMLAnalysis.h"
#include "analysis/ResultStores.h"

#include <QCoreApplication>
#include <QTimer>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

constexpr std::chrono::milliseconds kOpeningWait(1000);

/// A host's buffer for one output, filled with a character that no value of these tests ends with.
class OutputBuffer {
public:
    char* data() { return m_bytes.data(); }
    /// What has been written over the filling; empty when nothing has.
    std::string written() const { return m_bytes.substr(0, m_bytes.find_last_not_of('#') + 1); }

private:
    std::string m_bytes = std::string(1200000, '#');
};

/// A host's text, for parameters that are older than const.
class HostText {
public:
    HostText(const char* text) : m_text(text) {}            // NOLINT(google-explicit-constructor)
    HostText(std::string text) : m_text(std::move(text)) {} // NOLINT(google-explicit-constructor)
    operator char*() { return m_text.data(); }              // NOLINT(google-explicit-constructor)

private:
    std::string m_text;
};

/// What a call came to. Outputs that were not touched are empty.
struct Outcome {
    int result;
    std::vector<std::string> outputs;
    int taskFlag;

    bool operator==(const Outcome& other) const {
        return result == other.result && outputs == other.outputs && taskFlag == other.taskFlag;
    }
};
void PrintTo(const Outcome& outcome, std::ostream* stream);

/// How a call through the JSON ended.
struct JsonAnswer {
    int result;
    std::string text;

    bool operator==(const JsonAnswer& other) const { return result == other.result && text == other.text; }
};
void PrintTo(const JsonAnswer& answer, std::ostream* stream);

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

/// The members that talk to the terminal, in a host with an event loop, on an open channel, with a terminal
/// that fails the test for every violation of the protocol.
class TransactionTest : public ChannelTest {
protected:
    /// Usual replies fit into one report, which no busy machine delays, unless reports are shorter.
    explicit TransactionTest(std::size_t reportSize = 4096);
    ~TransactionTest() override;
    /// Opens the channel, which spares the second of opening, and passes over what has been logged.
    void SetUp() override;

    CPDAXMLAnalysis& analyser() { return m_analyser; }
    /// A call of GetInfo.
    Outcome getInfo();
    /// What the terminal answers to it unless told otherwise; what comes of it without a reply or a write.
    static Outcome usualInformation();
    static Outcome noInformation() { return {2, {"", "", "", "000060"}, 0}; }
    static Outcome informationNotSent() { return {-1, {"", "", "", ""}, 1}; }
    JsonAnswer ask(const std::string& request);

    /// A message as terminals send it, with a header whose length is right.
    static std::string message(const std::string& type, const std::string& tags);
    /// The same with the two tags that each message has in front.
    static std::string reply(const std::string& type, const std::string& tags);
    static std::string informationReply(const std::vector<std::string>& outputs);

    /// Lets the terminal answer the next message of a type with this text, or with a reply that has these
    /// tags.
    void answerWith(const std::string& type, const std::string& text);
    void answer(const std::string& type, const std::string& tags) { answerWith(type, reply(type, tags)); }
    /// The same, at once and whole inside the wait of the next call, whatever the length.
    void answerWhole(const std::string& type, const std::string& text);
    void answerAtLength(const std::string& type, const std::string& tags) {
        answerWhole(type, reply(type, tags));
    }
    /// Runs something inside the wait of the next call.
    static void duringTheNextWait(const std::function<void()>& action);
    /// Sends a text that nobody has asked for.
    void sendUninvited(const std::string& text);

    /// The only message that the terminal has got since the last call of this.
    std::string newMessage();
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
    /// How often the receive buffer has been taken with nothing in it.
    static int silentWaits() { return pdalink::test::countLogLines("HID Read XML: "); }

private:
    CPDAXMLAnalysis m_analyser;
    std::size_t m_messagesSeen = 0;
    std::size_t m_linesSeen = 0;
    int m_argumentCount = 1;
    char m_name[5] = "host";
    char* m_arguments[2] = {m_name, nullptr};
    QCoreApplication m_application{m_argumentCount, m_arguments};
};
