#pragma once

#include "node/FileDescriptor.h"
#include "scenario/Json.h"

#include <optional>
#include <string>

namespace pdasim {

/// Listens at the path, which must not be taken by a running server; only this user can connect.
FileDescriptor listenAtControl(const std::string& path);

/// The other end of a control socket.
class ControlClient {
public:
    /// Throws std::system_error when nobody listens at the path.
    explicit ControlClient(const std::string& path);

    void send(const Document& request);
    /// The next line; nothing once the other side has gone.
    std::optional<std::string> readLine();

private:
    FileDescriptor m_socket;
    std::string m_input;
};

} // namespace pdasim
