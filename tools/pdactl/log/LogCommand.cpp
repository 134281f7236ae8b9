#include "Commands.h"
#include "Failure.h"
#include "Signals.h"
#include "log/Entries.h"
#include "log/ExchangeBuilder.h"
#include "log/Filter.h"
#include "log/FollowedLog.h"
#include "log/LogFiles.h"
#include "log/Redaction.h"
#include "log/Report.h"

#include <QJsonDocument>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>

namespace pdactl::log {

namespace {

struct Options {
    std::vector<std::string> files;
    std::vector<std::string> codes;
    std::vector<std::string> results;
    std::string since;
    std::string until;
    std::string page;
    std::string copy;
    bool onlyFailed = false;
    bool withMessages = false;
    bool unredacted = false;
    bool follow = false;
};

Filter filterOf(const Options& options) {
    Filter filter;
    filter.setCodes(options.codes);
    filter.setResults(options.results);
    if (!options.since.empty()) {
        filter.setSince(options.since);
    }
    if (!options.until.empty()) {
        filter.setUntil(options.until);
    }
    if (options.onlyFailed) {
        filter.setOnlyFailed();
    }
    return filter;
}

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
            redact(stretches.back());
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

void addExchanges(const LogSet& log, const Options& options, std::vector<Exchange>& exchanges) {
    ExchangeBuilder builder;
    for (const std::vector<Entry>& stretch : entriesOf(log, options.unredacted)) {
        for (const Entry& entry : stretch) {
            builder.add(entry);
        }
        builder.closeAll();
    }
    std::vector<Exchange> found = builder.takeFinished();
    exchanges.insert(exchanges.end(), std::make_move_iterator(found.begin()),
                     std::make_move_iterator(found.end()));
}

Report reportOf(const std::vector<LogSet>& logs, const Options& options) {
    Report report;
    report.isRedacted = !options.unredacted;
    for (const LogSet& log : logs) {
        report.files.push_back(log.base);
        report.gaps.insert(report.gaps.end(), log.gaps.begin(), log.gaps.end());
        addExchanges(log, options, report.exchanges);
    }
    putInOrder(report.exchanges);
    const Filter filter = filterOf(options);
    const auto isUnwanted = [&](const Exchange& exchange) { return !filter.matches(exchange); };
    report.exchanges.erase(std::remove_if(report.exchanges.begin(), report.exchanges.end(), isUnwanted),
                           report.exchanges.end());
    for (const std::string& gap : report.gaps) {
        warn(gap);
    }
    return report;
}

void requireOther(const std::string& output, const std::vector<LogSet>& logs) {
    for (const LogSet& log : logs) {
        for (const std::string& file : log.files) {
            std::error_code error;
            if (!file.empty() && std::filesystem::equivalent(file, output, error)) {
                throw Failure(BadUsage, "'" + output + "' is the log itself. Name another file to write to.");
            }
        }
    }
}

/// The second would take the place of the first.
void requireDifferent(const std::string& page, const std::string& copy) {
    std::error_code error;
    if (!page.empty() && !copy.empty() &&
        std::filesystem::weakly_canonical(page, error) == std::filesystem::weakly_canonical(copy, error)) {
        throw Failure(BadUsage, "--html and --redact name the same file. Name two.");
    }
}

void writeCopy(const std::vector<LogSet>& logs, const std::string& path) {
    std::string bytes;
    for (const LogSet& log : logs) {
        for (const std::string& gap : log.gaps) {
            warn(gap);
        }
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

void printTable(const Report& report, bool withMessages) {
    std::cout << tableHead();
    for (const Exchange& exchange : report.exchanges) {
        std::cout << tableRow(exchange, withMessages);
    }
    std::cout << tableFoot(report) << std::flush;
}

int show(const Options& options, bool asJson) {
    const std::vector<LogSet> logs = findLogs(options.files);
    for (const std::string& output : {options.page, options.copy}) {
        if (!output.empty()) {
            requireOther(output, logs);
        }
    }
    requireDifferent(options.page, options.copy);
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
        std::cout << QJsonDocument(jsonOf(report)).toJson(QJsonDocument::Compact).constData() << std::endl;
    } else if (isPrinted) {
        printTable(report, options.withMessages);
    }
    return Success;
}

/// Shows exchanges while the log grows.
class Follower {
public:
    Follower(const Options& options, std::string base, bool asJson)
        : m_options(options), m_filter(filterOf(options)), m_asJson(asJson), m_log(std::move(base)) {}

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
        for (Exchange& exchange : m_builder.takeFinished()) {
            exchange.gap = m_end ? std::optional(std::max<Time>(exchange.begin - *m_end, 0)) : std::nullopt;
            m_end = m_end ? std::max(*m_end, exchange.end) : exchange.end;
            if (m_filter.matches(exchange)) {
                std::cout << (m_asJson ? QJsonDocument(jsonOf(exchange))
                                             .toJson(QJsonDocument::Compact)
                                             .append('\n')
                                             .toStdString()
                                       : tableRow(exchange, m_options.withMessages));
            }
        }
        std::cout.flush();
    }

    const Options& m_options;
    Filter m_filter;
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
    command->add_option("--code", options->codes,
                        "only this transaction: a code, a member or a message type");
    command->add_option(
        "--result", options->results,
        "only this result: a word as in the table, the library's number or the terminal's code");
    command->add_option("--since", options->since,
                        "only from this time on: 2026-01-02 or 2026-01-02T03:04:05");
    command->add_option("--until", options->until, "only up to this time, the whole day or second included");
    command->add_flag("--failed", options->onlyFailed, "only what failed");
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
            return options->follow ? log::follow(*options, program.asJson)
                                   : log::show(*options, program.asJson);
        };
    });
}

} // namespace pdactl
