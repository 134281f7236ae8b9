#include "TransactionFixture.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

using pdasim::Fault;

namespace {

constexpr std::size_t kHeader = 50;
const std::string kTimeTag = "<Ex_TrTime>";
constexpr std::size_t kTimeDigits = 14;

pdasim::SimulatedTerminal::Options withReports(std::size_t size) {
    pdasim::SimulatedTerminal::Options options;
    options.reportSize = size;
    return options;
}

/// The length field in front of the rest of a message; without `length` it counts the characters.
std::string withLength(const std::string& rest, int length = 0) {
    std::array<char, 32> field{};
    (void)std::snprintf(field.data(), field.size(), "%06d",
                        length != 0 ? length : 6 + QString::fromStdString(rest).size());
    return field.data() + rest;
}

std::string headerBehindTheLength(const std::string& type) {
    return type + "QEV   " + std::string(24, '0') + std::string(8, ' ') + "05";
}

} // namespace

void PrintTo(const Outcome& outcome, std::ostream* stream) {
    *stream << "result " << outcome.result << ", task flag " << outcome.taskFlag << ", outputs "
            << testing::PrintToString(outcome.outputs);
}

void PrintTo(const JsonAnswer& answer, std::ostream* stream) {
    *stream << "result " << answer.result << ", " << answer.text;
}

ShortSilence::ShortSilence(pdasim::SimulatedTerminal& terminal, std::size_t answered, int waits,
                           std::function<void()> then)
    : m_terminal(terminal),
      m_answered(terminal.received().size() + answered),
      m_waits(waits),
      m_then(std::move(then)) {
    const int waitsBefore = pdalink::test::countLogLines("HID Read XML: ");
    QObject::connect(&m_timer, &QTimer::timeout, [this, waitsBefore] { act(waitsBefore); });
    m_timer.start(10);
}

void ShortSilence::act(int waitsBefore) {
    const int waits = pdalink::test::countLogLines("HID Read XML: ") - waitsBefore;
    if (m_terminal.received().size() <= m_answered || waits < m_ended) {
        return;
    }
    m_ended = waits + 1;
    if (waits < m_waits) {
        m_terminal.sendReport(std::string(64, '\0'));
    } else if (m_then != nullptr) {
        std::exchange(m_then, nullptr)();
    }
}

TransactionTest::TransactionTest(std::size_t reportSize) : ChannelTest(withReports(reportSize)) {
    m_SeqNo = 0;
    m_PerformTasksYN = 0;
}

TransactionTest::~TransactionTest() {
    for (const std::string& violation : terminal().violations()) {
        ADD_FAILURE() << "the terminal objects: " << violation;
    }
}

void TransactionTest::SetUp() {
    openChannel();
    newLogTexts();
    newLines();
}

Outcome TransactionTest::getInfo() {
    std::array<OutputBuffer, 4> x;
    const int result = m_analyser.GetInfo(x[0].data(), x[1].data(), x[2].data(), x[3].data());
    return {result, {x[0].written(), x[1].written(), x[2].written(), x[3].written()}, m_PerformTasksYN};
}

Outcome TransactionTest::usualInformation() {
    const pdasim::Identity identity;
    return {0, {identity.eimi, identity.bleVersion, identity.pdaVersion, identity.returnCode}, 0};
}

JsonAnswer TransactionTest::ask(const std::string& request) {
    std::string response(200000, '#');
    int length = -1;
    const int result = m_analyser.PDA_CommonCall(request.c_str(), static_cast<int>(request.size()),
                                                 response.data(), &length);
    return {result, response.substr(0, static_cast<std::size_t>(std::max(length, 0)))};
}

std::string TransactionTest::message(const std::string& type, const std::string& tags) {
    return withLength(headerBehindTheLength(type) + tags);
}

std::string TransactionTest::reply(const std::string& type, const std::string& tags) {
    return message(type, tag("Ex_TrTime", "20260102030405") + tag("Ex_SeqNo", "0001") + tags);
}

std::string TransactionTest::informationReply(const std::vector<std::string>& outputs) {
    return reply("8001", tag("Ex_EIMI", outputs.at(0)) + tag("Ex_BleVer", outputs.at(1)) +
                             tag("Ex_PdaVer", outputs.at(2)) + tag("Ex_RetCode", outputs.at(3)));
}

void TransactionTest::answerWith(const std::string& type, const std::string& text) {
    terminal().addFault(type, Fault().rawReply(text));
}

void TransactionTest::answerWhole(const std::string& type, const std::string& text) {
    terminal().addFault(type, Fault().silence());
    duringTheNextWait([this, text] { sendUninvited(text); });
}

void TransactionTest::duringTheNextWait(const std::function<void()>& action) {
    QTimer::singleShot(0, action);
}

void TransactionTest::sendUninvited(const std::string& text) {
    terminal().sendText(text);
    EXPECT_TRUE(becomesBuffered(QString::fromStdString(text)));
}

std::string TransactionTest::newMessage() {
    const std::vector<std::string> received = terminal().received();
    EXPECT_EQ(received.size(), m_messagesSeen + 1);
    m_messagesSeen = received.size();
    return received.empty() ? std::string() : received.back();
}

std::string TransactionTest::masked(std::string message) {
    const std::size_t time = kHeader + kTimeTag.size();
    EXPECT_EQ(message.substr(std::min(kHeader, message.size()), kTimeTag.size()), kTimeTag);
    EXPECT_EQ(message.find_first_not_of("0123456789", time), time + kTimeDigits);
    return message.size() < time ? message : message.replace(time, kTimeDigits, "(time)");
}

std::string TransactionTest::newBody() {
    const std::string message = newMaskedMessage();
    const std::string sequenceEnd = "</Ex_SeqNo>";
    const std::size_t end = message.find(sequenceEnd);
    EXPECT_NE(end, std::string::npos);
    return message.substr(std::min(end + sequenceEnd.size(), message.size()));
}

std::string TransactionTest::maskedMessage(const std::string& type, const std::string& sequence,
                                           const std::string& body, int length) {
    // Whatever its digits are: the time has as many characters as this.
    return masked(withLength(headerBehindTheLength(type) + tag("Ex_TrTime", "20260102030405") +
                                 tag("Ex_SeqNo", sequence) + body,
                             length));
}

std::vector<std::string> TransactionTest::newLines() {
    const std::vector<pdalink::test::LogLine> log = pdalink::test::readLog();
    std::vector<std::string> lines;
    for (std::size_t i = m_linesSeen; i < log.size(); ++i) {
        lines.push_back(std::to_string(log[i].level) + " " + log[i].text);
    }
    m_linesSeen = log.size();
    return lines;
}
