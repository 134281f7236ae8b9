#include "Run.h"

#include "Surroundings.h"
#include "VirtualTime.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/mman.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace {

constexpr unsigned int kHanging = 60; // s of real time that no run takes

Report& sharedReport() {
    static Report& shared = *static_cast<Report*>(
        mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    return shared;
}

void tell(Report& report, const char* failure) {
    report.hasFailed = true;
    std::snprintf(report.failure.data(), report.failure.size(), "%s", failure);
}

[[noreturn]] void runInChild(const std::vector<Step>& steps, const RunOptions& options, Report& report) {
    alarm(kHanging);
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    if (options.isQuiet) {
        dup2(nowhere, STDERR_FILENO);
    }
    Surroundings::makeUsual();
    namespace virtual_time = pdalink::test::virtual_time;
    virtual_time::begin(1);
    const Time begin = virtual_time::now();
    Session session(options.knowsShortening);
    try {
        for (const Step& step : steps) {
            session.run(step);
            if (report.steps < report.outcomes.size()) {
                report.outcomes[report.steps] = session.outcome();
            }
            ++report.steps;
        }
    } catch (const std::exception& failure) {
        tell(report, failure.what());
    }
    report.exchanges = session.device().exchanges();
    report.hash = session.device().hash();
    report.virtualSeconds = (virtual_time::now() - begin) / std::chrono::seconds(1);
    _exit(0);
}

} // namespace

Report runSteps(const std::vector<Step>& steps, const RunOptions& options) {
    Report& report = *new (&sharedReport()) Report;
    const pid_t child = fork();
    if (child == 0) {
        runInChild(steps, options, report);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        throw std::system_error(errno, std::generic_category(), "a run cannot be started");
    }
    if (WIFSIGNALED(status)) {
        tell(report, strsignal(WTERMSIG(status)));
    } else if (WEXITSTATUS(status) != 0) {
        tell(report, "the process has ended");
    }
    return report;
}

namespace {

bool fails(const std::vector<Step>& steps, const RunOptions& options) {
    return runSteps(steps, options).hasFailed;
}

/// Leaves pieces out, of half the steps at first, of one in the end.
void leaveOut(std::vector<Step>& steps, const RunOptions& options) {
    for (std::size_t size = std::max<std::size_t>(1, steps.size() / 2); size > 0; size /= 2) {
        for (std::size_t begin = 0; begin < steps.size();) {
            std::vector<Step> fewer = steps;
            const auto from = fewer.begin() + static_cast<std::ptrdiff_t>(begin);
            fewer.erase(from, from + static_cast<std::ptrdiff_t>(std::min(size, steps.size() - begin)));
            if (fails(fewer, options)) {
                steps = fewer;
            } else {
                begin += size;
            }
        }
    }
}

/// Makes every number of a step as it usually is, one after the other.
void makePlain(std::vector<Step>& steps, const RunOptions& options) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const auto attempt = [&](auto change) {
            std::vector<Step> plainer = steps;
            change(plainer[i]);
            if (lineOf(plainer[i]) != lineOf(steps[i]) && fails(plainer, options)) {
                steps = plainer;
            }
        };
        attempt([](Step& step) { step = Step{step.action}; });
        attempt([](Step& step) { step.fault = "none"; });
        attempt([](Step& step) { step.seed = 1; });
        Step usual;
        std::vector<int> numbers;
        forEachNumber(usual, [&](const char* /*name*/, int& number) { numbers.push_back(number); });
        for (std::size_t which = 0; which < numbers.size(); ++which) {
            attempt([&](Step& step) {
                std::size_t index = 0;
                forEachNumber(step, [&](const char* /*name*/, int& number) {
                    number = index++ == which ? numbers[which] : number;
                });
            });
        }
    }
}

} // namespace

std::vector<Step> shrink(std::vector<Step> steps, const RunOptions& options) {
    steps.resize(
        std::min(steps.size(), runSteps(steps, options).steps + 1)); // the last one is that which failed
    for (std::size_t before = steps.size() + 1; steps.size() < before;) {
        before = steps.size();
        leaveOut(steps, options);
        makePlain(steps, options);
    }
    return steps;
}
