#include "file/Progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace pdactl {

namespace {

constexpr int kBarWidth = 30;
constexpr double kPacketKilobytes = 1.5;
constexpr const char* kBackToBegin = "\r\033[K";

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

/// How many columns the terminal has that is standard error.
int screenWidth() {
    constexpr int kUsual = 80;
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    const char* const columns = std::getenv("COLUMNS");
    const int width = columns != nullptr ? static_cast<int>(std::strtol(columns, nullptr, 10)) : 0;
    return width > 0 ? width : kUsual;
}

/// A bar of this width, followed by a blank; nothing when there is not enough room for it.
std::string bar(int width, double part) {
    constexpr int kMinWidth = 5;
    if (width < kMinWidth) {
        return {};
    }
    const auto filled = static_cast<std::size_t>(width * part);
    return "[" + std::string(filled, '#') + std::string(static_cast<std::size_t>(width) - filled, '.') + "] ";
}

/// What the line says after this many seconds, in this many columns at most.
std::string progressLine(const std::string& verb, int packets, int total, double seconds, int columns) {
    const double rate = seconds > 0 ? packets / seconds : 0;
    std::string text = formatted("%.1f KB/s", rate * kPacketKilobytes);
    if (total <= 0) {
        text = verb + "  " + std::to_string(packets) + " packets  " + text;
    } else {
        const double part = static_cast<double>(std::min(packets, total)) / total;
        const std::string rest = rate > 0 ? duration(total * (1 - part) / rate) + " left" : "";
        text = formatted("%3.0f %%", 100 * part) + "  " + text + "  " + rest;
        constexpr int kSurroundings = 5; // two blanks, brackets and a blank
        const int room = columns - static_cast<int>(verb.size() + text.size()) - kSurroundings;
        text = verb + "  " + bar(std::min(kBarWidth, room), part) + text;
    }
    return text.substr(0, static_cast<std::size_t>(std::max(columns, 0)));
}

} // namespace

Progress::Progress(std::string verb) : m_verb(std::move(verb)), m_isWatched(::isatty(STDERR_FILENO) == 1) {
}

Progress::~Progress() {
    if (m_isWatched) {
        (void)std::fputs(kBackToBegin, stderr);
    }
}

void Progress::show(int packets, int total) {
    if (packets == 0) {
        m_begin = Clock::now(); // opening the channel does not count
    }
    if (m_isWatched) {
        const std::chrono::duration<double> taken = Clock::now() - m_begin;
        (void)std::fprintf(stderr, "%s%s", kBackToBegin,
                           progressLine(m_verb, packets, total, taken.count(), screenWidth() - 1).c_str());
    }
}

} // namespace pdactl
