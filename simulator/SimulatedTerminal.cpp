#include "SimulatedTerminal.h"

#include "core/Terminal.h"
#include "node/NodePort.h"

#include <array>
#include <condition_variable>
#include <ctime>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace pdasim {

namespace {

std::string localTime() {
    const std::time_t now = std::time(nullptr);
    std::tm fields{};
    (void)::localtime_r(&now, &fields);
    std::array<char, 32> text{};
    (void)std::strftime(text.data(), text.size(), "%Y%m%d%H%M%S", &fields);
    return text.data();
}

} // namespace

/** Joins the terminal's core to its port: carries out what the core wants done, when it wants it done. */
class SimulatedTerminal::Implementation : public NodeOwner {
public:
    Implementation(std::unique_ptr<TerminalPort> port, Options options)
        : m_port(std::move(port)), m_options(std::move(options)) {
        const std::lock_guard lock(mutex());
        m_core.state().identity = m_options.identity;
        m_port->setOwner(*this);
        if (m_options.plugged) {
            m_port->plug();
        }
    }

    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

    ~Implementation() override {
        const std::lock_guard lock(mutex());
        m_port->cancel();
        m_port->unplug();
    }

    std::mutex& mutex() const { return m_port->mutex(); }
    /** The lock, once every opening and closing that a client has finished by now is known here. */
    std::unique_lock<std::mutex> settledLock() const {
        m_port->settle();
        return std::unique_lock(mutex());
    }
    TerminalPort& port() const { return *m_port; }
    /** What no other port can do. */
    NodePort& node() const {
        auto* node = dynamic_cast<NodePort*>(m_port.get());
        if (node == nullptr) {
            throw std::logic_error("only a terminal in a test bed can do that");
        }
        return *node;
    }
    Terminal& core() { return m_core; }

    void hostOpened() override { m_core.allowSequenceGap(); }

    WriteResult hostWrote(std::string_view bytes) override {
        tell(Direction::FromHost, bytes);
        const WriteOutcome outcome = m_core.handleWrite(bytes, localTime());
        m_receivedCondition.notify_all();
        const auto now = TerminalPort::Clock::now();
        for (const TimedStep& timed : outcome.steps) {
            m_port->schedule(now + timed.after,
                             [this, life = m_life, step = timed.step] { perform(life, step); });
        }
        return {outcome.error, outcome.accepted};
    }

    void hostWriteFailed() override { m_core.allowSequenceGap(); }

    bool waitForMessages(std::size_t count, std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex());
        return m_receivedCondition.wait_for(lock, timeout,
                                            [this, count] { return m_core.received().size() >= count; });
    }

    void sendText(std::string_view text) {
        tell(Direction::ToHost, text);
        m_port->send(cutIntoReports(text, m_options.reportSize));
    }

    void unplug() {
        ++m_life;
        m_core.allowSequenceGap();
        m_port->unplug();
    }

    void replug() { m_port->plug(); }

private:
    /** What was to be sent in an earlier life of the device is lost with it. */
    void perform(int life, const Step& step) {
        if (const auto* text = std::get_if<SendText>(&step)) {
            if (life == m_life) {
                sendText(text->text);
            }
        } else if (std::holds_alternative<Unplug>(step)) {
            if (life == m_life) {
                unplug();
            }
        } else {
            replug();
        }
    }

    void tell(Direction direction, std::string_view text) const {
        if (m_options.onTraffic) {
            m_options.onTraffic(direction, std::string(text));
        }
    }

    std::unique_ptr<TerminalPort> m_port;
    Options m_options;
    Terminal m_core;
    int m_life = 0;
    std::condition_variable m_receivedCondition;
};

SimulatedTerminal::SimulatedTerminal() : SimulatedTerminal(Options()) {
}

SimulatedTerminal::SimulatedTerminal(Options options)
    : m_ownTestBed(std::make_unique<TestBed>()), m_testBed(m_ownTestBed.get()) {
    settleInTestBed(std::move(options));
}

SimulatedTerminal::SimulatedTerminal(TestBed& testBed) : SimulatedTerminal(testBed, Options()) {
}

SimulatedTerminal::SimulatedTerminal(TestBed& testBed, Options options) : m_testBed(&testBed) {
    settleInTestBed(std::move(options));
}

SimulatedTerminal::SimulatedTerminal(std::unique_ptr<TerminalPort> port, Options options)
    : m_implementation(std::make_unique<Implementation>(std::move(port), std::move(options))) {
}

void SimulatedTerminal::settleInTestBed(Options options) {
    auto port = std::make_unique<NodePort>(*m_testBed->m_bus, options.device);
    m_implementation = std::make_unique<Implementation>(std::move(port), std::move(options));
}

SimulatedTerminal::~SimulatedTerminal() = default;

TestBed& SimulatedTerminal::testBed() {
    return *m_testBed;
}

void SimulatedTerminal::setIdentity(const Identity& identity) {
    const std::lock_guard lock(m_implementation->mutex());
    m_implementation->core().state().identity = identity;
}

Identity SimulatedTerminal::identity() const {
    return state().identity;
}

TerminalState SimulatedTerminal::state() const {
    const std::lock_guard lock(m_implementation->mutex());
    return m_implementation->core().state();
}

void SimulatedTerminal::changeState(const std::function<void(TerminalState&)>& change) {
    const std::lock_guard lock(m_implementation->mutex());
    change(m_implementation->core().state());
}

void SimulatedTerminal::addFault(std::string_view type, const Fault& fault) {
    const std::lock_guard lock(m_implementation->mutex());
    m_implementation->core().addFault(type, fault);
}

void SimulatedTerminal::clearFaults() {
    const std::lock_guard lock(m_implementation->mutex());
    m_implementation->core().clearFaults();
}

std::vector<std::string> SimulatedTerminal::received() const {
    const std::lock_guard lock(m_implementation->mutex());
    return m_implementation->core().received();
}

std::vector<ParsedMessage> SimulatedTerminal::messages() const {
    const std::lock_guard lock(m_implementation->mutex());
    return m_implementation->core().messages();
}

bool SimulatedTerminal::waitForMessages(std::size_t count, std::chrono::milliseconds timeout) const {
    return m_implementation->waitForMessages(count, timeout);
}

std::vector<std::string> SimulatedTerminal::violations() const {
    const std::lock_guard lock(m_implementation->mutex());
    return m_implementation->core().violations();
}

std::vector<std::string> SimulatedTerminal::takeViolations() {
    const std::lock_guard lock(m_implementation->mutex());
    return m_implementation->core().takeViolations();
}

std::string SimulatedTerminal::announce(const Announcement& announcement) {
    const auto lock = m_implementation->settledLock();
    std::string text = m_implementation->core().announce(announcement, localTime());
    m_implementation->sendText(text);
    return text;
}

std::vector<Acknowledgement> SimulatedTerminal::acknowledgements() const {
    const std::lock_guard lock(m_implementation->mutex());
    return m_implementation->core().acknowledgements();
}

void SimulatedTerminal::sendText(std::string_view text) {
    const auto lock = m_implementation->settledLock();
    m_implementation->sendText(text);
}

void SimulatedTerminal::sendReport(std::string_view bytes) {
    const auto lock = m_implementation->settledLock();
    m_implementation->port().send({std::string(bytes)});
}

std::size_t SimulatedTerminal::lostReports() const {
    const std::lock_guard lock(m_implementation->mutex());
    return m_implementation->node().lostReports();
}

void SimulatedTerminal::unplug() {
    const auto lock = m_implementation->settledLock();
    m_implementation->unplug();
}

void SimulatedTerminal::replug() {
    const auto lock = m_implementation->settledLock();
    m_implementation->replug();
}

void SimulatedTerminal::refuseOpening(bool refuse) {
    const std::lock_guard lock(m_implementation->mutex());
    m_implementation->node().refuseOpening(refuse);
}

std::string SimulatedTerminal::nodePath() const {
    const std::lock_guard lock(m_implementation->mutex());
    return m_implementation->port().place();
}

int SimulatedTerminal::openDescriptors() const {
    const auto lock = m_implementation->settledLock();
    return static_cast<int>(m_implementation->port().openFiles());
}

} // namespace pdasim
