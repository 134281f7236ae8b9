#include "Matrix.h"

#include "Run.h"

#include "tests/analysis/received/HandlerTable.h"
#include "tests/analysis/transactions/Row.h"

#include <cerrno>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

const std::string kAsUsual = "✓";

struct Trial {
    const char* title;
    const char* fault;
    int amount;
    const char* hits; ///< one of a subject's letters
};

// clang-format off
constexpr Trial kTrials[] = {
    {"no fault",                                       "none",        0,      "mw"},
    {"silence",                                        "silence",     0,      "am"},
    {"comes after 5.1 s",                              "late",        5100,   "am"},
    {"comes in two pieces, 74 ms apart",               "pieces",      2,      "am"},
    {"comes in pieces, 148 ms apart",                  "pieces",      4,      "am"},
    {"comes twice",                                    "repeat",      0,      "am"},
    {"is of another type",                             "wrongtype",   1234,   "a"},
    {"300 random bytes instead",                       "garbage",     300,    "am"},
    {"300 NULs instead",                               "nuls",        300,    "am"},
    {"has 20000 bytes more, in a tag of its own",      "large",       20000,  "am"},
    {"lacks `Ex_RetCode`",                             "notag",       0,      "a"},
    {"has a second `Ex_RetCode`, `99`, at its end",    "tagtwice",    99,     "a"},
    {"is a refusal, `99001`",                          "refuse",      99001,  "a"},
    {"a packet's check is wrong",                      "check",       0,      "f"},
    {"an own message of the terminal comes meanwhile", "message",     20,     "a"},
    {"texts of 17000 bytes in the request",            "toolong",     17000,  "t"},
    {"unplugged before the call",                      "unplugged",   0,      "amw"},
    {"unplugged before the answer",                    "unplug",      0,      "a"},
    {"unplugged afterwards",                           "unpluglater", 0,      "w"},
    {"the write takes 20 bytes only",                  "shortwrite",  20,     "w"},
    {"the write fails with `EIO`",                     "writeerror",  EIO,    "w"},
    {"a read in front of it fails with `EIO`",         "readerror",   EIO,    "am"},
    {"a read in front of it is an end of file",        "readerror",   0,      "am"},
    {"opening the node fails with `EACCES`",           "openerror",   EACCES, "o"},
    {"no memory at all",                               "nomemory",    1,      "amw"},
    {"no memory once the message is written",          "nomemory",    2,      "w"},
    {"no memory when it comes",                        "nomemory",    0,      "am"},
    {"disk full",                                      "diskfull",    40,     "mw"},
    {"the log is rotated",                             "rotation",    200,    "mw"},
    {"the log directory is gone",                      "nologs",      0,      "mw"},
    {"a file is in the log directory's place",         "nologs",      1,      "mw"},
    {"`PDAConfigure.ini` is gone",                     "noini",       0,      "mw"},
};
// clang-format on

struct Subject {
    std::string kind;
    std::string name;
    std::string action;
    std::string hits; ///< a: an answer, m: a message of the terminal's own, w: writes, o: opens, t: has texts
};

std::vector<Subject> subjects() {
    std::vector<Subject> all;
    for (const Row& row : allRows()) {
        const bool hasTexts = !row.inputs.empty() && row.member != "ReqOpenLock"; // which is given lists
        all.push_back({row.code.empty() ? "direct" : "json", row.code.empty() ? row.member : row.code,
                       row.member, std::string("wo") + (row.waits > 0 ? "a" : "") + (hasTexts ? "t" : "")});
    }
    all.push_back({"json", "600015", "ReadFileDataToPDA", "woat"});
    all.push_back({"json", "600016", "ReceiveDataSaveToFile", "woatf"});
    for (const Handler& handler : allHandlers()) {
        all.push_back(
            {"handler", handler.member, handler.member, handler.acknowledgementType != nullptr ? "mw" : "m"});
    }
    return all;
}

Step plain(const std::string& action) {
    Step step{action};
    step.seed = 0;
    step.json = 1;
    step.gap = 100;
    step.delay = 300;
    return step;
}

/// Where the calls of a run are among its steps.
enum Position : std::size_t { Usual, WithFault = 2, Next = 4, Last = 8 };

/// The last call comes after the node was opened anew and everything was taken.
std::vector<Step> stepsOf(const std::string& action, const Trial& trial) {
    const bool isUnplugged = std::string(trial.fault) == "unplugged";
    const Step call = plain(action);
    Step met = call;
    met.fault = isUnplugged ? "none" : trial.fault;
    met.amount = trial.amount;
    met.gap = 4000; // in which a late answer comes, and a terminal comes back
    Step other = plain("GetInfo");
    other.gap = 1000;
    return {call,  plain(isUnplugged ? "unplug" : "plug"), met, plain("plug"), call, other,
            other, plain("ReceiveRandomNumber"),           call};
}

/// What the call with the fault gives, and the next one if that is not as usual. The last one has to be.
std::string cellOf(const Subject& subject, const Trial& trial) {
    std::vector<Step> steps;
    for (const Subject& each : subjects()) { // so that there is something to fetch
        steps.push_back(plain(each.action));
    }
    const std::size_t begin = steps.size();
    for (const Step& step : stepsOf(subject.action, trial)) {
        steps.push_back(step);
    }
    const Report report = runSteps(steps, {});
    if (report.hasFailed) {
        throw std::runtime_error(subject.name + ", " + trial.title + ": " + report.failure.data());
    }
    const Outcome& usual = report.outcomes.at(begin + Usual);
    const auto shown = [&](Position which) {
        const Outcome& outcome = report.outcomes.at(begin + which);
        const bool isSame = outcome.shown == usual.shown;
        const std::string code = "`" + std::string(outcome.shown.data()) + "`";
        const std::string log = outcome.loggedLines >= usual.loggedLines ? ""
                                : outcome.loggedLines == 0               ? ", no log"
                                                                         : ", log in part";
        return !isSame ? code : outcome.values != usual.values ? code + " *" : kAsUsual + log;
    };
    if (shown(Last) != kAsUsual) {
        throw std::runtime_error(subject.name + ", " + trial.title + ": it does not work again");
    }
    if (trial.fault == std::string("none")) {
        return "`" + std::string(usual.shown.data()) + "`";
    }
    return shown(WithFault) + (shown(Next) == kAsUsual ? "" : ", then " + shown(Next));
}

} // namespace

void writeMatrix(std::ostream& out) {
    for (const Subject& subject : subjects()) {
        for (const Trial& trial : kTrials) {
            const bool canHit = subject.hits.find_first_of(trial.hits) != std::string::npos;
            out << subject.kind << '\t' << subject.name << '\t' << trial.title << '\t'
                << (canHit ? cellOf(subject, trial) : "") << '\n';
        }
    }
}
