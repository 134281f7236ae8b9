#include "TestTerminal.h"
#include "tests/interface/HostRun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// The library in a host that forks: the child's channel begins anew, the parent's goes on.

namespace {

using namespace pdalink::test;
using testing::HasSubstr;

class Fork : public testing::Test {
protected:
    Fork() { m_library.withLibrary().withIni("1209", "0001"); }

    Outcome runHost(const std::string& how) { return runHost(how, m_terminal.testBed().environment()); }
    /// A simulated system has locks of its own, which no child survives when another thread holds them.
    Outcome runHostWithoutDevices(const std::string& how) { return runHost(how, {}); }

    ~Fork() override {
        m_terminal.takeViolations(); // two processes count the messages of one terminal
    }

    TestTerminal& terminal() { return m_terminal; }

private:
    Outcome runHost(const std::string& how, std::map<std::string, std::string> environment) {
        // A child of several threads cannot start one of its own under the thread sanitizer otherwise.
        environment["TSAN_OPTIONS"] = "die_after_fork=0 atexit_sleep_ms=0";
        // What the parent's other threads hold is lost in a child.
        environment["LSAN_OPTIONS"] = "detect_leaks=0";
        return runIn("/", {FORKING_HOST, m_library.file(kLibrary), how}, environment);
    }

    HostDirectory m_library{"library"};
    TestTerminal m_terminal;
};

constexpr const char* kAnswered = R"("pRetCode":"000000")";

TEST_F(Fork, LeavesTheChildAChannelOfItsOwnAndTheParentItsOwn) {
    const Outcome outcome = runHost("call");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.valueOf("child begins with: "), "descriptor -1, running 0, received 0");
    EXPECT_EQ(outcome.valueOf("child's copy of the node: "), "closed");
    EXPECT_THAT(outcome.valueOf("child: "), HasSubstr(kAnswered));
    EXPECT_THAT(outcome.valueOf("child ends with: "), HasSubstr("running 1"));
    EXPECT_EQ(outcome.valueOf("child's status: "), "0");
    EXPECT_THAT(outcome.valueOf("parent: "), HasSubstr(kAnswered));
    EXPECT_THAT(outcome.valueOf("parent again: "), HasSubstr(kAnswered));
    const std::vector<std::string> received = terminal().received();
    ASSERT_EQ(received.size(), 3U);
    EXPECT_THAT(received.back(), HasSubstr("<Ex_SeqNo>0002</Ex_SeqNo>")) << "the parent's second message";
}

TEST_F(Fork, DoesNotProlongTheChildsExit) {
    constexpr int usual = 500; // ms, on a busy machine
    const Outcome outcome = runHost("exit");
    EXPECT_EQ(outcome.valueOf("child's status: "), "0");
    EXPECT_LT(std::stoi(outcome.valueOf("child's milliseconds: ")), usual);
}

// The sanitizers have locks of their own, which no child survives when another thread holds them, and need
// all of the address space.
#if !PDALINK_IS_SANITIZED
TEST_F(Fork, WhileAnotherThreadCallsBlocksNoChild) {
    const Outcome outcome = runHostWithoutDevices("busy");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.valueOf("children that failed: "), "0");
}

TEST_F(Fork, WhileTheReceiveBufferIsLockedBlocksNoChild) {
    const Outcome outcome = runHost("locked");
    EXPECT_EQ(outcome.valueOf("child's status: "), "0");
    EXPECT_THAT(outcome.valueOf("child: "), HasSubstr(kAnswered));
    EXPECT_THAT(outcome.valueOf("parent again: "), HasSubstr(kAnswered));
}

TEST_F(Fork, SurvivesAChildThatCannotOpenItsChannel) {
    const Outcome outcome = runHost("failing");
    EXPECT_EQ(outcome.valueOf("child's status: "), "0");
    EXPECT_THAT(outcome.valueOf("parent again: "), HasSubstr(kAnswered));
}
#endif

} // namespace
