#pragma once

#include "VirtualTime.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <vector>

namespace pdalink::test {

/// What one read of the node brings: bytes, an error or, without either, an end of file.
struct NodeInput {
    std::string bytes;
    int error = 0;
};

/// How a write to the node ends: with an error, or with a number of bytes that were taken; all where none is
/// given.
struct NodeWrite {
    int error = 0;
    std::optional<std::size_t> accepted{};
};

/// The terminal's device node, and how udev tells of it, in virtual time: what is behind the replaced calls
/// open, read, write, poll and close of it, and behind those of libudev. There is one, reached by node().
class VirtualNode {
public:
    // The device's end, to be changed at any time.

    /// What the next openings meet: how long they take, and the error with which they fail; 0 for none.
    virtual_time::Time openingTime{0};
    int openingError = 0;
    /// Called with the bytes of each write that the kernel lets through.
    std::function<NodeWrite(std::string_view bytes)> onWrite;
    /// Called after each of the node's calls, with its result or, negative, its error.
    std::function<void(const char* call, long result)> onCall;

    void plug() { m_isPlugged = true; }
    /// Who has it open meets errors from now on. What was not read is lost.
    void unplug();
    /// Has a read meet this. False when it is lost, because nobody has the node open.
    bool deliver(NodeInput input);

    bool isPlugged() const { return m_isPlugged; }
    /// It was unplugged since it was opened.
    bool isHungUp() const { return m_isHungUp; }
    bool isOpen() const { return m_descriptor >= 0; }
    /// Something was delivered that nobody has read yet.
    bool hasUnread() const { return !m_inputs.empty(); }

    // The host's end, for the replaced calls.

    static constexpr const char* kPath = "/dev/hidraw1";
    static constexpr const char* kVendor = "1fc9";
    static constexpr const char* kProduct = "0081";
    /// The configuration by which the library finds it.
    static std::string ini() { return std::string("VID=") + kVendor + "\nPID=" + kProduct + "\n"; }

    bool isDescriptor(int descriptor) const { return m_descriptor >= 0 && descriptor == m_descriptor; }
    int open();
    long read(char* buffer, std::size_t size);
    long write(std::string_view bytes);
    int poll(pollfd& file, int timeout);
    int close();

private:
    long ended(const char* call, long result);

    bool m_isPlugged = true;
    bool m_isHungUp = false;
    int m_descriptor = -1;
    std::deque<NodeInput> m_inputs;
};

VirtualNode& node();

/// The file in whose directory the library looks for its configuration, and makes its log.
void setLibraryFile(std::string path);

} // namespace pdalink::test
