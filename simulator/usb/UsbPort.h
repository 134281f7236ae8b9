#pragma once

#include "TerminalPort.h"
#include "usb/HostSide.h"
#include "usb/ServingLoop.h"

#include <cstddef>
#include <functional>
#include <mutex>
#include <utility>

namespace pdasim {

/** A terminal whose USB device a loop of this process serves; how hosts come to it is its kinds' business. */
class UsbPort : public TerminalPort {
public:
    std::mutex& mutex() final { return m_loop.mutex(); }
    void settle() final { m_loop.settle(); }
    void setOwner(NodeOwner& owner) final { m_host.setOwner(owner); }
    void schedule(Clock::time_point due, std::function<void()> action) final {
        m_loop.schedule(this, due, std::move(action));
    }
    void cancel() final { m_loop.cancel(this); }

    HostSide& host() { return m_host; }

protected:
    UsbPort(ServingLoop& loop, std::size_t reportSize, std::size_t packetSize, HostSide::Openings openings)
        : m_loop(loop), m_host(loop, reportSize, packetSize, openings) {}

    ServingLoop& loop() { return m_loop; }
    const HostSide& host() const { return m_host; }

private:
    ServingLoop& m_loop;
    HostSide m_host;
};

} // namespace pdasim
