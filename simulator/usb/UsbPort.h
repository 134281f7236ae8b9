#pragma once

#include "TerminalPort.h"
#include "usb/HostSide.h"

#include <cstddef>

namespace pdasim {

/// A terminal whose USB device a loop of this process serves; how hosts come to it is its kinds' business.
class UsbPort : public TerminalPort {
public:
    void setOwner(NodeOwner& owner) final { m_host.setOwner(owner); }

    HostSide& host() { return m_host; }

protected:
    UsbPort(ServingLoop& loop, std::size_t reportSize, std::size_t packetSize, HostSide::Openings openings)
        : TerminalPort(loop), m_host(loop, reportSize, packetSize, openings) {}

    const HostSide& host() const { return m_host; }

private:
    HostSide m_host;
};

} // namespace pdasim
