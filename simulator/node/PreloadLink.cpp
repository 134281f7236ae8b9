#include "node/PreloadLink.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace pdasim {

namespace {

constexpr std::uintptr_t kDone = 3;
constexpr std::uintptr_t kReadMemory = 5;
constexpr std::uintptr_t kWriteMemory = 6;
/// As a result it means that nobody emulates this request.
constexpr std::intptr_t kUnhandled = -100;

using Words = std::array<std::uintptr_t, 3>;

std::string_view asBytes(const Words& words) {
    return {reinterpret_cast<const char*>(words.data()), sizeof(words)};
}

/// False when the connection ended before all of it came.
bool receiveWhole(int descriptor, char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t got = ::recv(descriptor, data, size, MSG_WAITALL);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        data += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

} // namespace

std::optional<PreloadLink::Request> PreloadLink::receive() {
    Words words{};
    if (!receiveWhole(descriptor(), reinterpret_cast<char*>(words.data()), sizeof(words))) {
        return std::nullopt;
    }
    return Request{static_cast<Operation>(words[0]), words[1], words[2]};
}

std::optional<std::string> PreloadLink::fetchMemory(std::uintptr_t address, std::size_t size) {
    std::string bytes(size, '\0');
    sendWhole(asBytes({kReadMemory, address, size}));
    if (!receiveWhole(descriptor(), bytes.data(), size)) {
        return std::nullopt;
    }
    return bytes;
}

void PreloadLink::finish(std::intptr_t result, int error) {
    sendWhole(asBytes({kDone, static_cast<std::uintptr_t>(result), static_cast<std::uintptr_t>(error)}));
}

void PreloadLink::finishWithMemory(std::uintptr_t address, std::string_view bytes, std::intptr_t result) {
    const Words memory = {kWriteMemory, address, bytes.size()};
    const Words done = {kDone, static_cast<std::uintptr_t>(result), 0};
    // In one piece: the client takes it apart without being woken in between.
    sendWhole(std::string(asBytes(memory)).append(bytes).append(asBytes(done)));
}

void PreloadLink::leaveToClient() {
    finish(kUnhandled, 0);
}

void PreloadLink::sendWhole(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent < 0) {
            // The client died; the next receive() says so.
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

} // namespace pdasim
