#include "Fuzz.h"

#include "core/Terminal.h"
#include "scenario/Scenario.h"

using namespace pdasim;

/// Any bytes as a scenario: a reason for people, or a terminal that answers.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::Input(data, size).rest();
    Scenario scenario;
    try {
        scenario = readScenario(text, "input.json", "/proc/no-such-directory");
    } catch (const ScenarioError& error) {
        const std::string reason = error.what();
        fuzz::require(reason.rfind("input.json: ", 0) == 0, "a reason names the file");
        return 0;
    }
    fuzz::require(scenario.reportSize >= 8 && scenario.reportSize <= 65536, "a report has a usable size");
    Terminal terminal;
    terminal.state() = scenario.state;
    for (const Rule& rule : scenario.rules) {
        terminal.addFault(rule.type, rule.fault);
    }
    for (const char* type : {"8001", "8016", "7019"}) {
        const Tags tags{
            {"Ex_SeqNo", "0001"}, {"Ex_TrTime", "20260102030405"}, {"Ex_CurPkt", "1"}, {"Ex_Cmd", "1"}};
        const WriteOutcome outcome = terminal.handleWrite(composeMessage(type, tags), "20260102030405");
        fuzz::require(outcome.error >= 0, "a write ends with an errno");
    }
    return 0;
}
