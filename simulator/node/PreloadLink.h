#pragma once

#include "node/FileDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pdasim {

/// The conversation with umockdev's preloaded library inside a client, over one connection per open file.
///
/// The preloaded library hands every read, write and ioctl on the node over to the listener at
/// ioctl/dev/NAME in the test bed: three machine words a request and an answer, and between them the client's
/// memory on demand. Answering here, without umockdev's own server object, halves the cost of a read, keeps a
/// queue for each open file as the kernel does, and can go on answering clients that outlive the test bed
/// (they would be aborted if their connection just closed).
class PreloadLink {
public:
    enum class Operation : std::uintptr_t { Ioctl = 1, Read = 7, Write = 8 };

    struct Request {
        Operation operation{};
        /// Read and write: the address of the client's buffer. Ioctl: the request number.
        std::uintptr_t first = 0;
        /// Read and write: the count. Ioctl: the argument.
        std::uintptr_t second = 0;
    };

    explicit PreloadLink(FileDescriptor connection) : m_connection(std::move(connection)) {}

    int descriptor() const { return m_connection.get(); }

    /// The client's next request; nothing once the client has closed the file or died.
    std::optional<Request> receive();
    /// Fetches memory of the client; nothing when the client is gone.
    std::optional<std::string> fetchMemory(std::uintptr_t address, std::size_t size);
    /// Ends the request without touching the client's memory: a result, or -1 and an errno.
    void finish(std::intptr_t result, int error);
    /// Ends the request with bytes for the client's memory.
    void finishWithMemory(std::uintptr_t address, std::string_view bytes, std::intptr_t result);
    /// Lets the client carry the request out on the real file behind the node.
    void leaveToClient();

private:
    void sendWhole(std::string_view bytes);

    FileDescriptor m_connection;
};

} // namespace pdasim
