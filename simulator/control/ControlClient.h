#pragma once

#include "node/FileDescriptor.h"
#include "scenario/Json.h"

#include <optional>
#include <string>

namespace pdasim {

/** The other end of a control socket. */
class ControlClient {
public:
    /** Throws std::system_error when nobody listens at the path. */
    explicit ControlClient(const std::string& path);

    void send(const Json& request);
    /** The next line; nothing once the other side has gone. */
    std::optional<std::string> readLine();

private:
    FileDescriptor m_socket;
    std::string m_input;
};

} // namespace pdasim
