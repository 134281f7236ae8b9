#include "Clock.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace pdasim {

namespace {

std::string formatted(const char* format, std::time_t seconds) {
    std::tm fields{};
    (void)::localtime_r(&seconds, &fields);
    std::array<char, 32> text{};
    (void)std::strftime(text.data(), text.size(), format, &fields);
    return text.data();
}

} // namespace

std::string localStamp() {
    return formatted("%Y%m%d%H%M%S", std::time(nullptr));
}

std::string timeOfDay() {
    const auto now = std::chrono::system_clock::now();
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::array<char, 8> fraction{};
    (void)std::snprintf(fraction.data(), fraction.size(), ".%03d", static_cast<int>(milliseconds));
    return formatted("%H:%M:%S", std::chrono::system_clock::to_time_t(now)) + fraction.data();
}

} // namespace pdasim
