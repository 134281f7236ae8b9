#include "SimulatedTerminal.h"

#include "System.h"
#include "node/NodeBus.h"

#include <stdexcept>
#include <utility>

namespace pdasim {

SimulatedTerminal::SimulatedTerminal(Options options)
    : SimulatedTerminal(std::make_unique<TestBed>(), std::move(options)) {
}

SimulatedTerminal::SimulatedTerminal(std::unique_ptr<TestBed> testBed, Options options)
    : SimulatedTerminal(*testBed, std::move(options)) {
    m_ownTestBed = std::move(testBed);
}

SimulatedTerminal::SimulatedTerminal(TestBed& testBed, Options options)
    : m_testBed(&testBed),
      m_port(std::make_unique<NodePort>(*testBed.m_bus, options.device)),
      m_options(std::move(options)) {
    start();
}

SimulatedTerminal::SimulatedTerminal(std::unique_ptr<TerminalPort> port, Options options)
    : m_port(std::move(port)), m_options(std::move(options)) {
    start();
}

void SimulatedTerminal::start() {
    const Lock held = lock();
    m_core.state().identity = m_options.identity;
    m_port->setOwner(m_hostActions);
    if (m_options.plugged) {
        m_port->plug();
    }
}

SimulatedTerminal::~SimulatedTerminal() {
    const Lock held = lock();
    m_port->loop().cancel(this);
    m_port->unplug();
}

/// The lock, once every opening and closing that a client has finished by now is known here.
SimulatedTerminal::Lock SimulatedTerminal::settledLock() const {
    m_port->loop().settle();
    return lock();
}

/// What no other port can do.
NodePort& SimulatedTerminal::node() const {
    auto* node = dynamic_cast<NodePort*>(m_port.get());
    if (node == nullptr) {
        throw std::logic_error("only a terminal in a test bed can do that");
    }
    return *node;
}

bool SimulatedTerminal::waitForMessages(std::size_t count, std::chrono::milliseconds timeout) const {
    Lock held = lock();
    return m_receivedCondition.wait_for(held, timeout,
                                        [this, count] { return m_core.received().size() >= count; });
}

std::string SimulatedTerminal::announce(const Announcement& announcement) {
    const Lock held = settledLock();
    std::string text = m_core.announce(announcement, localStamp());
    sendLocked(text);
    return text;
}

void SimulatedTerminal::sendText(std::string_view text) {
    const Lock held = settledLock();
    sendLocked(text);
}

void SimulatedTerminal::sendReport(std::string_view bytes) {
    const Lock held = settledLock();
    m_port->send({std::string(bytes)});
}

std::size_t SimulatedTerminal::lostReports() const {
    const Lock held = lock();
    return node().lostReports();
}

void SimulatedTerminal::unplug() {
    const Lock held = settledLock();
    unplugLocked();
}

void SimulatedTerminal::replug() {
    const Lock held = settledLock();
    m_port->plug();
}

void SimulatedTerminal::refuseOpening(bool refuse) {
    const Lock held = lock();
    node().refuseOpening(refuse);
}

std::string SimulatedTerminal::nodePath() const {
    const Lock held = lock();
    return m_port->place();
}

int SimulatedTerminal::openDescriptors() const {
    const Lock held = settledLock();
    return static_cast<int>(m_port->openFiles());
}

NodeOwner::WriteResult SimulatedTerminal::takeMessage(std::string_view bytes) {
    tell(Sender::Host, bytes);
    const WriteOutcome outcome = m_core.handleWrite(bytes, localStamp());
    m_receivedCondition.notify_all();
    const auto now = ServingLoop::Clock::now();
    for (const TimedStep& timed : outcome.steps) {
        m_port->loop().schedule(this, now + timed.after,
                                [this, life = m_life, step = timed.step] { perform(life, step); });
    }
    return {outcome.error, outcome.accepted};
}

/// What was to be sent in an earlier life of the device is lost with it.
void SimulatedTerminal::perform(int life, const Step& step) {
    if (const auto* text = std::get_if<SendText>(&step)) {
        if (life == m_life) {
            sendLocked(text->text);
        }
    } else if (std::holds_alternative<Unplug>(step)) {
        if (life == m_life) {
            unplugLocked();
        }
    } else {
        m_port->plug();
    }
}

void SimulatedTerminal::sendLocked(std::string_view text) {
    tell(Sender::Terminal, text);
    m_port->send(cutIntoReports(text, m_options.reportSize));
}

void SimulatedTerminal::unplugLocked() {
    ++m_life;
    m_core.allowSequenceGap();
    m_port->unplug();
}

void SimulatedTerminal::tell(Sender sender, std::string_view text) const {
    if (m_options.onTraffic) {
        m_options.onTraffic(sender, std::string(text));
    }
}

} // namespace pdasim
