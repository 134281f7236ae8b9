#include "ChannelCost.h"

#include "Channel.h"
#include "Node.h"
#include "ThreadMeter.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

namespace pdalink::bench {

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;
using OpenChannel = std::unique_ptr<Channel> (*)(const std::string& path);

constexpr double kIdleGoal = 0.5; // ms CPU a second
constexpr double kExchangeGoal = 0.3;
constexpr double kExchangeTimesBare = 6;
constexpr double kExchangeTime = 110;
constexpr double kPacketBeyondBare = 0.3;
constexpr double kSilentWaitGoal = 10;
/// For what opening a channel leaves behind.
constexpr std::chrono::milliseconds kSettling(50);

/// Runs something and gives what the calling thread and the channel's receiver have used for it.
template <typename Action>
Cost measure(const Channel& channel, const Action& action) {
    const ThreadMeter receiver(channel.receiverThread());
    const ThreadMeter caller(currentThreadId());
    const auto begin = std::chrono::steady_clock::now();
    action();
    const Milliseconds time = std::chrono::steady_clock::now() - begin;
    const ThreadUsage called = caller.used();
    const ThreadUsage received = receiver.used();
    return {Milliseconds(called.cpu + received.cpu).count(), Milliseconds(received.cpu).count(),
            static_cast<double>(called.wakeUps + received.wakeUps), time.count()};
}

/// What the receiver uses while the program has nothing to do with the channel.
Cost watch(const Channel& channel, double seconds) {
    std::this_thread::sleep_for(kSettling);
    const ThreadMeter receiver(channel.receiverThread());
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const ThreadUsage received = receiver.used();
    const double cpu = Milliseconds(received.cpu).count();
    return {cpu, cpu, static_cast<double>(received.wakeUps), seconds * 1000};
}

Cost measureIdle(const Plan& plan, Node& /*node*/, Channel& channel) {
    return watch(channel, plan.seconds);
}

Cost perPiece(const Plan& plan, const Cost& all) {
    const double count = plan.exchanges;
    return {all.cpu / count, all.receiverCpu / count, all.wakeUps / count, all.time / count};
}

Cost measureExchange(const Plan& plan, Node& /*node*/, Channel& channel) {
    channel.exchange(); // the first one pays for what later ones find prepared
    const Cost all = measure(channel, [&] {
        for (int i = 0; i < plan.exchanges; ++i) {
            channel.exchange();
        }
    });
    return perPiece(plan, all);
}

Cost measureFile(const Plan& plan, Node& /*node*/, Channel& channel) {
    return perPiece(plan, measure(channel, [&] { channel.sendFile(plan.exchanges); }));
}

Cost measureSilentWait(const Plan& /*plan*/, Node& /*node*/, Channel& channel) {
    return measure(channel, [&] { channel.waitInVain(); });
}

Cost measureHangUp(const Plan& plan, Node& node, Channel& channel) {
    node.hangUp();
    return watch(channel, plan.seconds);
}

std::string inSeconds(double number) {
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), "%g s", number);
    return text.data();
}

struct Measurement {
    /// Without figures at first.
    Comparison comparison;
    Cost (*run)(const Plan&, Node&, Channel&);
};

std::vector<Measurement> allMeasurements(const Plan& plan) {
    const std::string length = inSeconds(plan.seconds);
    return {
        {{"idle", "open channel, idle for " + length, Goal{kIdleGoal * plan.seconds, {}, {}}, {}, {}, {}},
         measureIdle},
        {{"exchange",
          "one answered 600002",
          Goal{kExchangeGoal, kExchangeTimesBare, {}},
          kExchangeTime,
          {},
          {}},
         measureExchange},
        {{"file", "one packet of a file sent", Goal{{}, {}, kPacketBeyondBare}, kExchangeTime, {}, {}},
         measureFile},
        {{"silent-wait", "one silent wait of 4.9 s", Goal{kSilentWaitGoal, {}, {}}, {}, {}, {}},
         measureSilentWait},
        {{"hang-up", "terminal gone for " + length, {}, {}, {}, {}}, measureHangUp},
    };
}

std::vector<Measurement> plannedMeasurements(const Plan& plan) {
    std::vector<Measurement> planned = allMeasurements(plan);
    const std::vector<std::string>& names = plan.measurements;
    const auto isUnwanted = [&names](const Measurement& measurement) {
        return !names.empty() &&
               std::find(names.begin(), names.end(), measurement.comparison.name) == names.end();
    };
    planned.erase(std::remove_if(planned.begin(), planned.end(), isUnwanted), planned.end());
    return planned;
}

Cost runOnce(const Measurement& measurement, const Plan& plan, OpenChannel open) {
    const std::unique_ptr<Node> node = makeNode();
    Cost cost;
    {
        const std::unique_ptr<Channel> channel = open(node->path());
        cost = measurement.run(plan, *node, *channel);
    }
    const std::vector<std::string> complaints = node->complaints();
    if (!complaints.empty()) {
        throw std::runtime_error("the terminal objects: " + complaints.front());
    }
    return cost;
}

} // namespace

std::vector<std::string> measurementNames() {
    std::vector<std::string> names;
    const std::vector<Measurement> all = allMeasurements(Plan());
    std::transform(all.begin(), all.end(), std::back_inserter(names),
                   [](const Measurement& measurement) { return measurement.comparison.name; });
    return names;
}

std::vector<Comparison> compareChannels(const Plan& plan,
                                        const std::function<void(const std::string&)>& tell) {
    std::vector<Measurement> planned = plannedMeasurements(plan);
    for (int round = 1; round <= plan.rounds; ++round) {
        for (Measurement& measurement : planned) {
            tell("round " + std::to_string(round) + " of " + std::to_string(plan.rounds) + ": " +
                 measurement.comparison.description);
            measurement.comparison.library.push_back(runOnce(measurement, plan, openLibraryChannel));
            measurement.comparison.bare.push_back(runOnce(measurement, plan, openBareChannel));
        }
    }
    std::vector<Comparison> comparisons;
    std::transform(planned.begin(), planned.end(), std::back_inserter(comparisons),
                   [](Measurement& measurement) { return std::move(measurement.comparison); });
    return comparisons;
}

} // namespace pdalink::bench
