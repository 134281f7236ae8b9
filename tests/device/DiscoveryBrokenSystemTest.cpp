#include "CallInterception.h"
#include "DiscoveryFixture.h"
#include "SeparateProcess.h"

namespace {

using pdalink::test::ProgramResult;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class DiscoveryOnABrokenSystem : public DiscoveryTest {
protected:
    ~DiscoveryOnABrokenSystem() override { pdalink::test::interceptNothing(); }

    static ProgramResult walk() {
        return runInSeparateProcess([] { findUsbDevice("1209", "0001"); });
    }
};

TEST_F(DiscoveryOnABrokenSystem, ANodeWithoutAUsbParentEndsTheProcess) {
    pdasim::DeviceDescription description;
    description.hasUsbParent = false;
    testBed().addDevice(description);
    const ProgramResult end = walk();
    EXPECT_EQ(end.exitCode, 1) << end.errors;
    EXPECT_THAT(end.output,
                AllOf(HasSubstr("****************\n+++++++++++++++++\nDevice Node Path: /dev/hidraw0\n"
                                "Unable to find parent usb device.\n"),
                      Not(HasSubstr("VID/PID"))));
}

TEST_F(DiscoveryOnABrokenSystem, ATerminalFoundBeforeItDoesNotSaveTheProcess) {
    add("1209", "0001");
    pdasim::DeviceDescription description;
    description.hasUsbParent = false;
    testBed().addDevice(description);
    const ProgramResult end = walk();
    EXPECT_EQ(end.exitCode, 1) << end.errors;
    EXPECT_THAT(end.output,
                HasSubstr(" serial: SIM0000001\n+++++++++++++++++\nDevice Node Path: /dev/hidraw1\n"
                          "Unable to find parent usb device.\n"));
}

TEST_F(DiscoveryOnABrokenSystem, NoUdevEndsTheProcess) {
    add("1209", "0001");
    pdalink::test::Interception interception;
    interception.noUdev = true;
    pdalink::test::intercept(interception);
    const ProgramResult end = walk();
    EXPECT_EQ(end.exitCode, 1) << end.errors;
    EXPECT_THAT(end.output,
                AllOf(HasSubstr("Can't create udev\n"), Not(HasSubstr("*****")), Not(HasSubstr("VID/PID"))));
}

} // namespace
