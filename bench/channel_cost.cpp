// What an open channel costs in CPU time: the library's threads against those of a bare program.

#include "ChannelCost.h"
#include "CostReport.h"
#include "Node.h"
#include "PrivateRun.h"

#include <getopt.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using namespace pdalink::bench;

constexpr const char* Usage =
    "Usage: %s [OPTIONS]\n"
    "\n"
    "  --rounds N         how often to measure everything (3)\n"
    "  --seconds S        how long to watch the idle and the hung-up channel (5)\n"
    "  --exchanges N      how many exchanges, or packets of a file, make one figure (20)\n"
    "  --measure A,B,...  only these: %s\n"
    "  --json FILE        write every single figure to a file too\n";

struct Options {
    Plan plan;
    std::string jsonFile;
    bool wantsHelp = false;
};

template <typename Number>
Number positive(const char* text) {
    std::istringstream stream(text);
    Number number{};
    if (!(stream >> number) || !stream.eof() || !(number > 0)) {
        throw std::invalid_argument(std::string("not a positive number: ") + text);
    }
    return number;
}

std::vector<std::string> knownNames(const std::string& list) {
    const std::vector<std::string> known = measurementNames();
    std::vector<std::string> names;
    std::istringstream stream(list);
    for (std::string name; std::getline(stream, name, ',');) {
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            throw std::invalid_argument("no such measurement: " + name);
        }
        names.push_back(name);
    }
    return names;
}

/// Throws for what it does not understand.
Options readOptions(int argc, char** argv) {
    const option names[] = {{"rounds", required_argument, nullptr, 'r'},
                            {"seconds", required_argument, nullptr, 's'},
                            {"exchanges", required_argument, nullptr, 'e'},
                            {"measure", required_argument, nullptr, 'm'},
                            {"json", required_argument, nullptr, 'j'},
                            {"help", no_argument, nullptr, 'h'},
                            {nullptr, 0, nullptr, 0}};
    Options options;
    for (int name = 0; (name = getopt_long(argc, argv, "", names, nullptr)) != -1;) {
        switch (name) {
        case 'r':
            options.plan.rounds = positive<int>(optarg);
            break;
        case 's':
            options.plan.seconds = positive<double>(optarg);
            break;
        case 'e':
            options.plan.exchanges = positive<int>(optarg);
            break;
        case 'm':
            options.plan.measurements = knownNames(optarg);
            break;
        case 'j':
            options.jsonFile = optarg;
            break;
        case 'h':
            options.wantsHelp = true;
            break;
        default:
            throw std::invalid_argument("--help shows the options");
        }
    }
    if (optind < argc) {
        throw std::invalid_argument(std::string("not understood: ") + argv[optind]);
    }
    return options;
}

void printUsage(const char* program) {
    std::string names;
    for (const std::string& name : measurementNames()) {
        names += (names.empty() ? "" : ", ") + name;
    }
    std::printf(Usage, program, names.c_str());
}

std::vector<Comparison> measureQuietly(const Plan& plan) {
    const QuietOutput quiet;
    return compareChannels(plan, [](const std::string& next) { std::cerr << next << std::endl; });
}

void run(const Options& options) {
    const std::vector<Comparison> comparisons = measureQuietly(options.plan);
    std::cout << costTable(nodeKind(), options.plan, comparisons);
    if (!options.jsonFile.empty()) {
        std::ofstream file(options.jsonFile);
        file << costJson(nodeKind(), options.plan, comparisons);
        file.close();
        if (!file) {
            throw std::runtime_error("cannot write " + options.jsonFile);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    ensurePrivateRun(argv);
    try {
        const Options options = readOptions(argc, argv);
        if (options.wantsHelp) {
            printUsage(argv[0]);
        } else {
            run(options);
        }
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << std::endl;
        return EXIT_FAILURE;
    }
}
