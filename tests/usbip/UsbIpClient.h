#pragma once

#include "node/FileDescriptor.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim::test {

/// A client of USB/IP that is written from the protocol's description, and shares nothing with the server.
class UsbIpClient {
public:
    struct Device {
        std::string busId;
        unsigned productId = 0;
    };
    /// A header of 48 bytes, and what belongs to it.
    struct Reply {
        unsigned command = 0;
        unsigned sequence = 0;
        int status = 0;
        unsigned actualLength = 0;
        std::string data;
    };

    /// Connects to a port of the loopback.
    explicit UsbIpClient(std::uint16_t port);
    /// Takes a stream on which a device is attached already.
    explicit UsbIpClient(FileDescriptor socket);

    std::vector<Device> list();
    /// Nothing when the server refuses.
    std::optional<Device> import(const std::string& busId);

    /// Each gives the transfer's number; the reply is to be fetched.
    unsigned submitIn(unsigned endpoint, std::size_t length, std::string_view setup = {});
    unsigned submitOut(unsigned endpoint, std::string_view data, std::string_view setup = {});
    unsigned unlink(unsigned victim);
    /// Waits for the next reply; nothing at the end of the stream.
    std::optional<Reply> reply();
    bool hasReply(std::chrono::milliseconds time = std::chrono::milliseconds(100)) const;

    /// A control transfer to its end.
    Reply controlIn(unsigned type, unsigned request, unsigned value, unsigned length, unsigned index = 0);
    Reply controlOut(unsigned type, unsigned request, unsigned value, std::string_view data = {});
    /// A message on the interrupt endpoint, and how its transfer ended.
    Reply write(std::string_view message);
    /// Reports until the text ends so, without the padding.
    std::string readText(std::string_view end = "</Ex_RetCode>");

    void send(std::string_view bytes) const;
    /// As many bytes; fewer at the end of the stream.
    std::string receive(std::size_t count) const;
    void close() { m_socket.reset(); }
    const FileDescriptor& socket() const { return m_socket; }

private:
    unsigned submit(bool isIn, unsigned endpoint, std::size_t length, std::string_view data,
                    std::string_view setup);
    Device receiveDevice() const;

    FileDescriptor m_socket;
    unsigned m_sequence = 0;
    /// The directions of the transfers under way, by their numbers.
    std::vector<bool> m_isIn = {false};
};

/// The number as N bytes, the most significant one first.
std::string bigEndian(std::uint64_t value, std::size_t size);

} // namespace pdasim::test
