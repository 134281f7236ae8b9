#include "pdasim/Trace.h"

#include "core/Traffic.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <system_error>

namespace pdasim {

namespace {

std::string timeOfDay() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm fields{};
    (void)::localtime_r(&seconds, &fields);
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03d", fields.tm_hour, fields.tm_min,
                        fields.tm_sec, static_cast<int>(milliseconds));
    return text.data();
}

} // namespace

Trace::Trace(const std::string& path) : m_file(stderr) {
    if (path != "-") {
        m_owned.reset(std::fopen(path.c_str(), "we"));
        m_file = m_owned.get();
    }
    if (m_file == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot write the trace to " + path);
    }
}

void Trace::write(SimulatedTerminal::Direction direction, const std::string& text) {
    const bool fromHost = direction == SimulatedTerminal::Direction::FromHost;
    const std::string line = timeOfDay() + (fromHost ? "  host -> terminal  " : "  terminal -> host  ") +
                             describeMessage(text, fromHost ? Sender::Host : Sender::Terminal) + "\n";
    (void)std::fputs(line.c_str(), m_file);
    (void)std::fflush(m_file);
}

} // namespace pdasim
