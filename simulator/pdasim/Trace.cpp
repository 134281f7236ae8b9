#include "pdasim/Trace.h"

#include "AdvisedError.h"
#include "control/Clock.h"
#include "core/Traffic.h"

#include <cerrno>

namespace pdasim {

Trace::Trace(const std::string& path) : m_file(stderr) {
    if (path != "-") {
        m_owned.reset(std::fopen(path.c_str(), "we"));
        m_file = m_owned.get();
    }
    if (m_file == nullptr) {
        throw AdvisedError(
            errno, "cannot write the trace to " + path,
            "Give --trace a path in a folder that is there and that you may write to, or \"-\"");
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
