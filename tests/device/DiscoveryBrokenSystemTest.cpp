#include "CallInterception.h"
#include "DiscoveryFixture.h"

#include <unistd.h>

namespace {

using testing::AllOf;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::Not;

/// The end of the process is watched in a process of its own, whose standard output is what is matched.
class DiscoveryOnABrokenSystem : public DiscoveryTest {
protected:
    DiscoveryOnABrokenSystem() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
    ~DiscoveryOnABrokenSystem() override { pdalink::test::interceptNothing(); }

    static void walk() {
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
        findUsbDevice("1209", "0001");
        std::_Exit(0);
    }
};

using DiscoveryOnABrokenSystemDeathTest = DiscoveryOnABrokenSystem;

TEST_F(DiscoveryOnABrokenSystemDeathTest, ANodeWithoutAUsbParentEndsTheProcess) {
    pdasim::DeviceDescription description;
    description.hasUsbParent = false;
    testBed().addDevice(description);
    EXPECT_EXIT(walk(), ExitedWithCode(1),
                AllOf(HasSubstr("****************\n+++++++++++++++++\nDevice Node Path: /dev/hidraw0\n"
                                "Unable to find parent usb device.\n"),
                      Not(HasSubstr("VID/PID"))));
}

TEST_F(DiscoveryOnABrokenSystemDeathTest, ATerminalFoundBeforeItDoesNotSaveTheProcess) {
    add("1209", "0001");
    pdasim::DeviceDescription description;
    description.hasUsbParent = false;
    testBed().addDevice(description);
    EXPECT_EXIT(walk(), ExitedWithCode(1),
                HasSubstr(" serial: SIM0000001\n+++++++++++++++++\nDevice Node Path: /dev/hidraw1\n"
                          "Unable to find parent usb device.\n"));
}

TEST_F(DiscoveryOnABrokenSystemDeathTest, NoUdevEndsTheProcess) {
    add("1209", "0001");
    pdalink::test::Interception interception;
    interception.noUdev = true;
    pdalink::test::intercept(interception);
    EXPECT_EXIT(walk(), ExitedWithCode(1),
                AllOf(HasSubstr("Can't create udev\n"), Not(HasSubstr("*****")), Not(HasSubstr("VID/PID"))));
}

} // namespace
