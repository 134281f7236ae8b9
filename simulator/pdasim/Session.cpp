#include "pdasim/Session.h"

#include "System.h"
#include "core/MessageTable.h"
#include "node/FileDescriptor.h"
#include "pdasim/Reporting.h"
#include "scenario/Rules.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <utility>
#include <vector>

namespace pdasim {

namespace {

/// Keys and passwords are nobody else's business: a file that is there already is closed to others, too.
std::FILE* openPrivately(const std::string& path) {
    FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
    struct stat information {};
    if (!file.isOpen() || ::fstat(file.get(), &information) != 0) {
        return nullptr;
    }
    if (S_ISREG(information.st_mode) &&
        (::fchmod(file.get(), information.st_mode & S_IRWXU) != 0 || ::ftruncate(file.get(), 0) != 0)) {
        return nullptr;
    }
    std::FILE* stream = ::fdopen(file.get(), "w");
    if (stream != nullptr) {
        (void)file.release();
    }
    return stream;
}

constexpr int kSampleFile = 7;
constexpr std::size_t kSampleFileLength = 4200; // more than one packet

Lock sampleLock(const std::string& id, const std::string& label) {
    Lock lock;
    lock.id = id;
    lock.label = label;
    lock.publicKey = "04A1B2C3D4";
    lock.factor = "F00D";
    lock.cdkk = {"FV-1", "EV-1", "CV-1"};
    return lock;
}

constexpr unsigned kMaxId = 0xFFFF;

/// What a terminal knows at first without a scenario: two locks, a teller who has registered, and a file.
void fillWithSamples(TerminalState& state) {
    state.locks = {sampleLock("LOCK-1", "Front vault"), sampleLock("LOCK-2", "Back vault")};
    state.tellers.registered = "T0815";
    std::string& digits = state.files.offered[kSampleFile];
    while (digits.size() < kSampleFileLength) {
        digits += "0123456789abcdef";
    }
    digits.resize(kSampleFileLength);
}

Scenario chosenScenario(const TerminalOptions& options) {
    if (!options.scenario.empty()) {
        return loadScenario(options.scenario);
    }
    Scenario scenario;
    fillWithSamples(scenario.state);
    return scenario;
}

UsbIds idsOf(const UsbIds& first, unsigned place) {
    const unsigned product = static_cast<unsigned>(std::stoul(first.product, nullptr, 16)) + place;
    if (product > kMaxId) {
        throw std::invalid_argument("--terminals: there are no product ids after " + first.product +
                                    "; give a smaller --pid, or ask for fewer");
    }
    std::array<char, 16> digits{};
    (void)std::snprintf(digits.data(), digits.size(), "%04x", product);
    return {first.vendor, digits.data()};
}

/// No two terminals pass for one.
std::string numbered(std::string text, std::size_t place) {
    return place == 0 ? text : text.append("-").append(std::to_string(place + 1));
}

SimulatedTerminal::Options settingsOf(const Scenario& scenario, const UsbIds& ids, std::size_t place) {
    SimulatedTerminal::Options settings;
    settings.device = scenario.device;
    settings.device.vendorId = ids.vendor;
    settings.device.productId = ids.product;
    if (settings.device.serial) {
        settings.device.serial = numbered(*settings.device.serial, place);
    }
    settings.reportSize = scenario.reportSize;
    settings.plugged = false;
    return settings;
}

} // namespace

Trace::Trace(const std::string& path) : m_file(stderr) {
    if (path != "-") {
        m_owned.reset(openPrivately(path));
        m_file = m_owned.get();
    }
    if (m_file == nullptr) {
        throw AdvisedError(
            errno, "cannot write the trace to " + path,
            "Give --trace a path in a folder that is there and that you may write to, or \"-\"");
    }
}

void Trace::write(Sender sender, const std::string& text) {
    const std::string line = timeOfDay() +
                             (sender == Sender::Host ? "  host -> terminal  " : "  terminal -> host  ") +
                             describeMessage(text, sender) + "\n";
    (void)std::fputs(line.c_str(), m_file);
    (void)std::fflush(m_file);
}

SimulatedTerminal::Options firstTerminal(const TerminalOptions& options) {
    return settingsOf(chosenScenario(options), chosenIds(options), 0);
}

Session::Session(const TerminalOptions& options, TestBed& testBed)
    : Session(
          options,
          [&testBed](std::size_t /*place*/, const SimulatedTerminal::Options& settings) {
              return std::make_unique<SimulatedTerminal>(testBed, settings);
          },
          testBed.rootDirectory() + "/pdasim.sock") {
}

Session::Session(const TerminalOptions& options, const MakeTerminal& makeTerminal,
                 const std::string& controlPath) {
    const UsbIds ids = chosenIds(options);
    const Scenario scenario = chosenScenario(options);
    if (!options.tracePath.empty()) {
        m_trace.emplace(options.tracePath);
    }
    for (unsigned place = 0; place < options.terminals; ++place) {
        addTerminal(scenario, options, idsOf(ids, place), makeTerminal);
    }
    std::vector<LiveTerminal> live;
    for (const auto& terminal : m_terminals) {
        terminal->replug();
        live.push_back({*terminal, scenario.user});
    }
    const std::string path = options.controlPath.empty() ? controlPath : options.controlPath;
    if (!path.empty()) {
        m_control = std::make_unique<ControlServer>(path, std::move(live), m_feed);
    }
}

void Session::addTerminal(const Scenario& scenario, const TerminalOptions& options, const UsbIds& ids,
                          const MakeTerminal& makeTerminal) {
    const std::size_t place = m_terminals.size();
    SimulatedTerminal::Options settings = settingsOf(scenario, ids, place);
    const auto listener = options.hasUser ? std::make_shared<MessageListener>() : nullptr;
    settings.onTraffic = [this, place, listener](Sender sender, const std::string& text) {
        if (listener && sender == Sender::Host) {
            listener->receive(text);
        }
        if (m_trace) {
            m_trace->write(sender, text);
        }
        m_feed->tell(place + 1, sender, text);
    };
    auto terminal = makeTerminal(place, settings);
    terminal->changeState([&scenario, place](TerminalState& state) {
        state = scenario.state;
        state.identity.eimi = numbered(state.identity.eimi, place);
    });
    for (const Rule& rule : scenario.rules) {
        terminal->addFault(rule.type, rule.fault);
    }
    if (!options.withoutMagic) {
        for (const Rule& rule : magicRules()) {
            terminal->addFault(rule.type, rule.fault);
        }
    }
    if (options.hasUser) {
        m_users.push_back(std::make_unique<ActingUser>(*terminal, scenario.user, listener));
    }
    m_ids.push_back(ids);
    m_terminals.push_back(std::move(terminal));
}

std::vector<std::string> Session::summary() const {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < m_terminals.size(); ++i) {
        lines.push_back("terminal " + std::to_string(i + 1) + " at " + m_terminals[i]->nodePath() +
                        ", USB id " + m_ids[i].vendor + ":" + m_ids[i].product);
    }
    return lines;
}

std::vector<std::string> Session::violations() const {
    std::vector<std::string> all;
    for (const auto& terminal : m_terminals) {
        for (const std::string& violation : terminal->violations()) {
            all.push_back(violation);
        }
    }
    return all;
}

int serveUntilSignalled(const Session& session, const std::string& ready, const HeldSignals& signals) {
    for (const std::string& line : session.summary()) {
        std::cout << "# " << line << "\n";
    }
    if (!(std::cout << "# ready: " << ready << std::endl)) {
        // Nobody would ever know. main() tells why.
        return 0;
    }
    waitForEndSignal(signals);
    const std::vector<std::string> violations = session.violations();
    reportViolations(violations);
    return violations.empty() ? 0 : static_cast<int>(ProtocolViolated);
}

} // namespace pdasim
