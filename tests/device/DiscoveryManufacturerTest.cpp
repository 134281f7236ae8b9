#include "DiscoveryFixture.h"

#include <optional>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

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

} // namespace
