#pragma once

#include "util/cgetconfigval.h"

#include <atomic>

namespace pdalink {

/// The wait for a reply goes on until the reply is as long as its length field says. False unless the
/// configuration file, when it was read last, said "REPLY=whole".
extern std::atomic<bool> waitForWholeReply;

/// What the configuration file states.
struct Settings {
    CParamConfig ids{};
    bool waitForWholeReply = false;
};

/// Fills `settings` from the file: the ids as CGetConfigVal::GetprofileConfig does; the last line named REPLY
/// decides whether the whole reply is waited for. Returns true if the file could be opened.
bool readSettings(const char* path, Settings& settings);

} // namespace pdalink
