// pdalink_simulation [--seed N] [--calls N] [--repeat N] [--replay FILE] [--forget-shortening] | --matrix

#include "FailingMemory.h"
#include "LibraryDirectory.h"
#include "Matrix.h"
#include "Run.h"

#include <QtGlobal>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <getopt.h>
#include <iostream>
#include <optional>
#include <stdexcept>

namespace {

constexpr std::size_t kCallsInProcess = 500;

struct Options {
    std::uint64_t seed = 1;
    std::size_t calls = 20000;
    int repeat = 1;
    std::vector<Step> replayed; ///< instead of steps that are drawn
    bool isMatrix = false;
    RunOptions run;
};

std::vector<Step> readSteps(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        throw std::invalid_argument("cannot read " + path);
    }
    std::vector<Step> steps;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.front() != '#') {
            steps.push_back(stepOf(line));
        }
    }
    return steps;
}

Options read(int argc, char** argv) {
    static const option names[] = {{"seed", required_argument, nullptr, 's'},
                                   {"calls", required_argument, nullptr, 'c'},
                                   {"repeat", required_argument, nullptr, 'n'},
                                   {"replay", required_argument, nullptr, 'r'},
                                   {"forget-shortening", no_argument, nullptr, 'f'},
                                   {"matrix", no_argument, nullptr, 'm'},
                                   {}};
    Options options;
    for (int name = 0; (name = getopt_long(argc, argv, "", names, nullptr)) != -1;) {
        switch (name) {
        case 's':
            options.seed = std::stoull(optarg);
            break;
        case 'c':
            options.calls = std::stoul(optarg);
            break;
        case 'n':
            options.repeat = std::stoi(optarg);
            break;
        case 'r':
            options.replayed = readSteps(optarg);
            options.calls = options.replayed.size();
            break;
        case 'f':
            options.run.knowsShortening = false;
            break;
        case 'm':
            options.isMatrix = true;
            break;
        default:
            throw std::invalid_argument("see CONTRIBUTING.md");
        }
    }
    return options;
}

void tellFailure(const std::vector<Step>& steps, const RunOptions& options, std::size_t callsBefore) {
    const Report report = runSteps(steps, options);
    std::cout << "failed at call " << callsBefore + report.steps + 1 << ": " << report.failure.data() << "\n";
    const std::vector<Step> few = shrink(steps, options);
    RunOptions loud = options;
    loud.isQuiet = false;
    std::cout << "shrunk to " << few.size() << " steps: " << runSteps(few, loud).failure.data() << "\n";
    for (const Step& step : few) {
        std::cout << lineOf(step) << "\n";
    }
}

/// Returns a hash of all that happened, nothing when something failed.
std::optional<std::uint64_t> run(const Options& options) {
    std::uint64_t hash = options.seed;
    std::uint64_t exchanges = 0;
    std::int64_t seconds = 0;
    std::vector<Step> steps = options.replayed;
    for (std::size_t done = 0; done < options.calls; done += steps.size()) {
        if (options.replayed.empty()) {
            const std::size_t count = std::min(kCallsInProcess, options.calls - done);
            steps = drawSteps(options.seed * 1000003 + done, count);
        }
        const Report report = runSteps(steps, options.run);
        if (report.hasFailed) {
            tellFailure(steps, options.run, done);
            return {};
        }
        hash = hash * 31 + report.hash;
        exchanges += report.exchanges;
        seconds += report.virtualSeconds;
    }
    std::cout << options.calls << " calls, " << exchanges << " messages of the host, " << seconds / 3600
              << " hours of virtual time, trace " << std::hex << hash << std::dec << std::endl;
    return hash;
}

} // namespace

int main(int argc, char** argv) {
    try {
        setenv("TZ", "UTC", 1);
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
        pdalink::test::initialiseQt();
        const Options options = read(argc, argv);
        const pdalink::test::LibraryDirectory directory;
        std::filesystem::current_path(directory.path());
        if (options.isMatrix) {
            writeMatrix(std::cout);
            return 0;
        }
        const std::optional<std::uint64_t> first = run(options);
        for (int round = 1; round < options.repeat && first; ++round) {
            if (run(options) != first) {
                throw std::runtime_error("the same seed has led to another trace");
            }
        }
        return first ? 0 : 1;
    } catch (const std::exception& failure) {
        std::cerr << "pdalink_simulation: " << failure.what() << std::endl;
        return 64;
    }
}
