#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace pdalink::bench {

/// How much to measure.
struct Plan {
    int rounds = 3;
    /// How long the idle and the hung-up channel are watched.
    double seconds = 5;
    /// How many exchanges, or packets of a file, make one figure.
    int exchanges = 20;
    /// Which measurements, by name; all when empty.
    std::vector<std::string> measurements;
};

/// What a channel uses for one thing, in its receiver's and the calling thread together.
struct Cost {
    double cpu = 0;         // ms
    double receiverCpu = 0; // ms, part of the above
    double wakeUps = 0;
    double time = 0; // ms
};

/// What counts as good enough.
struct Goal {
    /// By itself; none when only what the bare program uses counts.
    std::optional<double> cpu; // ms
    /// As good: so many times what the bare program uses.
    std::optional<double> timesBare;
    /// As good: so much more than the bare program uses.
    std::optional<double> beyondBare; // ms
};

/// All rounds of one measurement, the library and the bare program in turn.
struct Comparison {
    std::string name;
    std::string description;
    std::optional<Goal> goal;
    /// The protocol's own waits, when time counts.
    std::optional<double> protocolTime; // ms
    std::vector<Cost> library;
    std::vector<Cost> bare;
};

/// The names that a plan may contain.
std::vector<std::string> measurementNames();

/// Measures; `tell` hears what comes next. Throws when an end of the channel does not do what it should.
std::vector<Comparison> compareChannels(const Plan& plan,
                                        const std::function<void(const std::string&)>& tell);

} // namespace pdalink::bench
