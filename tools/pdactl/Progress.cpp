#include "Progress.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace pdactl {

namespace {

constexpr int BarWidth = 30;
constexpr double PacketKilobytes = 1.5;
constexpr const char* BackToBegin = "\r\033[K";

std::string formatted(const char* format, double value) {
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), format, value);
    return text.data();
}

std::string duration(double seconds) {
    const int whole = static_cast<int>(std::min(seconds + 0.5, 359999.0));
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), "%d:%02d:%02d", whole / 3600, whole / 60 % 60, whole % 60);
    return text.data();
}

} // namespace

std::string progressLine(const std::string& verb, int packets, int total, double seconds) {
    const double rate = seconds > 0 ? packets / seconds : 0;
    const std::string speed = formatted("%.1f KB/s", rate * PacketKilobytes);
    if (total <= 0) {
        return verb + "  " + std::to_string(packets) + " packets  " + speed;
    }
    const int done = std::min(packets, total);
    const auto filled =
        static_cast<std::size_t>(BarWidth) * static_cast<std::size_t>(done) / static_cast<std::size_t>(total);
    const std::string bar = std::string(filled, '#') + std::string(BarWidth - filled, '.');
    const std::string rest = rate > 0 ? duration((total - done) / rate) + " left" : "";
    return verb + "  [" + bar + "] " + formatted("%3.0f %%", 100.0 * done / total) + "  " + speed + "  " +
           rest;
}

Progress::Progress(std::string verb) : m_verb(std::move(verb)), m_isWatched(::isatty(STDERR_FILENO) == 1) {
}

Progress::~Progress() {
    if (m_isWatched) {
        (void)std::fputs(BackToBegin, stderr);
    }
}

void Progress::show(int packets, int total) {
    if (packets == 0) {
        m_begin = Clock::now(); // opening the channel is no part of the rate
    }
    if (m_isWatched) {
        const std::chrono::duration<double> taken = Clock::now() - m_begin;
        (void)std::fprintf(stderr, "%s%s", BackToBegin,
                           progressLine(m_verb, packets, total, taken.count()).c_str());
    }
}

} // namespace pdactl
