#include "BareClient.h"

#include "SimulatedTerminal.h"
#include "TestBed.h"

#include <gtest/gtest.h>

#include <libudev.h>
#include <poll.h>

#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using pdasim::DeviceDescription;
using pdasim::SimulatedTerminal;
using pdasim::TestBed;
using pdasim::test::BareClient;
using pdasim::test::enumerateHidraw;
using pdasim::test::FoundDevice;
using pdasim::test::request;

TEST(TestBed, ShowsATerminalWithAllItsAttributes) {
    const SimulatedTerminal terminal;
    const std::vector<FoundDevice> devices = enumerateHidraw();
    ASSERT_EQ(devices.size(), 1U);
    EXPECT_EQ(devices[0].node, "/dev/hidraw0");
    EXPECT_TRUE(devices[0].hasUsbParent);
    EXPECT_EQ(devices[0].vendorId, "1209");
    EXPECT_EQ(devices[0].productId, "0001");
    EXPECT_EQ(devices[0].manufacturer, "Simulated terminals");
    EXPECT_EQ(devices[0].product, "Handheld terminal");
    EXPECT_EQ(devices[0].serial, "SIM0000001");
}

TEST(TestBed, ShowsStrangeAndMissingAttributesAsTheyAre) {
    TestBed bed;
    DeviceDescription bluetooth;
    bluetooth.hasUsbParent = false;
    DeviceDescription description;
    description.vendorId = "ABCD";
    description.manufacturer = "%s%n%d \\n=\n ";
    description.product = std::nullopt;
    description.serial = std::nullopt;
    bed.addDevice(description);
    bed.addDevice(bluetooth);
    const std::vector<FoundDevice> devices = enumerateHidraw();
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_FALSE(devices[1].hasUsbParent);
    EXPECT_EQ(devices[0].vendorId, "ABCD");
    EXPECT_EQ(devices[0].manufacturer.substr(0, 10), "%s%n%d \\n=");
    EXPECT_EQ(devices[0].product, "(absent)");
    EXPECT_EQ(devices[0].serial, "(absent)");
}

TEST(TestBed, ListsSeveralDevicesInTheOrderOfTheirPorts) {
    TestBed bed;
    DeviceDescription other;
    other.vendorId = "046d";
    const int foreign = bed.addDevice(other);
    SimulatedTerminal first(bed);
    const int second = bed.addDevice({});
    EXPECT_EQ(first.nodePath(), "/dev/hidraw1");
    for (int i = 0; i < 9; ++i) {
        bed.addDevice({});
    }
    std::vector<FoundDevice> devices = enumerateHidraw();
    ASSERT_EQ(devices.size(), 12U);
    for (std::size_t i = 0; i < devices.size(); ++i) {
        EXPECT_EQ(devices[i].node, "/dev/hidraw" + std::to_string(i));
    }
    EXPECT_EQ(devices[0].vendorId, "046d");
    bed.unplug(foreign);
    bed.unplug(second);
    first.unplug();
    first.replug();
    EXPECT_EQ(first.nodePath(), "/dev/hidraw0");
    devices = enumerateHidraw();
    ASSERT_EQ(devices.size(), 10U);
    EXPECT_EQ(devices[0].node, "/dev/hidraw0");
    EXPECT_EQ(devices[0].vendorId, "1209");
    bed.replug(second);
    EXPECT_EQ(bed.nodePath(second), "/dev/hidraw1");
    EXPECT_EQ(enumerateHidraw().at(1).node, "/dev/hidraw1");
}

TEST(TestBed, DoesNotListADanglingEntry) {
    TestBed bed;
    bed.addDanglingEntry("hidraw7");
    EXPECT_TRUE(enumerateHidraw().empty());
    bed.addDevice({});
    EXPECT_EQ(enumerateHidraw().size(), 1U);
}

TEST(TestBed, DevicesThatAreNoTerminalsTakeEverythingAndStaySilent) {
    TestBed bed;
    const int device = bed.addDevice({});
    BareClient client(bed.nodePath(device));
    EXPECT_EQ(client.write("anything"), 8);
    EXPECT_EQ(client.poll(20ms), 0);
}

TEST(TestBed, TerminalsOfOneBedAreIndependent) {
    TestBed bed;
    SimulatedTerminal::Options options;
    options.identity.eimi = "second";
    SimulatedTerminal first(bed);
    SimulatedTerminal second(bed, options);
    BareClient toFirst(first.nodePath());
    BareClient toSecond(second.nodePath());
    EXPECT_EQ(toFirst.write(request("8001", 1)), 112);
    EXPECT_EQ(toSecond.write(request("8001", 5)), 112);
    EXPECT_NE(toFirst.readText().find("860123456789012"), std::string::npos);
    EXPECT_NE(toSecond.readText().find("<Ex_EIMI>second</Ex_EIMI>"), std::string::npos);
    first.unplug();
    EXPECT_EQ(toSecond.write(request("8001", 6)), 112);
    EXPECT_TRUE(second.violations().empty());
}

TEST(TestBed, AnnouncesUnpluggingAndReplugging) {
    SimulatedTerminal terminal;
    udev* context = ::udev_new();
    udev_monitor* monitor = ::udev_monitor_new_from_netlink(context, "udev");
    ::udev_monitor_filter_add_match_subsystem_devtype(monitor, "hidraw", nullptr);
    ASSERT_EQ(::udev_monitor_enable_receiving(monitor), 0);
    const auto nextAction = [monitor]() -> std::string {
        pollfd watched = {::udev_monitor_get_fd(monitor), POLLIN, 0};
        if (::poll(&watched, 1, 5000) != 1) {
            return "nothing";
        }
        udev_device* device = ::udev_monitor_receive_device(monitor);
        std::string action = device == nullptr ? "null" : ::udev_device_get_action(device);
        ::udev_device_unref(device);
        return action;
    };
    terminal.unplug();
    EXPECT_EQ(nextAction(), "remove");
    terminal.replug();
    EXPECT_EQ(nextAction(), "add");
    ::udev_monitor_unref(monitor);
    ::udev_unref(context);
}

} // namespace
