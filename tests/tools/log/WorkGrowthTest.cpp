#include "WorkGrowth.h"
#include "LogLines.h"
#include "Outcomes.h"

#include "log/Entries.h"
#include "log/Redaction.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace pdactl::log::test {

namespace {

using pdalink::test::growthOf;
using pdalink::test::MaxLinearGrowth;

std::string repeated(const std::string& part, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += part;
    }
    return text;
}

/// A line's text: something at its beginning, and much of the same.
struct LongText {
    std::string beginning;
    std::string part;
};

TEST(RedactionWork, GrowsLinearlyWithTheLengthOfALine) {
    const std::vector<LongText> texts{
        {"inJson4:{", R"("pKey":")"},
        {"inJson4:{", R"("pKey":[")"},
        {"inJson4:{", R"("pKey":{)"},
        {"inJson4:{", R"("pKey":"a",)"},
        {"inJson4:[", R"("pKey",[)"},
        {R"(inJson4:{"a":")", R"(\"pKey\":\")"},
        {R"(inJson4:{"a":")", R"(\"Ex_Key pKey <Ex_Key> )"},
        {R"(inJson4:{"a":")", R"(\u0022pKey\u0022:\u0022)"},
        {"", "pKey      "},
        {"", "<Ex_Key "},
        {"", "<Ex_Key></Ex_Pwd>"},
        {"HID Read XML: ", "<Ex_Key>"},
        {"HID Read XML: ", "<Ex_Tid>1</Ex_Key>"},
        {"HID Read XML: ", "<Ex_HexVal"},
        {"HID Read XML: ", message("9001", tag("Ex_Tid", "1"))},
    };
    for (const auto& [beginning, part] : texts) {
        const auto redactText = [&, &beginning = beginning, &part = part](std::size_t count) {
            std::vector<Entry> entries{{stamp(0), beginning + repeated(part, count), "\n", 0, Level::Info}};
            Redactor().redact(entries);
        };
        EXPECT_LT(growthOf(redactText, 1500), MaxLinearGrowth) << beginning << part;
    }
}

TEST(RedactionWork, GrowsLinearlyWithTheNumberOfLines) {
    for (const std::string line : {"HID Read XML: <Ex_Key>AB", "inJson4:{", "AB</Ex_Key>", "<Ex_Key>AB"}) {
        const auto redactLines = [&](std::size_t count) {
            std::vector<Entry> entries(count, {stamp(0), line, "\n", 0, Level::Info});
            Redactor().redact(entries);
        };
        EXPECT_LT(growthOf(redactLines, 500), MaxLinearGrowth) << line;
    }
}

TEST(EntryWork, GrowsLinearlyWithTheNumberOfLines) {
    for (const std::string line :
         {"inJson4:{}", "inJson4:{} inLen:3", "HID Read XML: 9999998001QEV", "x\ny"}) {
        const auto read = [&](std::size_t count) {
            EXPECT_EQ(readEntries(repeated(stamp(0) + "INFO     : " + line + "\n", count)).size(), count);
        };
        EXPECT_LT(growthOf(read, 1500), MaxLinearGrowth) << line;
    }
}

/// Whatever hosts there are: their lines may all have the same time.
TEST(ExchangeWork, GrowsLinearlyWithTheNumberOfLines) {
    for (const std::string line : {R"(inJson4:{"transCode":"600002"})", "[GetInfo] begin",
                                   "[GetLockList] begin", "Write XML: 0000508001QEV", "outJson:{} ret:0"}) {
        const auto build = [&](std::size_t count) {
            EXPECT_FALSE(
                exchangesOf(std::vector<Entry>(count, {stamp(0), line, "\n", 0, Level::Info})).empty());
        };
        EXPECT_LT(growthOf(build, 1500), MaxLinearGrowth) << line;
    }
}

} // namespace

} // namespace pdactl::log::test
