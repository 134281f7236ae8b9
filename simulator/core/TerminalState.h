#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace pdasim {

/// The result codes that the simulated terminal uses.
namespace code {
constexpr const char* Accepted = "000000";
constexpr const char* UnknownCommand = "000001";
constexpr const char* NoKey = "000002";
constexpr const char* UnknownFile = "000003";
constexpr const char* UnknownPacket = "000004";
constexpr const char* NoTeller = "000005";
constexpr const char* UnknownLock = "000006";
} // namespace code

/// What the terminal says about itself. The values are sent as they are, whatever bytes they hold.
struct Identity {
    std::string eimi = "860123456789012";
    std::string bleVersion = "BLE-1.4.2";
    std::string pdaVersion = "PDA-2.0.7";
    std::string vendor = "SIMULATED";
    std::string returnCode = code::Accepted;
};

/// What a user leaves behind to confirm something.
struct Confirmation {
    std::string login;
    std::string name;
    std::string fingerprint;
    std::string random;
    std::string password;
    std::string checkValue;
};

struct Key {
    std::string value;
    std::string checkValue;
};

/// The keys that the host has installed on the terminal.
struct Keys {
    std::optional<Key> master;
    std::optional<Key> encryption;
    std::optional<Key> mac;
};

/// Three texts that belong together.
struct LockKey {
    std::string fv;
    std::string ev;
    std::string cv;
};

/// A lock that the terminal sees.
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
};

/// One lock's part of the last batch of operations, with what came of it.
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

/// A file that the host sends, as far as its packets have come.
struct SentFile {
    std::string info;
    std::int32_t totalPackets = 0;
    /// The packets' text by number.
    std::map<std::int32_t, std::string> packets;

    bool isComplete() const { return packets.size() == static_cast<std::size_t>(totalPackets); }
    /// All packets so far in one.
    std::string text() const {
        std::string all;
        for (const auto& packet : packets) {
            all.append(packet.second);
        }
        return all;
    }
};

/// What the terminal holds by command number: text of hexadecimal digits.
struct Files {
    std::map<std::int32_t, SentFile> sent;
    std::map<std::int32_t, std::string> offered;
};

struct WrittenLabel {
    std::string label;
    std::string organisation;
    std::string bagType;
    /// The tag that the terminal wrote it on.
    std::string tagId;
};

/// Begins empty with every accepted start command; what was scanned stays when the run is stopped.
struct ScanRun {
    bool running = false;
    std::vector<std::string> labels;
};

struct InventoryTask {
    std::string taskId;
    std::string total;
    std::string labels;
};

struct InventoryResult {
    std::string taskId;
    std::vector<std::string> labels;
    std::vector<std::string> errorLabels;
    std::string offline = "0";
    Confirmation confirmation;
    std::string state = "0";
};

/// A new task takes the place of the last one and of its result.
struct Inventory {
    InventoryTask task;
    InventoryResult result;
};

/// What the parties A, B and C have confirmed; "0" is the state of a handover still under way.
struct HandoverResult {
    std::string time;
    std::vector<std::string> labels;
    std::vector<std::string> errorLabels;
    std::array<Confirmation, 3> parties;
    std::string state = "0";
};

struct HandoverTask {
    /// Of a dot handover, in the encoding in which the host sent it.
    std::string road;
    /// Of a power handover.
    std::string batch;
    std::string labels;
};

struct Handover {
    HandoverTask task;
    HandoverResult result;
};
/// By task id.
using Handovers = std::map<std::string, Handover>;

struct Tellers {
    /// The number that a user has registered on the terminal; empty when nobody has.
    std::string registered;
    std::vector<std::string> authenticationResults;
    std::vector<std::string> escorts;
};

/// Everything that the terminal remembers from one message to the next.
struct TerminalState {
    Identity identity;
    /// The number to work under and the factory code, as the last initialisation gave them.
    std::string assignedNumber;
    std::string factory;

    std::vector<WrittenLabel> writtenLabels;
    ScanRun scan;
    Inventory inventory;
    Handovers dotHandovers;
    Handovers powerHandovers;

    Keys keys;
    Files files;
    Tellers tellers;

    std::string bleMac;
    std::vector<Lock> locks;
    std::vector<LockOperation> lockOperations;

    /// The number under which the terminal's own messages go out.
    const std::string& number() const { return assignedNumber.empty() ? identity.eimi : assignedNumber; }
};

} // namespace pdasim
