#include "Device.h"

#include "Surroundings.h"

#include <array>
#include <ctime>
#include <map>
#include <random>

using namespace std::chrono_literals;
using pdalink::test::node;
using pdalink::test::NodeInput;
using pdalink::test::NodeWrite;
namespace virtual_time = pdalink::test::virtual_time;
using Milliseconds = std::chrono::milliseconds;

namespace {

/// Nothing that the terminal does falls on a moment at which the host's end does something: that goes by
/// whole milliseconds.
constexpr Time kBetween = 500us;

std::string localTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    gmtime_r(&now.tv_sec, &local);
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y%m%d%H%M%S", &local)};
}

/// Bytes that may be text or not.
std::string garbage(int size, std::uint32_t seed) {
    std::minstd_rand random(seed);
    std::string bytes;
    while (static_cast<int>(bytes.size()) < size) {
        bytes += static_cast<char>(random() % 3 == 0 ? random() : '0' + random() % 10);
    }
    return bytes;
}

/// A tag's value that nobody asked for: a long one, or one in which there is a result code.
std::string noteOf(const Step& step) {
    return step.fault == "large"
               ? std::string(static_cast<std::size_t>(step.amount), 'x')
               : "</Ex_Note><Ex_RetCode>" + std::to_string(step.amount) + "</Ex_RetCode><Ex_Note>";
}

using FaultTable = std::map<std::string, void (*)(pdasim::Fault& fault, const Step& step)>;

const FaultTable& terminalFaults() {
    using pdasim::Fault;
    static const FaultTable faults = {
        {"silence", [](Fault& fault, const Step&) { fault.silence(); }},
        {"late", [](Fault& fault, const Step& step) { fault.delay(Milliseconds(step.amount)); }},
        {"wrongtype", [](Fault& fault, const Step& step) { fault.replyType(std::to_string(step.amount)); }},
        {"pieces",
         [](Fault& fault, const Step& step) {
             fault.split(static_cast<std::size_t>(step.amount), Milliseconds(37 * step.amount));
         }},
        {"repeat", [](Fault& fault, const Step&) { fault.repeatReply(); }},
        {"garbage", [](Fault& fault, const Step& step) { fault.rawReply(garbage(step.amount, step.seed)); }},
        {"nuls",
         [](Fault& fault, const Step& step) {
             fault.rawReply(std::string(static_cast<std::size_t>(step.amount), '\0'));
         }},
        {"large", [](Fault& fault, const Step& step) { fault.setTag("Ex_Note", noteOf(step)); }},
        {"tagtwice", [](Fault& fault, const Step& step) { fault.setTag("Ex_Note", noteOf(step)); }},
        {"refuse", [](Fault& fault, const Step& step) { fault.refuse(std::to_string(step.amount)); }},
        {"writeerror", [](Fault& fault, const Step& step) { fault.refuseWrite(step.amount); }},
        {"shortwrite",
         [](Fault& fault, const Step& step) { fault.shortWrite(static_cast<std::size_t>(step.amount)); }},
        {"unplug",
         [](Fault& fault, const Step& step) { fault.unplugBeforeReply(Milliseconds(step.amount)); }},
        {"unpluglater",
         [](Fault& fault, const Step& step) { fault.unplugAfterReply(Milliseconds(step.amount)); }},
        {"packet", [](Fault& fault, const Step& step) { fault.answerPacket(step.amount); }},
        {"check", [](Fault& fault, const Step&) { fault.wrongCheck(); }},
        {"notag",
         [](Fault& fault, const Step& step) {
             static constexpr std::array<const char*, 10> tags{
                 "Ex_RetCode", "Ex_EIMI",      "Ex_Label",  "Ex_State",  "Ex_LockNum",
                 "Ex_Vender",  "Ex_ScanState", "Ex_CurPkt", "Ex_HexVal", "Ex_HexCheck"};
             fault.dropTag(tags.at(static_cast<std::size_t>(step.amount)));
         }},
    };
    return faults;
}

/// Of a fault that is not the terminal's own, one that never strikes.
pdasim::Fault terminalFault(const Step& step) {
    pdasim::Fault fault;
    if (step.fault == "refusesecond") {
        const auto isOdd = [count = 0](const pdasim::ParsedMessage& /*message*/) mutable {
            return ++count % 2 == 1;
        };
        return fault.refuse(std::to_string(step.amount)).when(isOdd).always();
    }
    const auto found = terminalFaults().find(step.fault);
    if (found == terminalFaults().end()) {
        return fault.times(0);
    }
    found->second(fault, step);
    return fault.from(static_cast<std::size_t>(step.message)).times(static_cast<std::size_t>(step.times));
}

} // namespace

Device::Device() {
    pdasim::TerminalState& state = m_terminal.state();
    state.identity.vendor = "厂商 7";
    state.tellers.registered = "4711";
    state.inventory.result.labels = {"B1", "B2"};
    state.inventory.result.confirmation = {"2", "李", "f", "r", "p", "m"};
    state.locks.resize(3);
    state.locks[0].id = "LOCK-1";
    state.locks[1].id = "LOCK-2";
    state.locks[1].label = "门";
    state.locks[2].id = "lock-1";
    state.files.offered = {{1, "00ff"}, {2, std::string(6001, 'a')}};
    node().onWrite = [this](std::string_view bytes) { return written(bytes); };
    node().onCall = [this](std::string_view call, long result) {
        const virtual_time::ReplacedCall replaced;
        addToHash(call);
        addToHash(result);
        addToHash(virtual_time::now().count());
        if (call == "open") {
            m_events.push_back({Event::Opened, virtual_time::now(), {}, result});
        } else if (call == "write") {
            m_events.push_back({Event::Wrote, virtual_time::now(), std::exchange(m_lastWritten, {}), result});
        }
    };
}

void Device::addToHash(std::string_view text) {
    for (const char byte : text) {
        m_hash = (m_hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    }
}

void Device::take(const Step& step) {
    m_step = step;
    m_written = 0;
    m_terminal.clearFaults();
    m_terminal.addFault(pdasim::Terminal::AnyType, terminalFault(step));
    node().openingError = step.fault == "openerror" ? step.amount : 0;
    node().openingTime = step.fault == "slowopen" ? Milliseconds(step.amount) + kBetween : Time(0);
}

void Device::announce(pdasim::Announcement announcement, Time delay) {
    if (m_step.fault == "large") {
        announcement.with("Ex_Note", noteOf(m_step));
    }
    const std::string text = m_terminal.announce(announcement, localTime());
    const Time at = virtual_time::now() + delay + kBetween;
    const auto size = static_cast<std::size_t>(m_step.amount);
    const std::map<std::string, std::vector<std::pair<std::string, Time>>> sent{
        {"silence", {}},
        {"late", {{text, at + Milliseconds(m_step.amount)}}},
        {"wrongtype", {{std::string(text).replace(6, 4, std::to_string(10000 + m_step.amount), 1, 4), at}}},
        {"pieces",
         {{text.substr(0, text.size() / 2), at},
          {text.substr(text.size() / 2), at + Milliseconds(37 * m_step.amount)}}},
        {"repeat", {{text, at}, {text, at}}},
        {"garbage", {{garbage(m_step.amount, m_step.seed), at}}},
        {"nuls", {{std::string(size, '\0'), at}}},
    };
    failRead(at);
    const auto found = sent.find(m_step.fault);
    if (found == sent.end()) {
        return send(text, at);
    }
    m_terminal.clearFaults(); // it has struck
    for (const auto& [piece, time] : found->second) {
        send(piece, time);
    }
}

void Device::unplug() {
    if (node().hasUnread()) {
        later(virtual_time::now() + 50ms, [this] { unplug(); });
    } else {
        node().unplug();
    }
}

/// A receiver that was busy with an earlier error looks again in multiples of its wait: no two errors come at
/// the same part of a millisecond, so that none comes when it is about to read.
void Device::failRead(Time before) {
    if (m_step.fault == "readerror") {
        const Time earlier = kBetween / 4 + std::chrono::microseconds(m_errors++ % 200);
        later(before - earlier, [this, error = m_step.amount] { deliver({"", error}); });
    }
}

NodeWrite Device::written(std::string_view bytes) {
    const virtual_time::ReplacedCall replaced;
    m_lastWritten = bytes;
    addToHash(bytes);
    Surroundings::takeMemory(m_step, ++m_written);
    m_terminal.allowSequenceGap(); // the numbers are checked with the rest of the message
    const pdasim::WriteOutcome outcome = m_terminal.handleWrite(bytes, localTime());
    const Time begin = virtual_time::now() + Milliseconds(m_step.delay) + kBetween;
    failRead(begin);
    for (const pdasim::TimedStep& step : outcome.steps) {
        const Time at = begin + step.after;
        if (const auto* const text = std::get_if<pdasim::SendText>(&step.step)) {
            send(text->text, at);
        } else if (std::holds_alternative<pdasim::Unplug>(step.step)) {
            later(at, [this] { unplug(); });
        } else {
            later(at + 1s, [] { node().plug(); });
        }
    }
    return {outcome.error, outcome.accepted};
}

void Device::send(const std::string& text, Time at) {
    const auto size = static_cast<std::size_t>(m_step.report);
    for (std::size_t begin = 0; begin < text.size(); begin += size) {
        std::string report = text.substr(begin, size);
        report.resize(size, '\0');
        later(at, [this, report] { deliver({report}); });
        at += Milliseconds(m_step.spacing);
    }
}

void Device::later(Time at, std::function<void()> action) {
    ++m_pending;
    virtual_time::at(at, [this, action = std::move(action)] {
        --m_pending;
        action();
    });
}

void Device::deliver(const NodeInput& input) {
    if (node().deliver(input)) {
        const long result = input.error != 0 ? -input.error : static_cast<long>(input.bytes.size());
        const std::string text = input.bytes.substr(0, input.bytes.find('\0'));
        m_events.push_back({Event::Arrived, virtual_time::now(), text, result});
    }
}
