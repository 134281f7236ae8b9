#include "FuzzedLibrary.h"

#include "analysis/Lists.h"
#include "analysis/ResultStores.h"
#include "core/Terminal.h"
#include "device/Channel.h"
#include "device/ReceiveBuffer.h"
#include "interface/pdalink.h"
#include "tests/analysis/received/HandlerTable.h"
#include "tests/analysis/transactions/Row.h"
#include "util/Settings.h"

#include <QJsonDocument>

#include <algorithm>
#include <array>
#include <cerrno>
#include <vector>

// A host's calls and what a terminal makes of them, in virtual time. Each line of an input is a step that its
// first letter names. Those of the device that follow a call are the answers to the call's writes, one for
// each; where none is left, a simulated terminal answers.

using namespace pdalink::test;
using namespace std::chrono_literals;
using fuzz::require;

namespace {

void deliverAfter(virtual_time::Time delay, const NodeInput& input) {
    virtual_time::at(virtual_time::now() + delay, [input] { (void)node().deliver(input); });
}

class Conversation {
public:
    Conversation(const std::uint8_t* data, std::size_t size) : m_steps(data, size) {
        node() = VirtualNode();
        node().onWrite = [this](std::string_view bytes) { return takeWrite(bytes); };
        writeIni("");
    }

    void run() {
        while (!m_steps.isEmpty()) {
            virtual_time::abortAfter(virtual_time::now() + 24h);
            const std::string step = m_steps.line();
            if (!call(step)) {
                (void)answer(step);
            }
        }
    }

private:
    static void writeIni(const std::string& more) {
        fuzz::libraryDirectory().writeIni(VirtualNode::ini() + more);
    }

    /// What a host does; false for what it does not.
    static bool call(const std::string& step) {
        fuzz::Input input(reinterpret_cast<const std::uint8_t*>(step.data()), step.size());
        switch (input.below(256)) {
        case 'J':
            request(input.rest());
            return true;
        case 'M':
            callMember(allRows().at(input.below(allRows().size())), input.rest());
            return true;
        case 'H':
            hand(input.below(allHandlers().size()), input.rest());
            return true;
        case 'T':
            virtual_time::waitUntil(virtual_time::now() + (1 + input.below(256)) * 10ms, nullptr);
            return true;
        case 'I':
            writeIni(input.below(2) == 0 ? "" : "REPLY=whole\n");
            return true;
        case 'C':
            pdalink::channel::close();
            return true;
        default:
            return false;
        }
    }

    static void request(const std::string& json) {
        constexpr char filling = '#';
        std::vector<char> response(131072, filling); // what the guide tells hosts to have
        int length = -1;
        (void)PDA_CommonCall(json.c_str(), static_cast<int>(json.size()), response.data(), &length);
        if (length < 0) {
            require(response.front() == filling, "without a response nothing is written");
            return;
        }
        const QByteArray text(response.data());
        require(text.size() == length, "a response has the length that it says");
        require(QJsonDocument::fromJson(text).isObject(), "a response is a JSON object");
        require(response[static_cast<std::size_t>(length) + 1] == filling,
                "nothing is written beyond the response");
    }

    /// Values are separated by "|"; those that are not there are the samples'.
    static void callMember(const Row& row, std::string values) {
        Arguments arguments(row);
        for (Value& value : arguments.inputs()) {
            if (values.empty()) {
                break;
            }
            const std::string text = values.substr(0, values.find('|'));
            values.erase(0, text.size() + 1);
            value = std::holds_alternative<int>(value)
                        ? Value(pdalink::leadingInteger(QByteArray::fromStdString(text)))
                        : Value(text);
        }
        CPDAXMLAnalysis analysis;
        const int result = row.call(analysis, arguments);
        require(result >= -1 && result <= 6, "a result is one of the documented ones");
    }

    static void hand(std::size_t handler, std::string text) {
        CPDAXMLAnalysis analysis;
        (void)(analysis.*allHandlers().at(handler).receive)(text.data());
    }

    static void requireLength(const std::string& message) {
        const auto isBytes = [type = message.substr(6, 4)](const Row& row) {
            return row.isBytes && row.type == type;
        };
        const bool countsBytes = std::any_of(allRows().begin(), allRows().end(), isBytes);
        const std::size_t length = countsBytes ? message.size() : pdasim::lengthInCharacters(message);
        require(std::strtoul(message.substr(0, 6).c_str(), nullptr, 10) == length,
                "a message is as long as it says: " + message);
    }

    NodeWrite takeWrite(std::string_view bytes) {
        requireLength(std::string(bytes));
        const std::string next = m_steps.peek();
        if (!next.empty() && std::islower(static_cast<unsigned char>(next.front())) != 0) {
            (void)m_steps.line();
            return answer(next);
        }
        const pdasim::WriteOutcome outcome = m_terminal.handleWrite(bytes, "20260102030405");
        for (const pdasim::TimedStep& timed : outcome.steps) {
            if (const auto* text = std::get_if<pdasim::SendText>(&timed.step)) {
                deliver(timed.after, text->text, 64);
            }
        }
        return {outcome.error};
    }

    /// A reply whose header is right, from its type and its tags.
    static std::string replyOf(std::string tags) {
        const std::string header = pdasim::composeMessage(tags.substr(0, 4), {});
        tags.erase(0, 4);
        const std::size_t length = header.size() + pdasim::lengthInCharacters(tags);
        return std::to_string(1000000 + length).substr(1) + header.substr(6) + tags;
    }

    /// What a device does: "r" and "x" bring a reply and any bytes, "e" and "z" have a read fail and end, "w"
    /// and "s" have a write fail and be short, "o" makes openings slow, "u" and "p" are the plug.
    static NodeWrite answer(const std::string& step) {
        fuzz::Input input(reinterpret_cast<const std::uint8_t*>(step.data()), step.size());
        const std::size_t kind = input.below(256);
        const auto number = static_cast<int>(input.below(256));
        const auto delay = number * 20ms;
        switch (kind) {
        case 'r':
        case 'x': {
            const std::size_t size = 1 + input.below(128);
            deliver(delay, kind == 'x' ? input.rest() : replyOf(input.rest()), size);
            break;
        }
        case 'e':
            deliverAfter(delay, {"", number % 2 == 0 ? EIO : ENODEV});
            break;
        case 'z':
            deliverAfter(delay, {});
            break;
        case 'w':
            return {std::array<int, 4>{EIO, EINTR, EAGAIN, ENODEV}.at(input.below(4))};
        case 's':
            return {0, static_cast<std::size_t>(number)};
        case 'o':
            node().openingTime = delay;
            node().openingError = input.below(2) == 0 ? 0 : EACCES;
            break;
        case 'u':
            node().unplug();
            break;
        case 'p':
            node().plug();
            break;
        default:
            break;
        }
        return {};
    }

    /// In reports of a size, the last of them padded.
    static void deliver(virtual_time::Time delay, const std::string& text, std::size_t size) {
        for (std::size_t at = 0; at < text.size(); at += size) {
            std::string report = text.substr(at, size);
            report.resize(size, '\0');
            deliverAfter(delay, {report});
        }
    }

    fuzz::Input m_steps;
    pdasim::Terminal m_terminal;
};

/// What outlives a call, as it is in a new process.
void forgetEverything() {
    pdalink::channel::close();
    pdalink::emptyBuffer();
    std::fill(std::begin(pda_ScanLabel), std::end(pda_ScanLabel), QString());
    std::fill(std::begin(pda_RandomNumber), std::end(pda_RandomNumber), QString());
    std::fill(std::begin(pda_LoginData), std::end(pda_LoginData), QString());
    m_SeqNo = 0;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    (void)fuzz::libraryDirectory();
    virtual_time::begin(size == 0 ? 0 : data[0]);
    Conversation(data, size).run();
    forgetEverything();
    require(!node().isOpen(), "no node stays open");
    virtual_time::end();
    return 0;
}
