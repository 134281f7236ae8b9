// What an open channel costs: the CPU time of the library's threads, and in turn that of a bare program.

#include "Benchmarks.h"
#include "Channel.h"
#include "PrivateRun.h"
#include "PseudoTerminal.h"
#include "ThreadMeter.h"

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <thread>

namespace {

using namespace pdalink::bench;

/// What something used, in the calling and the receiver's thread together, and how long it took.
struct Cost {
    double cpu = 0; // ms
    double wakeUps = 0;
    double time = 0; // ms

    void add(const Cost& other) {
        cpu += other.cpu;
        wakeUps += other.wakeUps;
        time += other.time;
    }
};

using OpenChannel = std::unique_ptr<Channel>(const std::string& path);
using Action = std::function<void(Channel& channel, PseudoTerminal& terminal)>;

double milliseconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

Cost costOf(OpenChannel* open, const Action& prepare, const Action& action) {
    PseudoTerminal terminal;
    const std::unique_ptr<Channel> channel = open(terminal.path());
    prepare(*channel, terminal);
    const ThreadMeter receiver(channel->receiverThread());
    const ThreadMeter caller(currentThreadId());
    const auto begin = std::chrono::steady_clock::now();
    action(*channel, terminal);
    const auto time = std::chrono::steady_clock::now() - begin;
    const ThreadUsage called = caller.used();
    const ThreadUsage received = receiver.used();
    return {milliseconds(called.cpu + received.cpu), static_cast<double>(called.wakeUps + received.wakeUps),
            milliseconds(time)};
}

/// Measures library and bare program in turn; `pieces` of what counts are in one action.
void measure(benchmark::State& state, int pieces, const Action& prepare, const Action& action) {
    const QuietOutput quiet;
    Cost library;
    Cost bare;
    try {
        for ([[maybe_unused]] auto iteration : state) {
            const Cost cost = costOf(openLibraryChannel, prepare, action);
            state.SetIterationTime(cost.cpu / 1000 / pieces);
            library.add(cost);
            bare.add(costOf(openBareChannel, prepare, action));
        }
    } catch (const std::exception& failure) {
        failUnless(false, state, failure.what());
        return;
    }
    const double count = static_cast<double>(state.iterations()) * pieces;
    state.counters["bare_ms"] = bare.cpu / count;
    state.counters["times_bare"] = library.cpu / bare.cpu;
    state.counters["wake_ups"] = library.wakeUps / count;
    state.counters["bare_wake_ups"] = bare.wakeUps / count;
    state.counters["took_ms"] = library.time / count;
}

void nothing(Channel& /*channel*/, PseudoTerminal& /*terminal*/) {
}

void letOneSecondPass(Channel& /*channel*/, PseudoTerminal& /*terminal*/) {
    std::this_thread::sleep_for(std::chrono::seconds(1));
}

/// A second of an open channel on which nothing happens.
void Idle(benchmark::State& state) {
    measure(state, 1, letOneSecondPass, letOneSecondPass);
}

/// A second of a channel whose terminal has gone.
void HungUp(benchmark::State& state) {
    measure(
        state, 1, [](Channel& /*channel*/, PseudoTerminal& terminal) { terminal.hangUp(); },
        letOneSecondPass);
}

/// One 600002, from JSON to JSON.
void Exchange(benchmark::State& state) {
    const auto exchange = [](Channel& channel, PseudoTerminal& /*terminal*/) { channel.exchange(); };
    measure(state, 1, exchange, exchange); // the first one pays for what later ones find prepared
}

/// One packet of 3000 digits of a file.
void Packet(benchmark::State& state) {
    constexpr int kPackets = 10;
    measure(state, kPackets, nothing,
            [](Channel& channel, PseudoTerminal& /*terminal*/) { channel.sendFile(kPackets); });
}

/// A wait for a reply that does not come.
void SilentWait(benchmark::State& state) {
    measure(state, 1, nothing, [](Channel& channel, PseudoTerminal& /*terminal*/) { channel.waitInVain(); });
}

BENCHMARK(Idle)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(HungUp)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(Exchange)->UseManualTime()->Iterations(20)->Unit(benchmark::kMillisecond);
BENCHMARK(Packet)->UseManualTime()->Iterations(2)->Unit(benchmark::kMillisecond);
BENCHMARK(SilentWait)->UseManualTime()->Iterations(2)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    ensurePrivateRun(argv);
    return pdalink::bench::runBenchmarks(argc, argv);
}
