#pragma once

#include "Device.h"

#include "core/Texts.h"
#include "tests/analysis/received/HandlerTable.h"
#include "tests/analysis/transactions/Row.h"

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

/// The library did something else than the protocol says.
class Mismatch : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

template <typename Value>
void expectEqual(const std::string& what, const Value& actual, const Value& expected) {
    if (actual != expected) {
        if constexpr (std::is_convertible_v<Value, std::string>) {
            throw Mismatch(what + " is " + pdasim::quoted(actual) + " instead of " +
                           pdasim::quoted(expected));
        } else {
            throw Mismatch(what + " is " + std::to_string(actual) + " instead of " +
                           std::to_string(expected));
        }
    }
}

/// What a call must leave behind.
struct Answer {
    int result;
    std::vector<std::string> outputs; ///< as Arguments::written() has them
};

/// What the library must do, told from the protocol, for what has happened on the node: it follows a call
/// after its end, event by event, to the millisecond, and knows what the call must have answered. What
/// happened on the node is right by definition; what the library wrote there is checked.
class Model {
public:
    /// Without knowing of it, the model expects no wait to be cut short by a message that nobody took.
    Model(Device& device, bool knowsShortening) : m_device(device), m_knowsShortening(knowsShortening) {}

    /// A call begins now, with the fault of its step; what is expected of it is asked for when it has ended.
    void begin(const Step& step);

    Answer exchange(const Row& row, const std::vector<Value>& inputs, const std::string& groups);
    Answer sendFile(const Row& row, const std::vector<Value>& inputs);
    Answer fetchFile(const Row& row, const std::vector<Value>& inputs);
    int handle(const Handler& handler, const std::string& text);
    /// CHIDDevice::getBuffer.
    std::string take();
    void openIfClosed();

    /// No wait, and nothing on the node, was other than told.
    void checkEnd() const;
    /// Time has gone by since, and with it what was on its way.
    void passToNow();
    /// The process-wide state is that of the model.
    void checkState();

    bool isRunning() const { return m_isRunning; }
    void stop() { m_isRunning = false; }
    bool isFlagUp() const { return m_isFlagUp; }
    /// The call has come to where there is no memory. What needs some ends then, as an internal failure.
    bool isOutOfMemory() const { return m_writesLeft == 0; }
    std::vector<std::string>& store(const QString* kept);

private:
    bool send(const std::string& type, const std::string& body, bool isBytes = false);
    std::string message(const std::string& type, const std::string& body, bool isBytes);
    void passUntil(Time time);
    void apply(const Event& event);
    void keep(const Row& row, const ReplyFields& reply);
    int notSent(int noMemory);

    Device& m_device;
    const bool m_knowsShortening;
    Time m_time{0};
    Time m_readFailedUntil{0};
    bool m_isRunning = false;
    bool m_mayRun = false; ///< opening and a failed write have met: whichever came last counts
    bool m_isFlagUp = false;
    bool m_isDropping = false; ///< the receiver has no memory
    int m_writesLeft = -1;     ///< before all memory is gone; negative: it stays
    std::string m_buffer;
    char m_taskFlag = 0;
    int m_sequence = 0;
    std::map<const bool*, bool> m_states;
    std::map<const QString*, std::vector<std::string>> m_stores;
    std::vector<const QString*> m_changedStores;
};

/// The value of a tag whose end lies within the first bytes; empty when there is none.
std::string valueIn(const std::string& text, const std::string& tag, std::size_t limit = std::string::npos);
