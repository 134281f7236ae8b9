#include "TransactionFixture.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace {

constexpr std::size_t kHeader = 50;
const std::string kTimeTag = "<Ex_TrTime>";
constexpr std::size_t kTimeDigits = 14;
constexpr const char* kSilentLine = "HID Read XML: ";

} // namespace

void PrintTo(const JsonAnswer& answer, std::ostream* stream) {
    *stream << "result " << answer.result << ", " << answer.text;
}

ShortSilence::ShortSilence(pdasim::SimulatedTerminal& terminal, std::size_t answered, int waits,
                           std::function<void()> then)
    : m_terminal(terminal),
      m_answered(terminal.received().size() + answered),
      m_waits(waits),
      m_then(std::move(then)) {
    const int waitsBefore = pdalink::test::countLogLines(kSilentLine);
    QObject::connect(&m_timer, &QTimer::timeout, [this, waitsBefore] { act(waitsBefore); });
    m_timer.start(10);
}

void ShortSilence::act(int waitsBefore) {
    const int waits = pdalink::test::countLogLines(kSilentLine) - waitsBefore;
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

void TransactionTest::SetUp() {
    ExchangeAmongEvents::SetUp();
    newLines();
}

pdasim::SimulatedTerminal::Options TransactionTest::longReports() {
    pdasim::SimulatedTerminal::Options options;
    options.reportSize = 4096;
    return options;
}

std::string TransactionTest::reply(const std::string& type, const std::string& tags) {
    return message(type, tag("Ex_TrTime", "20260102030405") + tag("Ex_SeqNo", "0001") + tags);
}

std::thread TransactionTest::answerInTheSecondWait(const std::string& type, const std::string& tags) {
    terminal().addFault(type, pdasim::Fault().silence());
    return std::thread([this, text = reply(type, tags)] {
        const auto firstWaitIsOver = [] { return pdalink::test::countLogLines("HID Read XML: ") == 1; };
        EXPECT_TRUE(pdalink::test::waitUntil(firstWaitIsOver, 10 * kSilentWait));
        terminal().sendText(text);
    });
}

JsonAnswer TransactionTest::ask(const std::string& request) {
    std::string response(200000, '#');
    int length = -1;
    const int result = analyser().PDA_CommonCall(request.c_str(), static_cast<int>(request.size()),
                                                 response.data(), &length);
    return {result, response.substr(0, static_cast<std::size_t>(std::max(length, 0)))};
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
    const std::string rest = type + "QEV   000000000000000000000000        05" +
                             "<Ex_TrTime>(time)</Ex_TrTime><Ex_SeqNo>" + sequence + "</Ex_SeqNo>" + body;
    const int maskedTime = 6;
    const int characters =
        6 + QString::fromStdString(rest).size() - maskedTime + static_cast<int>(kTimeDigits);
    std::array<char, 32> field{};
    (void)std::snprintf(field.data(), field.size(), "%06d", length != 0 ? length : characters);
    return field.data() + rest;
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
