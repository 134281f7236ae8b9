#pragma once

#include <atomic>

namespace pdalink {

/// The wait for a reply goes on until the reply is as long as its length field says. False unless the
/// configuration file, when it was read last, said "REPLY=whole".
extern std::atomic<bool> waitForWholeReply;

} // namespace pdalink
