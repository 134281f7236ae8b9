#pragma once

#include "gadget/Gadget.h"
#include "node/FileDescriptor.h"
#include "usb/HostSide.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace pdasim {

/// A terminal that is a board's USB device controller.
class GadgetPort : public UsbPort {
public:
    /// What the terminal is to be set up as; or the node of one that somebody else has set up.
    struct Place {
        DeviceDescription device;
        std::string controller;
        std::string node;
    };

    GadgetPort(ServingLoop& loop, Place place, std::size_t reportSize);

    void plug() override;
    void unplug() override;
    void send(const std::vector<std::string>& reports) override;
    std::string place() const override;
    /// A device is not told how many programs of its host use it.
    std::size_t openFiles() const override { return m_channel == nullptr ? 0 : 1; }

private:
    class NodeChannel;

    void setUp();
    void nodeEnded();

    Place m_place;
    std::optional<Gadget> m_gadget;
    std::shared_ptr<NodeChannel> m_channel;
};

} // namespace pdasim
