#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// One thing that the host does, and what the terminal makes of it. It holds all that was drawn for it, so
/// that any other step can be left out.
struct Step {
    std::string action;         ///< see actions()
    std::string fault = "none"; ///< see kFaults
    std::uint32_t seed = 1;     ///< of the values passed (0: the samples), and of the order of threads
    int json = 0;               ///< 1: through PDA_CommonCall
    int amount = 0;             ///< what the fault is told
    int message = 1;            ///< of the call's messages, the first one that meets the fault
    int times = 1;              ///< how many meet it
    int delay = 5;              ///< ms from a message to its answer
    int report = 64;            ///< bytes
    int spacing = 0;            ///< ms between two reports
    int gap = 10;               ///< ms after the call
};

/// What can go wrong, with what `amount` means, and between which values it is drawn.
struct FaultRow {
    const char* name;
    int least;
    int most;
};

// clang-format off
inline constexpr FaultRow kFaults[] = {
    {"silence",         0,     0},
    {"late",         4900,  9500}, // ms: the answer comes after the last wait, or in a second one
    {"wrongtype",       0,  9999}, // the answer's type
    {"pieces",          2,     9}, // the answer comes in this number of pieces, with pauses that are too long
    {"repeat",          0,     0}, // the answer comes twice
    {"garbage",         0,   600}, // bytes instead of the answer
    {"nuls",            1,   600}, // NULs instead of the answer
    {"large",           0, 20000}, // bytes of a tag that nobody asked for
    {"tagtwice",        0, 99999}, // there is a second result code, this one
    {"refuse",          1, 99999}, // the terminal's result code
    {"refusesecond",    1, 99999}, // the same, for every second message
    {"notag",           0,     9}, // the answer lacks a tag
    {"writeerror",      1,   110}, // errno of the write
    {"shortwrite",      0,    60}, // bytes that the write takes
    {"readerror",       0,   110}, // errno of a read in front of the answer; 0 for an end of file
    {"unplug",          0,  3000}, // ms after which the terminal is back; it goes before it answers
    {"unpluglater",     0,  3000}, // the same once it has answered
    {"openerror",       1,   110}, // errno when the node is opened anew
    {"slowopen",        1,  1900}, // ms that this takes
    {"toolong",     16384, 20000}, // bytes of a value, more than the kernel takes
    {"message",         0,   200}, // ms after which a message of the terminal's own comes meanwhile
    {"untaken",         0,     0}, // a message of the terminal's own is not taken
    {"packet",          0,     4}, // number of the packet that comes, whichever was asked for
    {"check",           0,     0}, // the check of the packet is another one's
    // Those of the host's surroundings: while the call lasts.
    {"diskfull",        0,   300}, // bytes by which a file can still grow
    {"nologs",          0,     1}, // there is no log directory; 1: a file is in its place
    {"noini",           0,     0}, // the ini is gone
    {"rotation",        0,  3000}, // bytes that the log lacks to its limit
    {"nomemory",        0,     4}, // 1: none at all; n: from the writing of n - 1 messages on; 0: for the receiver
};
// clang-format on

/// What a step can be: a member that talks to the terminal, one of a message that the terminal starts, which
/// is sent and handed over, "unplug" or "plug".
const std::vector<std::string>& actions();

/// Steps that depend on nothing but the seed.
std::vector<Step> drawSteps(std::uint64_t seed, std::size_t count);

/// A step as one line, "GetInfo fault=late amount=5100 seed=7", without what is as usual; and back.
std::string lineOf(const Step& step);
/// Throws std::invalid_argument for what is no step.
Step stepOf(const std::string& line);

/// Every number of a step by its name.
template <typename Visit>
void forEachNumber(Step& step, const Visit& visit) {
    visit("json", step.json);
    visit("amount", step.amount);
    visit("message", step.message);
    visit("times", step.times);
    visit("delay", step.delay);
    visit("report", step.report);
    visit("spacing", step.spacing);
    visit("gap", step.gap);
}
