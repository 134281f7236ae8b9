#pragma once

#include <string>

namespace pdasim {

/** The result codes that the simulated terminal uses. */
namespace code {
constexpr const char* Accepted = "000000";
constexpr const char* UnknownCommand = "000001";
constexpr const char* NoKey = "000002";
constexpr const char* UnknownFile = "000003";
constexpr const char* UnknownPacket = "000004";
constexpr const char* NoTeller = "000005";
constexpr const char* UnknownLock = "000006";
} // namespace code

/** What the terminal says about itself. The values are sent as they are, whatever bytes they hold. */
struct Identity {
    std::string eimi = "860123456789012";
    std::string bleVersion = "BLE-1.4.2";
    std::string pdaVersion = "PDA-2.0.7";
    std::string vendor = "SIMULATED";
    std::string returnCode = code::Accepted;
};

/** What a user leaves behind to confirm something. */
struct Confirmation {
    std::string login;
    std::string name;
    std::string fingerprint;
    std::string random;
    std::string password;
    std::string checkValue;
};

} // namespace pdasim
