// What an open channel costs: the CPU time of the library's threads, and in turn that of a bare program.

#include "Benchmarks.h"
#include "Channels.h"
#include "ProcessFacts.h"

#include <unistd.h>

#include <chrono>
#include <exception>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
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

double wakeUpsOf(int thread) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    const std::string name = "voluntary_ctxt_switches:";
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, name.size(), name) == 0) {
            return std::stod(line.substr(name.size()));
        }
    }
    throw std::runtime_error("no thread " + std::to_string(thread));
}

/// Measures what one thread of this process uses from the construction on; without a thread nothing.
///
/// Reading the wake-ups costs the calling thread time, which may be the measured one: the clock is read
/// inside.
class ThreadMeter {
public:
    explicit ThreadMeter(std::optional<int> thread) : m_thread(thread) {
        if (m_thread) {
            m_wakeUps = wakeUpsOf(*m_thread);
            m_cpu = pdalink::test::threadCpuTime(*m_thread);
        }
    }

    Cost used() const {
        if (!m_thread) {
            return {};
        }
        const auto cpu = pdalink::test::threadCpuTime(*m_thread);
        return {milliseconds(cpu - m_cpu), wakeUpsOf(*m_thread) - m_wakeUps};
    }

private:
    std::optional<int> m_thread;
    double m_wakeUps = 0; ///< how often it went to sleep of its own accord
    std::chrono::nanoseconds m_cpu{};
};

Cost costOf(OpenChannel* open, const Action& prepare, const Action& action) {
    PseudoTerminal terminal;
    const std::unique_ptr<Channel> channel = open(terminal.path());
    prepare(*channel, terminal);
    const ThreadMeter receiver(channel->receiverThread());
    const ThreadMeter caller(::gettid());
    const auto begin = std::chrono::steady_clock::now();
    action(*channel, terminal);
    const auto time = std::chrono::steady_clock::now() - begin;
    Cost cost = caller.used();
    cost.add(receiver.used());
    cost.time = milliseconds(time);
    return cost;
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
