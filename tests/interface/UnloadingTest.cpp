#include "ProcessFacts.h"
#include "TestTerminal.h"
#include "tests/interface/HostRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

// The library unloaded with its channel open, by a host that checks what is left of it after each time.

namespace {

using namespace pdalink::test;

class Unloading : public testing::Test {
protected:
    Unloading() { m_library.withLibrary().withIni("1209", "0001"); }

    TestTerminal& terminal() { return m_terminal; }
    std::string log() const { return readFile(m_library.file("log/PDA.log")); }

    Outcome runHost(const std::string& how, int rounds, const std::vector<std::string>& more = {}) {
        std::vector<std::string> command{UNLOADING_HOST, m_library.file(kLibrary), how,
                                         std::to_string(rounds)};
        command.insert(command.end(), more.begin(), more.end());
        auto environment = m_terminal.testBed().environment();
        // What Qt and its own libraries leave behind cannot be told by name any more once they are unloaded.
        environment["LSAN_OPTIONS"] = more.empty() ? "detect_leaks=0" : "";
        return runIn("/", command, environment);
    }

    void expectAllUnloaded(const Outcome& outcome) {
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        EXPECT_EQ(outcome.count("all unloaded"), 1);
        EXPECT_TRUE(waitUntil([this] { return m_terminal.openDescriptors() == 0; }));
    }

private:
    HostDirectory m_library{"library"};
    TestTerminal m_terminal;
};

TEST_F(Unloading, ClosesTheOpenChannelAHundredTimes) {
    expectAllUnloaded(runHost("open", 100));
}

TEST_F(Unloading, ClosesTheOpenChannelAHundredTimesWhileQtStaysLoaded) {
    expectAllUnloaded(runHost("open", 100, {"libQt5Core.so.5"}));
}

TEST_F(Unloading, EndsAReceiverThatIsStillOpeningAHundredTimes) {
    expectAllUnloaded(runHost("opening", 100));
}

TEST_F(Unloading, EndsAReceiverThatIsReading) {
    std::atomic<bool> done{false};
    std::thread sender([this, &done] {
        while (!done) {
            terminal().sendText(std::string(40UL * 64, 'x'));
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    expectAllUnloaded(runHost("open", 30));
    done = true;
    sender.join();
}

TEST_F(Unloading, AfterCallsStartsAnewNextTime) {
    const Outcome outcome = runHost("call", 2);
    expectAllUnloaded(outcome);
    EXPECT_NE(outcome.valueOf("response: ").find(R"("pRetCode":"000000")"), std::string::npos)
        << outcome.output;
    const std::vector<std::string> received = terminal().received();
    EXPECT_EQ(received.size(), 2U);
    for (const std::string& message : received) {
        EXPECT_NE(message.find("<Ex_SeqNo>0001</Ex_SeqNo>"), std::string::npos) << message;
    }
}

TEST_F(Unloading, TakesNoLongerThanTheReceiverAndKeepsItsLines) {
    constexpr int blindWait = 200; // ms, long enough for any receiver
    constexpr int rounds = 50;
    const Outcome outcome = runHost("open", rounds);
    expectAllUnloaded(outcome);
    EXPECT_LT(std::stoi(outcome.valueOf("shortest unloading: ")), blindWait);
    const std::string line = "~CHIDDevice\n";
    int count = 0;
    for (auto found = outcome.errors.find(line); found != std::string::npos;
         found = outcome.errors.find(line, found + 1)) {
        ++count;
    }
    EXPECT_EQ(count, 1 + rounds) << outcome.errors;
    const std::vector<LogLine> lines = parseLog(log());
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const LogLine& each) { return each.text == "port open success"; }),
              1 + rounds);
}

} // namespace
