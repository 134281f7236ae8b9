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

std::ostream& operator<<(std::ostream& stream, const Texts& texts) {
    return stream << texts.name;
}

class DiscoveryManufacturer : public DiscoveryTest, public testing::WithParamInterface<Texts> {};

// The manufacturer's text is the format of the log line, the product's its argument.
TEST_P(DiscoveryManufacturer, IsLoggedAsAFormatOfTheProduct) {
    pdasim::DeviceDescription description;
    description.manufacturer = GetParam().manufacturer;
    description.product = GetParam().product;
    const auto device = testBed().addDevice(description);
    EXPECT_EQ(find(), testBed().nodePath(device));
    EXPECT_THAT(loggedTexts(), ElementsAre(" VID/PID: 1209 0001\n", GetParam().logged));
    // Standard output gets both as they are.
    EXPECT_THAT(printed(), HasSubstr("\n manufacturer: " + GetParam().manufacturer.value_or("") +
                                     "\n product:" + GetParam().product.value_or("") + "\n serial: "));
}

const std::string kLong(126, 'x'); // the longest that a USB string descriptor carries

INSTANTIATE_TEST_SUITE_P(
    Texts, DiscoveryManufacturer,
    testing::Values(Texts{"Plain", "Acme", "Reader", "Acme"}, Texts{"None", std::nullopt, "Reader", ""},
                    Texts{"Empty", "", "Reader", ""}, Texts{"Placeholder", "%s", "Reader", "Reader"},
                    Texts{"PlaceholderInside", "<%s>", "Reader", "<Reader>"},
                    Texts{"PlaceholderWithoutProduct", "<%s>", std::nullopt, "<>"},
                    Texts{"Percent", "%%", "Reader", "%"}, Texts{"PercentThenLetter", "%%s", "Reader", "%s"},
                    Texts{"PercentThenPlaceholder", "%%%s", "Reader", "%Reader"},
                    Texts{"PlaceholderThenPercent", "%s%%", "Reader", "Reader%"},
                    Texts{"PercentLetterThenPlaceholder", "%%s %s", "Reader", "%s Reader"},
                    Texts{"TwoPlaceholders", "%s %s", "Reader", "Reader %s"},
                    Texts{"OtherConversions", "%n%d", "Reader", "%n%d"},
                    Texts{"OtherConversionThenPlaceholder", "%d%s", "Reader", "%dReader"},
                    Texts{"Width", "%5s%99999999d", "Reader", "%5s%99999999d"},
                    Texts{"TrailingPercent", "100%", "Reader", "100%"},
                    Texts{"LonePercent", "%", "Reader", "%"},
                    Texts{"ProductIsNoFormat", "%s", "%s%n%%", "%s%n%%"},
                    Texts{"Long", kLong + "%s", kLong, kLong + kLong},
                    Texts{"NotAscii", "编号 %s", "终端", "编号 终端"}),
    [](const auto& info) { return info.param.name; });

} // namespace
