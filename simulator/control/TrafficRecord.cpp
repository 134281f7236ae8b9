#include "control/TrafficRecord.h"

#include "control/Clock.h"
#include "core/Message.h"
#include "core/Traffic.h"
#include "scenario/Json.h"

#include <cstdint>

namespace pdasim {

std::string trafficRecord(std::size_t terminal, SimulatedTerminal::Direction direction,
                          const std::string& text) {
    const bool fromHost = direction == SimulatedTerminal::Direction::FromHost;
    const bool hasType = text.size() >= header::Size;
    return Json::object()
        .with("time", timeOfDay())
        .with("terminal", Json::integer(static_cast<std::int64_t>(terminal)))
        .with("from", fromHost ? "host" : "terminal")
        .with("type", hasType ? text.substr(header::TypeOffset, header::TypeWidth) : std::string())
        .with("bytes", Json::integer(static_cast<std::int64_t>(text.size())))
        .with("message", describeMessage(text, fromHost ? Sender::Host : Sender::Terminal))
        .write();
}

} // namespace pdasim
