#include "CallInterception.h"
#include "Descriptors.h"
#include "OutputCapture.h"
#include "PrivateDirectory.h"
#include "SeparateProcess.h"
#include "TestBed.h"

#include "device/UsbDiscovery.h"
#include "util/LockConfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QString>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace {

using pdalink::test::ProgramResult;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// A system with simulated devices, and what one walk over them prints, logs and finds.
class DiscoveryTest : public testing::Test {
protected:
    DiscoveryTest() { LoadLockConfig(); } // opens the log

    pdasim::TestBed& testBed() { return m_testBed; }

    /// Adds a device with the given ids and the other attributes as they are by default.
    pdasim::TestBed::DeviceId add(const std::string& vendorId, const std::string& productId) {
        pdasim::DeviceDescription description;
        description.vendorId = vendorId;
        description.productId = productId;
        return m_testBed.addDevice(description);
    }

    std::string find(const std::string& vid = "1209", const std::string& pid = "0001") {
        const std::size_t logged = pdalink::test::readLog().size();
        const pdalink::test::StandardOutputCapture output;
        const QString node = findUsbDevice(QString::fromStdString(vid), QString::fromStdString(pid));
        m_printed = output.text();
        m_logged = pdalink::test::readLog();
        m_logged.erase(m_logged.begin(), m_logged.begin() + static_cast<std::ptrdiff_t>(logged));
        return node.toStdString();
    }

    /// What the last walk wrote to standard output and to the log.
    const std::string& printed() const { return m_printed; }
    const std::vector<pdalink::test::LogLine>& logged() const { return m_logged; }
    std::vector<std::string> loggedTexts() const {
        std::vector<std::string> texts;
        for (const pdalink::test::LogLine& line : m_logged) {
            texts.push_back(line.text);
        }
        return texts;
    }

    /// The sysfs directory of the USB device that a node belongs to.
    std::filesystem::path usbDirectory(const std::string& node) const {
        std::filesystem::path directory = hidrawDirectory(node);
        while (!std::filesystem::exists(directory / "idVendor")) {
            directory = directory.parent_path();
        }
        return directory;
    }
    std::filesystem::path hidrawDirectory(const std::string& node) const {
        return std::filesystem::canonical(m_testBed.rootDirectory() + "/sys/class/hidraw/" +
                                          std::filesystem::path(node).filename().string());
    }

private:
    pdasim::TestBed m_testBed;
    std::string m_printed;
    std::vector<pdalink::test::LogLine> m_logged;
};

TEST_F(DiscoveryTest, WithoutDevicesPrintsTheAsterisksOnlyAndFindsNothing) {
    EXPECT_EQ(find(), "");
    EXPECT_EQ(printed(), "****************\n");
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(DiscoveryTest, PrintsAndLogsWhatEachDeviceSaysOfItselfInTheOrderOfTheirListing) {
    pdasim::DeviceDescription description;
    description.vendorId = "04d8";
    description.productId = "00df";
    description.manufacturer = "Example works";
    description.product = "Reader";
    description.serial = "R-1";
    testBed().addDevice(description);
    description.manufacturer.reset();
    description.product.reset();
    description.serial.reset();
    testBed().addDevice(description);
    find();
    EXPECT_EQ(printed(), "****************\n"
                         "+++++++++++++++++\n"
                         "Device Node Path: /dev/hidraw0\n"
                         " VID/PID: 04d8 00df\n"
                         " manufacturer: Example works\n"
                         " product:Reader\n"
                         " serial: R-1\n"
                         "+++++++++++++++++\n"
                         "Device Node Path: /dev/hidraw1\n"
                         " VID/PID: 04d8 00df\n"
                         " manufacturer: \n"
                         " product:\n"
                         " serial: \n");
    EXPECT_THAT(loggedTexts(),
                ElementsAre(" VID/PID: 04d8 00df\n", "Example works", " VID/PID: 04d8 00df\n", ""));
    for (const auto& line : logged()) {
        EXPECT_EQ(line.level, 4);
    }
}

TEST_F(DiscoveryTest, FindsTheOneDeviceWithBothIds) {
    testBed().addDanglingEntry("hidraw7"); // which is passed over
    add("1209", "0002");
    EXPECT_EQ(find(), "") << "only the vendor matches";
    add("1210", "0001");
    EXPECT_EQ(find(), "") << "only the product matches";
    const auto terminal = add("1209", "0001");
    EXPECT_EQ(find(), testBed().nodePath(terminal));
    EXPECT_EQ(find("120", "0001"), "") << "an id is only a part";
    EXPECT_EQ(find("1209", "00010"), "");
    EXPECT_EQ(find("0001", "1209"), "");
}

TEST_F(DiscoveryTest, OfSeveralMatchesTakesTheLastOneListedWithOrWithoutANode) {
    const auto first = add("1209", "0001");
    const auto last = add("1209", "0001");
    add("ffff", "0001"); // no match: does not undo the result
    EXPECT_EQ(find(), testBed().nodePath(last));
    EXPECT_EQ(find(), "/dev/hidraw1");
    const auto event = hidrawDirectory(testBed().nodePath(last)) / "uevent";
    ASSERT_THAT(pdalink::test::readFile(event), HasSubstr("DEVNAME="));
    pdalink::test::writeFile(event, "");
    EXPECT_EQ(find(), "") << "the first one's node is not used";
    EXPECT_THAT(printed(), HasSubstr("+++++++++++++++++\nDevice Node Path: \n VID/PID: 1209 0001\n"));
    testBed().unplug(last);
    EXPECT_EQ(find(), testBed().nodePath(first));
}

TEST_F(DiscoveryTest, ComparesIdsWithoutCase) {
    const auto upperCase = add("AB0F", "C0DE");
    EXPECT_EQ(find("ab0f", "c0de"), testBed().nodePath(upperCase));
    EXPECT_THAT(printed(), HasSubstr(" VID/PID: AB0F C0DE\n"));
    testBed().unplug(upperCase);
    const auto lowerCase = add("ab0f", "c0de");
    EXPECT_EQ(find("AB0F", "C0DE"), testBed().nodePath(lowerCase));
}

TEST_F(DiscoveryTest, AnEmptyConfiguredIdMatchesNothingNotEvenAMissingOrEmptyAttribute) {
    add("", "0001");
    EXPECT_EQ(find("", "0001"), "");
    add("1209", "");
    EXPECT_EQ(find("1209", ""), "");
    const auto device = add("1209", "0001");
    EXPECT_EQ(find("", ""), "");
    const auto usb = usbDirectory(testBed().nodePath(device));
    std::filesystem::remove(usb / "idProduct");
    EXPECT_EQ(find("1209", ""), "");
    EXPECT_THAT(printed(), HasSubstr(" VID/PID: 1209 \n"));
    std::filesystem::remove(usb / "idVendor");
    EXPECT_EQ(find("", ""), "");
    EXPECT_THAT(printed(), HasSubstr(" VID/PID:  \n"));
    EXPECT_EQ(loggedTexts().at(4), " VID/PID:  \n");
}

TEST_F(DiscoveryTest, LeavesNoDescriptorOpen) {
    add("1209", "0001");
    add("1209", "0002");
    testBed().addDanglingEntry("hidraw7");
    find();
    const int before = descriptors();
    for (int i = 0; i < 20; ++i) {
        find();
    }
    EXPECT_TRUE(descriptorsBecome(before));
}

struct Texts {
    const char* name;
    std::optional<std::string> manufacturer;
    std::optional<std::string> product;
    std::string logged;
};

const std::string kLong(126, 'x'); // the longest that a USB string descriptor carries

// The manufacturer's text is the format of the log line, the product's its argument.
const Texts kTexts[] = {
    {"plain", "Acme", "Reader", "Acme"},
    {"none", std::nullopt, "Reader", ""},
    {"empty", "", "Reader", ""},
    {"placeholder", "%s", "Reader", "Reader"},
    {"placeholder inside", "<%s>", "Reader", "<Reader>"},
    {"placeholder without product", "<%s>", std::nullopt, "<>"},
    {"percent", "%%", "Reader", "%"},
    {"percent then letter", "%%s", "Reader", "%s"},
    {"percent then placeholder", "%%%s", "Reader", "%Reader"},
    {"placeholder then percent", "%s%%", "Reader", "Reader%"},
    {"percent letter then placeholder", "%%s %s", "Reader", "%s Reader"},
    {"two placeholders", "%s %s", "Reader", "Reader %s"},
    {"other conversions", "%n%d", "Reader", "%n%d"},
    {"other conversion then placeholder", "%d%s", "Reader", "%dReader"},
    {"width", "%5s%99999999d", "Reader", "%5s%99999999d"},
    {"trailing percent", "100%", "Reader", "100%"},
    {"lone percent", "%", "Reader", "%"},
    {"product is not a format", "%s", "%s%n%%", "%s%n%%"},
    {"long", kLong + "%s", kLong, kLong + kLong},
    {"not ASCII", "编号 %s", "终端", "编号 终端"},
};

TEST_F(DiscoveryTest, LogsTheManufacturerAsAFormatOfTheProduct) {
    for (const Texts& texts : kTexts) {
        SCOPED_TRACE(texts.name);
        pdasim::DeviceDescription description;
        description.manufacturer = texts.manufacturer;
        description.product = texts.product;
        const auto device = testBed().addDevice(description);
        EXPECT_EQ(find(), testBed().nodePath(device));
        EXPECT_THAT(loggedTexts(), ElementsAre(" VID/PID: 1209 0001\n", texts.logged));
        // Standard output gets both as they are.
        EXPECT_THAT(printed(), HasSubstr("\n manufacturer: " + texts.manufacturer.value_or("") +
                                         "\n product:" + texts.product.value_or("") + "\n serial: "));
        testBed().unplug(device);
    }
}

int countOf(const std::string& line, const std::string& text) {
    int count = 0;
    for (std::size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) {
        ++count;
    }
    return count;
}

/// A device that is unplugged in the middle of the walk, between two others.
class DiscoveryVanishing : public DiscoveryTest {
protected:
    DiscoveryVanishing() {
        add("1209", "0003");
        m_vanishing = add("1209", "0001");
        m_sysfsName = std::filesystem::path(testBed().nodePath(m_vanishing)).filename();
    }
    ~DiscoveryVanishing() override { pdalink::test::interceptNothing(); }

    void unplugBeforeItIsOpened() {
        pdalink::test::Interception interception;
        interception.newDevice = unplugging();
        pdalink::test::intercept(interception);
    }
    void unplugBeforeItsParentIsLookedUp() {
        pdalink::test::Interception interception;
        interception.parentLookup = unplugging();
        pdalink::test::intercept(interception);
    }
    /// Udev does not know the device any more, whatever the file system still shows.
    void forgetWhenItsParentIsLookedUp() {
        pdalink::test::Interception interception;
        interception.parentLookup = [this](const std::string& path) {
            m_isGone = m_isGone || isVanishing(path);
            return isVanishing(path);
        };
        interception.newDevice = [this](const std::string& path) { return m_isGone && isVanishing(path); };
        pdalink::test::intercept(interception);
    }
    bool isGone() const { return m_isGone; }
    void plugInAgain() {
        testBed().replug(m_vanishing);
        m_isGone = false;
    }

private:
    bool isVanishing(const std::string& path) const {
        return std::filesystem::path(path).filename() == m_sysfsName;
    }
    std::function<bool(const std::string&)> unplugging() {
        return [this](const std::string& path) {
            // Once: the test bed makes the same call when it takes the device away.
            if (!m_isGone && isVanishing(path)) {
                m_isGone = true;
                testBed().unplug(m_vanishing);
            }
            return false;
        };
    }

    pdasim::TestBed::DeviceId m_vanishing = 0;
    std::string m_sysfsName;
    bool m_isGone = false;
};

TEST_F(DiscoveryVanishing, IsSkippedWithoutATraceOrAnOpenDescriptor) {
    const auto other = add("1209", "0002");
    int before = 0;
    for (int round = 0; round < 6; ++round) {
        round % 2 == 0 ? unplugBeforeItIsOpened() : unplugBeforeItsParentIsLookedUp();
        EXPECT_EQ(find("1209", "0002"), testBed().nodePath(other));
        ASSERT_TRUE(isGone());
        EXPECT_EQ(countOf("+++++++++++++++++\n", printed()), 3);
        EXPECT_EQ(countOf(" VID/PID: ", printed()), 2);
        EXPECT_THAT(printed(), Not(HasSubstr("1209 0001")));
        EXPECT_THAT(printed(), Not(HasSubstr("Unable")));
        plugInAgain();
        before = round == 1 ? descriptors() : before;
    }
    EXPECT_TRUE(descriptorsBecome(before));
}

TEST_F(DiscoveryVanishing, IsNotFoundAndDoesNotUndoAnEarlierMatch) {
    unplugBeforeItIsOpened();
    EXPECT_EQ(find(), "");
    ASSERT_TRUE(isGone());
    plugInAgain();
    EXPECT_EQ(find("1209", "0003"), "/dev/hidraw0");
    ASSERT_TRUE(isGone());
}

TEST_F(DiscoveryVanishing, IsSkippedWhenOnlyUdevKnowsThatItIsGone) {
    const auto other = add("1209", "0002");
    forgetWhenItsParentIsLookedUp();
    EXPECT_EQ(find("1209", "0002"), testBed().nodePath(other));
    ASSERT_TRUE(isGone());
    EXPECT_THAT(printed(), Not(HasSubstr("Unable")));
}

class DiscoveryOnABrokenSystem : public DiscoveryTest {
protected:
    ~DiscoveryOnABrokenSystem() override { pdalink::test::interceptNothing(); }

    static ProgramResult walk() {
        return runInSeparateProcess([] { findUsbDevice("1209", "0001"); });
    }
};

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
