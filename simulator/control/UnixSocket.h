#pragma once

#include "node/FileDescriptor.h"

#include <string>

namespace pdasim {

/** Listens at the path, which must not be taken by a living server; only this user can connect. */
FileDescriptor listenAt(const std::string& path);

/** Throws std::system_error when nobody listens there. */
FileDescriptor connectTo(const std::string& path);

} // namespace pdasim
