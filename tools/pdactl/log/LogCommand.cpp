#include "Commands.h"
#include "Failure.h"
#include "Signals.h"
#include "log/Filter.h"
#include "log/FollowedLog.h"
#include "log/LogFiles.h"
#include "log/Redaction.h"
#include "log/Report.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>

namespace pdactl::log {

namespace {

struct Options {
    std::vector<std::string> files;
    Filter filter;
    std::string page;
    std::string copy;
    bool withMessages = false;
    bool unredacted = false;
    bool follow = false;
};

void warn(const std::string& what) {
    std::cerr << "pdactl: " << what << "." << std::endl;
}

/// A log's entries, in stretches without a gap. Throws Failure when there is something, but no entry.
std::vector<std::vector<Entry>> entriesOf(const LogSet& log, bool unredacted) {
    std::vector<std::vector<Entry>> stretches;
    bool isEmpty = true;
    bool isLog = false;
    for (const std::string& part : readLog(log)) {
        stretches.push_back(readEntries(part));
        isEmpty = isEmpty && part.empty();
        isLog = isLog || std::any_of(stretches.back().begin(), stretches.back().end(),
                                     [](const Entry& entry) { return !entry.head.empty(); });
        if (!unredacted) {
            Redactor().redact(stretches.back());
        }
    }
    if (isEmpty) {
        warn("'" + log.base + "' is empty");
    } else if (!isLog) {
        throw Failure(LocalFailure,
                      "'" + log.base +
                          "' is not a log of the library: it has no line that begins with a time and a "
                          "level. The library writes its log as log/PDA.log beside itself.");
    }
    return stretches;
}

Report reportOf(const std::vector<LogSet>& logs, const Options& options) {
    Report report;
    report.isRedacted = !options.unredacted;
    std::vector<Exchange>& exchanges = report.exchanges;
    for (const LogSet& log : logs) {
        report.files.push_back(log.base);
        report.gaps.insert(report.gaps.end(), log.gaps.begin(), log.gaps.end());
        ExchangeBuilder builder;
        for (const std::vector<Entry>& stretch : entriesOf(log, options.unredacted)) {
            std::for_each(stretch.begin(), stretch.end(), [&](const Entry& entry) { builder.add(entry); });
            builder.closeAll();
        }
        std::vector<Exchange> found = builder.takeFinished();
        std::move(found.begin(), found.end(), std::back_inserter(exchanges));
    }
    std::optional<Time> end;
    putInOrder(exchanges, end);
    exchanges.erase(std::remove_if(exchanges.begin(), exchanges.end(),
                                   [&](const Exchange& each) { return !options.filter.matches(each); }),
                    exchanges.end());
    std::for_each(report.gaps.begin(), report.gaps.end(), warn);
    return report;
}

void writeCopy(const std::vector<LogSet>& logs, const std::string& path) {
    std::string bytes;
    for (const LogSet& log : logs) {
        std::for_each(log.gaps.begin(), log.gaps.end(), warn);
        for (const std::vector<Entry>& stretch : entriesOf(log, false)) {
            for (const Entry& entry : stretch) {
                bytes += entry.head + entry.text + entry.lineEnd;
            }
        }
    }
    writeWhole(path, bytes);
    std::cerr << "pdactl: wrote the redacted log to '" << path
              << "'. Look through it before you give it away." << std::endl;
}

/// Outputs must not take the place of the log or of each other.
void requireOutputs(const Options& options, const std::vector<LogSet>& logs) {
    std::error_code error;
    for (const LogSet& log : logs) {
        for (const std::string& file : log.files) {
            for (const std::string& output : {options.page, options.copy}) {
                if (std::filesystem::equivalent(file, output, error)) {
                    throw Failure(BadUsage,
                                  "'" + output + "' is the log itself. Name another file to write to.");
                }
            }
        }
    }
    if (!options.page.empty() && !options.copy.empty() &&
        std::filesystem::weakly_canonical(options.page, error) ==
            std::filesystem::weakly_canonical(options.copy, error)) {
        throw Failure(BadUsage, "--html and --redact name the same file. Name two.");
    }
}

int show(const Options& options, bool asJson) {
    const std::vector<LogSet> logs = findLogs(options.files);
    requireOutputs(options, logs);
    if (!options.copy.empty()) {
        writeCopy(logs, options.copy);
    }
    const bool isPrinted = asJson || (options.page.empty() && options.copy.empty());
    if (options.page.empty() && !isPrinted) {
        return Success;
    }
    const Report report = reportOf(logs, options);
    if (!options.page.empty()) {
        writeWhole(options.page, htmlPage(report));
        std::cerr << "pdactl: wrote '" << options.page << "'; open it in a browser." << std::endl;
    }
    if (asJson) {
        std::cout << jsonOf(report);
    } else if (isPrinted) {
        std::cout << tableHead();
        for (const Exchange& exchange : report.exchanges) {
            std::cout << tableRow(exchange, options.withMessages);
        }
        std::cout << tableFoot(report);
    }
    std::cout.flush();
    return Success;
}

/// Shows exchanges while the log grows.
class Follower {
public:
    Follower(const Options& options, std::string base, bool asJson)
        : m_options(options), m_asJson(asJson), m_log(std::move(base)) {}

    int run() {
        constexpr long kPause = 100; // ms; a line that has not grown for as long is complete
        const BlockedSignals blocked;
        std::cout << (m_asJson ? "" : tableHead()) << std::flush;
        bool isEnd = false;
        while (!isEnd) {
            const Growth growth = m_log.grow();
            take(growth);
            const bool isIdle = growth.bytes.empty() && !growth.hasGap;
            isEnd = blocked.arriveWithin(isIdle ? kPause : 0);
            if (isIdle && m_reader.isAtLineEnd()) {
                add(m_reader.finish());
            }
        }
        for (Growth growth = m_log.grow(); !growth.bytes.empty(); growth = m_log.grow()) {
            take(growth);
        }
        add(m_reader.finish());
        m_builder.closeAll();
        print();
        return Success;
    }

private:
    void take(const Growth& growth) {
        if (growth.hasGap) {
            add(m_reader.finish());
            m_builder.closeAll();
            m_redactor = Redactor();
            warn("the log was cut, or rotated too often between two looks: something is missing here");
        }
        add(m_reader.feed(growth.bytes));
    }

    void add(std::vector<Entry> entries) {
        if (!m_options.unredacted) {
            m_redactor.redact(entries);
        }
        for (const Entry& entry : entries) {
            m_builder.add(entry);
        }
        print();
    }

    void print() {
        std::vector<Exchange> finished = m_builder.takeFinished();
        putInOrder(finished, m_end);
        for (const Exchange& exchange : finished) {
            if (m_options.filter.matches(exchange)) {
                std::cout << (m_asJson ? jsonOf(exchange) : tableRow(exchange, m_options.withMessages));
            }
        }
        std::cout.flush();
    }

    const Options& m_options;
    bool m_asJson;
    FollowedLog m_log;
    EntryReader m_reader;
    Redactor m_redactor;
    ExchangeBuilder m_builder;
    std::optional<Time> m_end;
};

int follow(const Options& options, bool asJson) {
    const std::vector<LogSet> logs = findLogs(options.files);
    if (logs.size() != 1 || logs.front().files.back() != logs.front().base) {
        throw Failure(BadUsage,
                      "--follow takes one log that is being written, not several and no rotated copy.");
    }
    (void)entriesOf(logs.front(), true); // a file that is not a log will not become one
    return Follower(options, logs.front().base, asJson).run();
}

} // namespace

} // namespace pdactl::log

namespace pdactl {

void addLogCommand(Program& program) {
    CLI::App* command = program.app.add_subcommand(
        "log", "Show what a log of the library tells: requests, replies, results, times");
    const auto options = std::make_shared<log::Options>();
    command
        ->add_option("FILE", options->files,
                     "logs, rotated copies or folders; a log stands for its copies too")
        ->required();
    command->add_option("--code", options->filter.codes,
                        "only this transaction: a code, a member or a message type");
    command->add_option(
        "--result", options->filter.results,
        "only this result: a word as in the table, the library's number or the terminal's code");
    command->add_option("--since", options->filter.since,
                        "only from this time on: 2026-01-02 or 2026-01-02T03:04:05");
    command->add_option("--until", options->filter.until,
                        "only up to this time, the whole day or second included");
    command->add_flag("--failed", options->filter.isOnlyFailed, "only what failed");
    command->add_flag("--full", options->withMessages, "show requests and messages too");
    CLI::Option* unredacted =
        command->add_flag("--unredacted", options->unredacted, "show keys, passwords and other secrets too");
    CLI::Option* page =
        command->add_option("--html", options->page, "write a page with timeline, times taken and failures");
    CLI::Option* copy = command->add_option("--redact", options->copy,
                                            "write a copy of the whole log with its secrets masked");
    CLI::Option* follow =
        command->add_flag("--follow", options->follow, "go on as the log grows, until Ctrl-C");
    follow->excludes(page)->excludes(copy);
    copy->excludes(unredacted);
    addExample(*command, {"log"}, "--failed --since 2026-01-02 /opt/bank/lib/log");
    command->callback([options, &program] {
        program.action = [options, &program] {
            options->filter.check();
            return options->follow ? log::follow(*options, program.asJson)
                                   : log::show(*options, program.asJson);
        };
    });
}

} // namespace pdactl
