#include "ExchangeFixture.h"
#include "tests/device/CallInterception.h"
#include "tests/interface/FailingAllocation.h"

#include <cerrno>
#include <memory>
#include <mutex>

namespace {

using pdalink::test::waitUntil;
using pdasim::Fault;
using testing::IsEmpty;
using testing::SizeIs;

/// Calls that cannot be sent.
using ExchangeFailure = OpenExchangeTest;

TEST_F(ExchangeFailure, OfAWriteLeavesTheOutputsAndTheTaskFlagAsTheyAre) {
    terminal().addFault("8001", Fault().refuseWrite(EIO));
    EXPECT_EQ(getInfo(), kInformationNotSent);
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_FALSE(g_hidRun);
}

TEST_F(ExchangeFailure, OfAWriteDoesNotWait) {
    terminal().addFault("8002", Fault().refuseWrite(EIO));
    newLogTexts();
    EXPECT_LT(timeOf([this] { EXPECT_EQ(init(), kInitialisationNotSent); }), kSilentWait);
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_THAT(newLogTexts(4), SizeIs(3)); // nor does it open the channel or take the buffer
}

TEST_F(ExchangeFailure, OfAWriteIsOvercomeByTheNextCall) {
    terminal().addFault("8001", Fault().refuseWrite(EIO));
    EXPECT_EQ(getInfo(), kInformationNotSent);
    const Milliseconds time = timeOf([this] { EXPECT_EQ(getInfo(), usualInformation()); });
    EXPECT_GE(time, kOpeningWait + kPromptWait);
    EXPECT_EQ(m_PerformTasksYN, 0);
    EXPECT_EQ(terminal().openDescriptors(), 1);
    EXPECT_TRUE(extraThreadsBecome(1));
}

TEST_F(ExchangeFailure, OfAShortWriteLeavesTheChannelOpen) {
    terminal().addFault("8001", Fault().shortWrite(50));
    EXPECT_EQ(getInfo(), kInformationNotSent);
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_TRUE(g_hidRun);
    newLogTexts();
    EXPECT_EQ(getInfo(), usualInformation());
    EXPECT_EQ(m_PerformTasksYN, 0);
    EXPECT_THAT(newLogTexts(4), SizeIs(3)); // it has not opened anew
}

TEST_F(ExchangeFailure, ByANewPluggingIsOvercomeByTheCallAfterTheNext) {
    EXPECT_EQ(getInfo(), usualInformation());
    terminal().unplug();
    terminal().replug();
    ASSERT_EQ(terminal().nodePath(), "/dev/hidraw1");
    EXPECT_EQ(getInfo(), kInformationNotSent);
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_EQ(getInfo(), usualInformation());
    EXPECT_EQ(m_PerformTasksYN, 0);
    EXPECT_EQ(g_strSerialPort, "/dev/hidraw1");
    EXPECT_EQ(terminal().openDescriptors(), 1);
    EXPECT_TRUE(extraThreadsBecome(1));
}

TEST_F(ExchangeFailure, ByManyNewPluggingsLeavesNothingOver) {
    int filesAfterTheFirst = 0;
    for (int i = 0; i < 4; ++i) {
        terminal().unplug();
        terminal().replug();
        EXPECT_EQ(getInfo(), kInformationNotSent);
        EXPECT_EQ(init(), usualInitialisation());
        filesAfterTheFirst = i == 0 ? descriptors() : filesAfterTheFirst;
    }
    EXPECT_EQ(terminal().openDescriptors(), 1);
    EXPECT_TRUE(extraThreadsBecome(1));
    EXPECT_TRUE(descriptorsBecome(filesAfterTheFirst));
}

TEST_F(ExchangeFailure, ByADeviceThatGoesDuringTheWait) {
    terminal().addFault("8001", Fault().unplugBeforeReply());
    EXPECT_EQ(getInfo(), kNoInformation);
    EXPECT_EQ(m_PerformTasksYN, 0);
    EXPECT_EQ(getInfo(), kInformationNotSent); // now the write tells
    EXPECT_EQ(getInfo(), kInformationNotSent); // there is nothing to open
    EXPECT_EQ(terminal().openDescriptors(), 0);
    terminal().replug();
    EXPECT_EQ(getInfo(), usualInformation());
    EXPECT_TRUE(extraThreadsBecome(1));
}

TEST_F(ExchangeFailure, ByADeviceThatGoesBehindItsReplyIsNone) {
    terminal().addFault("8001", Fault().unplugAfterReply());
    EXPECT_EQ(getInfo(), usualInformation());
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(ExchangeFailure, OfAnotherHostsDescriptorIsNoMatter) {
    // Whatever is in g_fd is written to: nothing but the receiver's stop closes the channel.
    const CHIDDevice object; // sets it to -1
    EXPECT_EQ(getInfo(), kInformationNotSent);
    EXPECT_EQ(getInfo(), usualInformation());
    EXPECT_EQ(terminal().openDescriptors(), 1);
}

/// The same before the channel was opened.
class ExchangeWithoutATerminal : public ExchangeTest {
protected:
    void SetUp() override { terminal().unplug(); }
};

TEST_F(ExchangeWithoutATerminal, FailsAfterTheSecondOfOpening) {
    const Milliseconds time = timeOf([this] { EXPECT_EQ(getInfo(), kInformationNotSent); });
    EXPECT_GE(time, kOpeningWait);
    EXPECT_LT(time, kOpeningWait + kSilentWait);
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_FALSE(g_hidRun);
    EXPECT_TRUE(extraThreadsBecome(0));
}

TEST_F(ExchangeWithoutATerminal, FailsEveryTimeUntilThereIsOne) {
    EXPECT_EQ(getInfo(), kInformationNotSent);
    EXPECT_EQ(init(), kInitialisationNotSent);
    EXPECT_EQ(m_PerformTasksYN, 1);
    terminal().replug();
    EXPECT_EQ(getInfo(), usualInformation());
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(ExchangeWithoutATerminal, FailsAlsoAmongOtherDevices) {
    pdasim::DeviceDescription keyboard;
    keyboard.productId = "0002";
    terminal().testBed().addDevice(keyboard);
    EXPECT_EQ(getInfo(), kInformationNotSent);
    EXPECT_EQ(g_strSerialPort, "");
}

/// With a node that refuses or delays its opening.
using ExchangeWithADifficultNode = ExchangeTest;

TEST_F(ExchangeWithADifficultNode, FailsWhileItCannotBeOpened) {
    terminal().refuseOpening(true);
    const Milliseconds time = timeOf([this] { EXPECT_EQ(getInfo(), kInformationNotSent); });
    EXPECT_GE(time, kOpeningWait);
    EXPECT_LT(time, kOpeningWait + kSilentWait);
    EXPECT_EQ(m_PerformTasksYN, 1);
    terminal().refuseOpening(false);
    EXPECT_EQ(getInfo(), usualInformation());
}

TEST_F(ExchangeWithADifficultNode, SucceedsOnceASlowOneIsOpen) {
    const auto gate = std::make_shared<std::mutex>();
    pdalink::test::Interception interception;
    int openings = 0;
    interception.openedPath = terminal().nodePath();
    interception.openFile = [gate, &openings] {
        const std::lock_guard wait(*gate);
        ++openings;
    };
    pdalink::test::intercept(interception);
    {
        const std::lock_guard held(*gate);
        EXPECT_EQ(getInfo(), kInformationNotSent);
        EXPECT_EQ(getInfo(), kInformationNotSent);
        EXPECT_TRUE(extraThreadsBecome(1));
    }
    ASSERT_TRUE(waitUntil([] { return g_hidRun.load(); }));
    EXPECT_EQ(openings, 1);
    EXPECT_EQ(getInfo(), usualInformation());
    EXPECT_EQ(terminal().openDescriptors(), 1);
}

/// Memory that is not there.
class ExchangeOutOfMemory : public OpenExchangeTest {
protected:
    ~ExchangeOutOfMemory() override { terminal().takeViolations(); } // a message not sent leaves a gap
};

TEST_F(ExchangeOutOfMemory, IsAnInternalFailureWithTheTaskFlagDown) {
    int failures = 0;
    int number = 0;
    for (bool happened = true; happened;) {
        ASSERT_LT(++number, 1000);
        m_PerformTasksYN = 0;
        OutputBuffer sn;
        OutputBuffer retCode;
        int result = -99;
        {
            const FailingAllocation failing(number);
            result = analyser().GetInfo(sn.data(), nullptr, nullptr, retCode.data());
            happened = failing.happened();
        }
        EXPECT_EQ(m_PerformTasksYN, 0) << "with allocation " << number << " failing";
        if (result == 1) {
            ++failures;
            EXPECT_THAT(retCode.written(), IsEmpty());
        } else {
            EXPECT_EQ(result, 0) << "with allocation " << number << " failing";
        }
    }
    EXPECT_GT(failures, 3);
    EXPECT_EQ(getInfo(), usualInformation());
}

} // namespace
