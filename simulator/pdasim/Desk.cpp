#include "pdasim/Desk.h"

#include "pdasim/SampleState.h"
#include "scenario/MagicValues.h"

#include <array>
#include <cstdio>
#include <utility>

namespace pdasim {

namespace {

constexpr unsigned LargestId = 0xFFFF;

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
    if (product > LargestId) {
        throw std::invalid_argument("--terminals: there are no product ids behind " + first.product +
                                    "; give a smaller --pid, or ask for fewer");
    }
    std::array<char, 16> digits{};
    (void)std::snprintf(digits.data(), digits.size(), "%04x", product);
    return {first.vendor, digits.data()};
}

/** No two terminals pass for one. */
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

SimulatedTerminal::Options firstTerminal(const TerminalOptions& options) {
    return settingsOf(chosenScenario(options), chosenIds(options), 0);
}

Desk::Desk(const TerminalOptions& options, TestBed& testBed)
    : Desk(
          options,
          [&testBed](std::size_t /*place*/, const SimulatedTerminal::Options& settings) {
              return std::make_unique<SimulatedTerminal>(testBed, settings);
          },
          testBed.rootDirectory() + "/pdasim.sock") {
}

Desk::Desk(const TerminalOptions& options, const MakeTerminal& makeTerminal, const std::string& controlPath) {
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

void Desk::addTerminal(const Scenario& scenario, const TerminalOptions& options, const UsbIds& ids,
                       const MakeTerminal& makeTerminal) {
    const std::size_t place = m_terminals.size();
    SimulatedTerminal::Options settings = settingsOf(scenario, ids, place);
    const auto ear = options.hasUser ? std::make_shared<Ear>() : nullptr;
    settings.onTraffic = [this, place, ear](SimulatedTerminal::Direction direction, const std::string& text) {
        if (ear && direction == SimulatedTerminal::Direction::FromHost) {
            ear->hear(text);
        }
        if (m_trace) {
            m_trace->write(direction, text);
        }
        m_feed.tell(place + 1, direction, text);
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
        m_users.push_back(std::make_unique<ActingUser>(*terminal, scenario.user, ear));
    }
    m_ids.push_back(ids);
    m_terminals.push_back(std::move(terminal));
}

std::vector<std::string> Desk::summary() const {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < m_terminals.size(); ++i) {
        lines.push_back("terminal " + std::to_string(i + 1) + " at " + m_terminals[i]->nodePath() +
                        ", USB id " + m_ids[i].vendor + ":" + m_ids[i].product);
    }
    return lines;
}

std::vector<std::string> Desk::violations() const {
    std::vector<std::string> all;
    for (const auto& terminal : m_terminals) {
        for (const std::string& violation : terminal->violations()) {
            all.push_back(violation);
        }
    }
    return all;
}

} // namespace pdasim
