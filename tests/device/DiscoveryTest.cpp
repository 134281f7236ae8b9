#include "DiscoveryFixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(DiscoveryTest, WithoutDevicesPrintsTheAsterisksOnlyAndFindsNothing) {
    EXPECT_EQ(find(), "");
    EXPECT_EQ(printed(), "****************\n");
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(DiscoveryTest, PrintsAndLogsWhatADeviceSaysOfItself) {
    pdasim::DeviceDescription description;
    description.vendorId = "04d8";
    description.productId = "00df";
    description.manufacturer = "Example works";
    description.product = "Reader";
    description.serial = "R-1";
    const auto device = testBed().addDevice(description);
    const std::string node = testBed().nodePath(device);
    find();
    EXPECT_EQ(printed(), "****************\n"
                         "+++++++++++++++++\n"
                         "Device Node Path: " +
                             node +
                             "\n"
                             " VID/PID: 04d8 00df\n"
                             " manufacturer: Example works\n"
                             " product:Reader\n"
                             " serial: R-1\n");
    EXPECT_THAT(loggedTexts(), ElementsAre(" VID/PID: 04d8 00df\n", "Example works"));
    for (const auto& line : logged()) {
        EXPECT_EQ(line.level, 4);
    }
}

TEST_F(DiscoveryTest, PrintsAndLogsSeveralDevicesInTheOrderOfTheirListing) {
    for (const char* name : {"first", "second", "third"}) {
        pdasim::DeviceDescription description;
        description.manufacturer = name;
        testBed().addDevice(description);
    }
    find();
    std::string expected = "****************\n";
    for (const auto& [node, name] : {std::pair{"/dev/hidraw0", "first"}, std::pair{"/dev/hidraw1", "second"},
                                     std::pair{"/dev/hidraw2", "third"}}) {
        expected += std::string("+++++++++++++++++\nDevice Node Path: ") + node +
                    "\n VID/PID: 1209 0001\n manufacturer: " + name +
                    "\n product:Handheld terminal\n serial: SIM0000001\n";
    }
    EXPECT_EQ(printed(), expected);
    EXPECT_THAT(loggedTexts(), ElementsAre(" VID/PID: 1209 0001\n", "first", " VID/PID: 1209 0001\n",
                                           "second", " VID/PID: 1209 0001\n", "third"));
}

TEST_F(DiscoveryTest, FindsTheOneDeviceWithBothIds) {
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

TEST_F(DiscoveryTest, OfSeveralMatchesTakesTheLastOneListed) {
    add("1209", "0001");
    add("1209", "0001");
    const auto last = add("1209", "0001");
    add("ffff", "0001"); // no match: does not undo the result
    EXPECT_EQ(find(), testBed().nodePath(last));
    EXPECT_EQ(find(), "/dev/hidraw2");
}

TEST_F(DiscoveryTest, ComparesIdsWithoutCase) {
    const auto upperCase = add("AB0F", "C0DE");
    EXPECT_EQ(find("ab0f", "c0de"), testBed().nodePath(upperCase));
    EXPECT_THAT(printed(), HasSubstr(" VID/PID: AB0F C0DE\n"));
    testBed().unplug(upperCase);
    const auto lowerCase = add("ab0f", "c0de");
    EXPECT_EQ(find("AB0F", "C0DE"), testBed().nodePath(lowerCase));
}

TEST_F(DiscoveryTest, AnEmptyConfiguredIdMatchesNothing) {
    for (const auto& [vendor, product] :
         {std::pair{"1209", "0001"}, std::pair{"", "0001"}, std::pair{"1209", ""}}) {
        add(vendor, product);
        EXPECT_EQ(find("", "0001"), "");
        EXPECT_EQ(find("1209", ""), "");
        EXPECT_EQ(find("", ""), "");
        EXPECT_THAT(printed(), HasSubstr(std::string(" VID/PID: ") + vendor + " " + product + "\n"));
    }
}

TEST_F(DiscoveryTest, AnEmptyConfiguredIdDoesNotMatchAMissingAttribute) {
    const auto device = add("1209", "0001");
    const auto usb = usbDirectory(testBed().nodePath(device));
    std::filesystem::remove(usb / "idProduct");
    EXPECT_EQ(find("1209", ""), "");
    EXPECT_THAT(printed(), HasSubstr(" VID/PID: 1209 \n"));
    std::filesystem::remove(usb / "idVendor");
    EXPECT_EQ(find("", ""), "");
    EXPECT_THAT(printed(), HasSubstr(" VID/PID:  \n"));
    EXPECT_THAT(loggedTexts(), ElementsAre(" VID/PID:  \n", "Simulated terminals"));
}

TEST_F(DiscoveryTest, MissingTextsPrintEmpty) {
    pdasim::DeviceDescription description;
    description.manufacturer.reset();
    description.product.reset();
    description.serial.reset();
    const auto device = testBed().addDevice(description);
    EXPECT_EQ(find(), testBed().nodePath(device));
    EXPECT_THAT(printed(), HasSubstr("\n VID/PID: 1209 0001\n manufacturer: \n product:\n serial: \n"));
    EXPECT_THAT(loggedTexts(), ElementsAre(" VID/PID: 1209 0001\n", ""));
}

TEST_F(DiscoveryTest, ADeviceWithoutANodePrintsAnEmptyPathAndIsNotFound) {
    const auto device = add("1209", "0001");
    const auto uevent = hidrawDirectory(testBed().nodePath(device)) / "uevent";
    ASSERT_THAT(pdalink::test::readFile(uevent), HasSubstr("DEVNAME="));
    pdalink::test::writeFile(uevent, "");
    EXPECT_EQ(find(), "");
    EXPECT_THAT(printed(),
                StartsWith("****************\n+++++++++++++++++\nDevice Node Path: \n VID/PID: 1209"));
}

TEST_F(DiscoveryTest, TheLastMatchAloneNeedsANode) {
    const auto first = add("1209", "0001");
    const auto last = add("1209", "0001");
    const auto lastsEvent = hidrawDirectory(testBed().nodePath(last)) / "uevent";
    const std::string withNode = pdalink::test::readFile(lastsEvent);
    pdalink::test::writeFile(lastsEvent, "");
    EXPECT_EQ(find(), "") << "the first one's node is not used";
    pdalink::test::writeFile(lastsEvent, withNode);
    pdalink::test::writeFile(hidrawDirectory(testBed().nodePath(first)) / "uevent", "");
    EXPECT_EQ(find(), testBed().nodePath(last));
}

TEST_F(DiscoveryTest, ADanglingClassEntryIsPassedOver) {
    testBed().addDanglingEntry("hidraw7");
    EXPECT_EQ(find(), "");
    const auto terminal = add("1209", "0001");
    EXPECT_EQ(find(), testBed().nodePath(terminal));
}

TEST_F(DiscoveryTest, SeesADeviceThatWasPluggedInSinceTheLastWalk) {
    EXPECT_EQ(find(), "");
    const auto terminal = add("1209", "0001");
    EXPECT_EQ(find(), "/dev/hidraw0");
    testBed().unplug(terminal);
    EXPECT_EQ(find(), "");
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

} // namespace
