#include "PrivateDirectory.h"
#include "usbip/VhciBus.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace {

using pdalink::test::readFile;
using pdalink::test::writeFile;
using pdasim::usbip::freeVhciPort;
using pdasim::usbip::OfferedDevice;
using pdasim::usbip::Vhci;

const std::string kHeading = "hub port sta spd dev      sockfd local_busid\n";

/// What sysfs shows of the module.
class FakeVhci : public testing::Test {
protected:
    FakeVhci() {
        m_sys = pdalink::test::scratchDirectory() + "/" +
                testing::UnitTest::GetInstance()->current_test_info()->name();
        m_folder = m_sys + "/devices/platform/vhci_hcd.0";
        std::filesystem::create_directories(m_folder);
        writeFile(m_folder + "/attach", "");
        writeFile(m_folder + "/detach", "");
        status("status", "hs  0000 006 002 00010002 000005 3-1\nhs  0001 004 000 00000000 000000 0-0\n");
    }
    void status(const std::string& name, const std::string& lines) {
        writeFile(m_folder + "/" + name, kHeading + lines);
    }
    std::string attached() const { return readFile(m_folder + "/attach"); }

    std::string m_sys;
    std::string m_folder;
};

OfferedDevice plugged() {
    OfferedDevice offered;
    offered.description.vendorId = "12ab";
    offered.description.productId = "00cd";
    offered.deviceNumber = 3;
    return offered;
}

std::string reasonOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
    return "no failure";
}

TEST(VhciStatus, TheFirstFreePortForTheSpeedCounts) {
    EXPECT_EQ(freeVhciPort(kHeading + "hs  0000 004 000 00000000 000000 0-0\n"), 0U);
    EXPECT_EQ(freeVhciPort(kHeading + "hs  0000 006 002 00010002 000005 3-1\n"
                                      "hs  0001 005 000 00000000 000000 0-0\n"
                                      "hs  0002 004 000 00000000 000000 0-0\n"),
              2U);
    EXPECT_EQ(freeVhciPort(kHeading + "ss  0008 004 000 00000000 000000 0-0\n"), std::nullopt);
    EXPECT_EQ(freeVhciPort(kHeading), std::nullopt);
    EXPECT_EQ(freeVhciPort(""), std::nullopt);
    EXPECT_EQ(freeVhciPort("hs x\nhs\n\nhs 99999999999999 004\n"), std::nullopt);
}

TEST_F(FakeVhci, AttachesInTheKernelsWords) {
    EXPECT_EQ(Vhci(m_sys).attach(plugged(), 7), 1U);
    EXPECT_EQ(attached(), "1 7 65539 2");
}

TEST_F(FakeVhci, DetachesByThePort) {
    Vhci(m_sys).detach(5);
    EXPECT_EQ(readFile(m_folder + "/detach"), "5");
}

TEST_F(FakeVhci, LooksAtEveryController) {
    status("status", "hs  0000 006 002 00010002 000005 3-1\n");
    status("status.1", "hs  0016 004 000 00000000 000000 0-0\n");
    EXPECT_EQ(Vhci(m_sys).attach(plugged(), 7), 16U);
}

TEST_F(FakeVhci, SaysWhatIsMissing) {
    EXPECT_EQ(reasonOf([] { (void)Vhci("/no/such/folder"); }),
              "the kernel's module vhci_hcd is not there; this loads it: sudo modprobe vhci_hcd");
    status("status", "hs  0000 006 002 00010002 000005 3-1\n");
    EXPECT_EQ(reasonOf([this] { (void)Vhci(m_sys).attach(plugged(), 7); }),
              "every port of vhci_hcd is taken; this frees the first one: sudo usbip detach -p 0");
}

TEST_F(FakeVhci, SaysThatTheKernelRefuses) {
    const Vhci vhci(m_sys);
    std::filesystem::remove(m_folder + "/attach");
    std::filesystem::create_directory(m_folder + "/attach");
    EXPECT_EQ(reasonOf([&vhci] { (void)vhci.attach(plugged(), 7); }),
              "vhci_hcd refuses the device: Is a directory; this may tell why: sudo dmesg");
}

TEST_F(FakeVhci, FindsTheNode) {
    const Vhci vhci(m_sys);
    EXPECT_EQ(vhci.nodeOf(1, plugged()), "");
    const std::string usb = m_folder + "/usb3/3-2/3-2:1.0/";
    std::filesystem::create_directories(usb + "0003:1209:0001.0001/hidraw/hidraw3");
    EXPECT_EQ(vhci.nodeOf(1, plugged()), "") << "another device";
    std::filesystem::create_directories(usb + "0003:12AB:00CD.0002/hidraw/hidraw4");
    EXPECT_EQ(vhci.nodeOf(1, plugged()), "hidraw4");
    EXPECT_EQ(vhci.nodeOf(2, plugged()), "") << "at another port";
    std::filesystem::create_directories(m_sys + "/devices/platform/vhci_hcd.1/usb5/5-2/5-2:1.0/"
                                                "0003:12AB:00CD.0007/hidraw/hidraw5");
    EXPECT_EQ(vhci.nodeOf(17, plugged()), "hidraw5");
}

} // namespace
