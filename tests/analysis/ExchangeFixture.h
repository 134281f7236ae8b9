#pragma once

#include "tests/device/ChannelFixture.h"

#include "analysis/PDAXMLAnalysis.h"
#include "analysis/ResultStores.h"

#include <QCoreApplication>
#include <functional>
#include <ostream>
#include <string>

/// A host's buffer for one output, filled with a character that no value of these tests ends with.
class OutputBuffer {
public:
    char* data() { return m_bytes.data(); }
    /// What has been written over the filling; empty when nothing has.
    std::string written() const { return m_bytes.substr(0, m_bytes.find_last_not_of('#') + 1); }

private:
    std::string m_bytes = std::string(1200000, '#');
};

/// How a call of GetInfo ended. Outputs that were not touched are empty.
struct Information {
    int result;
    std::string sn;
    std::string bleVersion;
    std::string pdaVersion;
    std::string retCode;

    bool operator==(const Information& other) const;
};
void PrintTo(const Information& information, std::ostream* stream);

/// How a call of Init ended.
struct Initialisation {
    int result;
    std::string sn;
    std::string vender;
    std::string retCode;

    bool operator==(const Initialisation& other) const;
};
void PrintTo(const Initialisation& initialisation, std::ostream* stream);

const Information kNoInformation{2, "", "", "", "000060"};
const Information kInformationNotSent{-1, "", "", "", ""};
const Initialisation kNoInitialisation{2, "", "", "000060"};
const Initialisation kInitialisationNotSent{-1, "", "", ""};

constexpr std::chrono::milliseconds kOpeningWait(1000);

/// The members that talk to the terminal, in a fresh process, with a terminal that fails the test for every
/// violation of the protocol.
class ExchangeTest : public ChannelTest {
protected:
    ExchangeTest();
    explicit ExchangeTest(pdasim::SimulatedTerminal::Options options);
    ~ExchangeTest() override;

    CPDAXMLAnalysis& analyser() { return m_analyser; }
    Information getInfo();
    Initialisation init(const char* pdaNumber = "00000007", const char* factory = "QEV");
    /// A call through JSON: the response.
    std::string call(const std::string& request);

    /// The only message that the terminal has got since the last call of this.
    std::string newMessage();

    /// What the terminal answers unless told otherwise.
    static Information usualInformation();
    static Initialisation usualInitialisation();

    /// A message as terminals send it, with a header whose length is right.
    static std::string message(const std::string& type, const std::string& tags);
    static std::string tag(const std::string& name, const std::string& value);
    static std::string informationReply(const Information& information);
    static std::string initialisationReply(const Initialisation& initialisation);

    /// Lets the terminal answer the next message of a type with this text.
    void answerWith(const std::string& type, const std::string& text);

private:
    CPDAXMLAnalysis m_analyser;
    std::size_t m_messagesSeen = 0;
};

/// The same on a channel that is open already, which spares the second of opening.
class OpenExchangeTest : public ExchangeTest {
protected:
    using ExchangeTest::ExchangeTest;
    void SetUp() override {
        openChannel();
        newLogTexts(); // passes over the lines of opening
    }
};

/// The same in a host with an event loop.
class ExchangeAmongEvents : public OpenExchangeTest {
protected:
    using OpenExchangeTest::OpenExchangeTest;

    /// Runs something inside the wait of the next call.
    static void duringTheNextWait(const std::function<void()>& action);
    /// Silences the terminal once and sends the text instead, at once and whole, inside the wait of the next
    /// call.
    void answerWhole(const std::string& type, const std::string& text);

private:
    int m_argumentCount = 1;
    char m_name[5] = "host";
    char* m_arguments[2] = {m_name, nullptr};
    QCoreApplication m_application{m_argumentCount, m_arguments};
};
