#pragma once

#include <string>

namespace pdasim {

/** Three texts that belong together. */
struct LockKey {
    std::string fv;
    std::string ev;
    std::string cv;
};

/** A lock that the terminal sees. */
struct Lock {
    std::string id;
    std::string label;
    std::string status = "0";
    std::string rssi = "-60";
    std::string version = "LOCK-1.0";
    std::string chipVersion = "HSC-1.0";
    std::string params = "00";
    std::string boot = "BOOT-1.0";
    std::string applicationCheck = "1234";
    std::string random = "0011223344556677";
    std::string publicKey;
    std::string factor;
    std::string battery = "80";
    LockKey cdkk;
    LockKey normalUnlock;
    LockKey urgentUnlock;
};

/** One lock's part of the last batch of operations, with what came of it. */
struct LockOperation {
    std::string lockId;
    std::string action;
    std::string oneTimeCode;
    std::string userA;
    std::string userB;
    std::string result;
    std::string random;
    std::string openTime;
    std::string battery;
};

} // namespace pdasim
