#pragma once

#include "Steps.h"
#include "VirtualNode.h"

#include "core/Terminal.h"

#include <deque>
#include <string>
#include <string_view>

using pdalink::test::virtual_time::Time;

/// Something that happened on the node, in the order of time.
struct Event {
    enum Kind {
        Opened,
        Wrote,
        Arrived, ///< a report, or a read's error
    };
    Kind kind;
    Time at;
    std::string bytes;
    long result = 0; ///< negative: an errno
};

/// The simulated terminal behind the virtual node, which does what steps say.
class Device {
public:
    Device();

    /// What the step's fault is from now on; without it everything goes well.
    void take(const Step& step);

    /// Sends a message that the terminal starts, that much later. A fault of answers is one of it too.
    void announce(pdasim::Announcement announcement, Time delay);

    /// As soon as what it has sent is read.
    void unplug();

    /// Nothing is on its way to the host, and nothing is going to happen to the device by itself.
    bool isQuiet() const { return m_pending == 0; }

    pdasim::Terminal& terminal() { return m_terminal; }
    std::deque<Event>& events() { return m_events; }
    /// Over everything that happened on the node so far.
    std::uint64_t hash() const { return m_hash; }
    void addToHash(std::string_view text);
    void addToHash(std::int64_t number) {
        addToHash({reinterpret_cast<const char*>(&number), sizeof number});
    }
    std::uint64_t exchanges() const { return m_terminal.received().size(); }

private:
    void begin();
    pdalink::test::NodeWrite written(std::string_view bytes);
    void send(const std::string& text, Time at);
    /// Where that is the fault.
    void failRead(Time before);
    void later(Time at, std::function<void()> action);
    void deliver(const pdalink::test::NodeInput& input);

    pdasim::Terminal m_terminal;
    Step m_step;
    int m_written = 0; ///< messages since it was taken
    std::string m_lastWritten;
    std::deque<Event> m_events;
    int m_pending = 0;
    unsigned int m_errors = 0;
    std::uint64_t m_hash = 14695981039346656037U;
};
