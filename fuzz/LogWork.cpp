#include "Log.h"
#include "LogLines.h"
#include "WorkGrowth.h"

#include <array>

using namespace pdactl::log;
using namespace pdactl::log::test;
using pdalink::test::growthOf;
using pdalink::test::MaxLinearGrowth;
using pdalink::test::workOf;

namespace {

constexpr std::size_t kLongestPart = 40;

void requireLinear(const std::string& what, const std::string& beginning, const std::string& part,
                   const std::string& end) {
    const auto work = [&](std::size_t count) {
        std::string log = beginning;
        for (std::size_t i = 0; i < count; ++i) {
            log += part;
        }
        std::vector<Entry> entries = readEntries(log + end);
        Redactor().redact(entries);
        (void)jsonOf(fuzz::reportOf(entries));
    };
    // Only what looks suspicious is measured with care: a busy machine disturbs a small task, but not a large
    // one.
    const double smallWork = workOf([&] { work(30); });
    const bool isSuspicious = workOf([&] { work(240); }) > smallWork * MaxLinearGrowth / 2;
    fuzz::require(!isSuspicious || growthOf(work, 100) < MaxLinearGrowth ||
                      growthOf(work, 400) < MaxLinearGrowth,
                  what + " grows with the square of: " + part);
}

} // namespace

/// The work for a log grows linearly with its size, whatever its lines hold.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::array<const char*, 8> labels{
        "",          "inJson4:{", "outJson:{",        "HID Read XML: ", "Write XML: ",
        "Read XML:", "Xml Type:", R"(inJson4:{"a":")"};
    fuzz::Input input(data, size);
    const std::string label = labels.at(input.below(labels.size()));
    const std::string part = input.rest().substr(0, kLongestPart);
    const std::string head = stamp(0) + "INFO     : " + label;
    requireLinear("a line", head, part, "\n");
    requireLinear("a number of lines", "", head + part + "\n", "");
    return 0;
}
