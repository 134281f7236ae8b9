#include "Fuzz.h"

#include "core/Terminal.h"
#include "node/HidrawNode.h"
#include "usbip/Connection.h"

#include <algorithm>
#include <utility>

using namespace pdasim;
using namespace pdasim::usbip;
using fuzz::require;

namespace {

/// A terminal that answers at once what it answers at all.
class Answering : public NodeOwner {
public:
    explicit Answering(HostSide& host) : m_host(host) { m_host.setOwner(*this); }

    WriteResult hostWrote(std::string_view bytes) override {
        const WriteOutcome outcome = m_terminal.handleWrite(bytes, "20260102030405");
        for (const TimedStep& timed : outcome.steps) {
            if (const auto* text = std::get_if<SendText>(&timed.step)) {
                m_host.queue(cutIntoReports(text->text, m_host.reportSize()));
            }
        }
        return {outcome.error, outcome.accepted};
    }

private:
    HostSide& m_host;
    Terminal m_terminal;
};

std::uint32_t number(std::string_view bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (const char byte : bytes.substr(at, 4)) {
        value = value * 256 + static_cast<unsigned char>(byte);
    }
    return value;
}

/// Whether the bytes keep to the protocol, as far as they go.
bool isProtocol(std::string_view bytes) {
    while (bytes.size() >= kUrbHeaderSize) {
        const std::uint32_t command = number(bytes, 0);
        const bool isOut = number(bytes, 12) == 0;
        const bool isUsual = number(bytes, 12) <= 1 && number(bytes, 24) <= kMaxTransfer &&
                             static_cast<std::int32_t>(number(bytes, 32)) <= 0;
        if (command != 2 && (command != 1 || !isUsual)) {
            return false;
        }
        bytes.remove_prefix(
            std::min(bytes.size(), kUrbHeaderSize + (command == 1 && isOut ? number(bytes, 24) : 0)));
    }
    return true;
}

/// What a host gets for its bytes, in pieces of a size, and why its connection ends, if it does.
std::pair<std::string, std::string> answersTo(std::string_view bytes, std::size_t piece) {
    static ServingLoop loop;
    const std::lock_guard lock(loop.mutex());
    HostSide host(loop, 64, 64, HostSide::Openings::Seen);
    const Answering terminal(host);
    ControlEndpoint control{DeviceDescription(), host};
    UrbServer server(control, host);
    try {
        for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size()))) {
            server.receive(bytes.substr(0, piece));
            server.deliver();
        }
    } catch (const ProtocolError& error) {
        return {server.output(), error.what()};
    }
    return {server.output(), ""};
}

} // namespace

/// Any bytes as those of a host that attached a terminal: the first one says in pieces of which size they
/// come.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::size_t piece = 1 + input.below(256);
    const std::string bytes = input.rest();
    const auto answers = answersTo(bytes, piece);
    require(answers == answersTo(bytes, 1000), "answers do not depend on the pieces");
    require(answers.second.empty() == isProtocol(bytes) || answers.second == "too many transfers at once",
            "only what the protocol does not know ends a connection");
    return 0;
}
