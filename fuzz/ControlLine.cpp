#include "Fuzz.h"

#include "control/Commands.h"

using namespace pdasim;

namespace {

/// A place for a terminal without hosts.
class NoPort : public TerminalPort {
public:
    using TerminalPort::TerminalPort;

    void setOwner(NodeOwner& /*owner*/) override {}
    void plug() override { m_isPlugged = true; }
    void unplug() override { m_isPlugged = false; }
    void send(const std::vector<std::string>& reports) override {
        for (const std::string& report : reports) {
            fuzz::require(report.size() == 64, "a report has its size");
        }
    }
    std::string place() const override { return m_isPlugged ? "here" : ""; }
    std::size_t openFiles() const override { return 1; }

private:
    bool m_isPlugged = false;
};

} // namespace

/// Any lines as requests to a running terminal.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static ServingLoop loop;
    SimulatedTerminal terminal(std::make_unique<NoPort>(loop), SimulatedTerminal::Options());
    terminal.changeState([](TerminalState& state) { state.inventory.task.taskId = "T1"; });
    std::vector<LiveTerminal> terminals{{terminal, UserProfile()}};
    for (fuzz::Input input(data, size); !input.isEmpty();) {
        try {
            const Document answer = runCommandRequest(terminals, parseJson(input.line()));
            fuzz::require(answer.is_object() && writeJson(answer).find('\n') == std::string::npos,
                          "an answer is an object on one line");
            (void)parseJson(writeJson(answer));
        } catch (const JsonError&) { // these two tell a user what was wrong
        } catch (const CommandError&) {
        }
    }
    return 0;
}
