#pragma once

#include "DeviceDescription.h"
#include "node/PreloadLink.h"

#include <optional>

namespace pdasim {

/**
 * Answers one ioctl: those that ask a hidraw node about its device here, all others by the client itself.
 * Without a description the device is gone.
 */
void serveIoctl(PreloadLink& link, const PreloadLink::Request& request,
                const std::optional<DeviceDescription>& description);

} // namespace pdasim
