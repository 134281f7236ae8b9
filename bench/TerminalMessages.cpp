#include "TerminalMessages.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace pdalink::bench {

namespace {

constexpr std::size_t kLengthWidth = 6;
constexpr std::size_t kTypeWidth = 4;
constexpr std::string_view kHeaderAfterType = "QEV   000000000000000000000000        05";
constexpr std::string_view kInformationType = "8001";
constexpr std::string_view kFileType = "8015";

std::string withLength(const std::string& rest) {
    std::array<char, 16> length{};
    (void)std::snprintf(length.data(), length.size(), "%06zu", rest.size() + kLengthWidth);
    return length.data() + rest;
}

std::string timeTag() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    (void)::localtime_r(&now, &local);
    std::array<char, 48> tag{};
    (void)std::strftime(tag.data(), tag.size(), "<Ex_TrTime>%Y%m%d%H%M%S</Ex_TrTime>", &local);
    return tag.data();
}

std::string message(std::string_view type, int sequence, const std::string& body) {
    std::array<char, 48> tag{};
    (void)std::snprintf(tag.data(), tag.size(), "<Ex_SeqNo>%04d</Ex_SeqNo>", sequence);
    return withLength(std::string(type).append(kHeaderAfterType) + timeTag() + tag.data() + body);
}

} // namespace

std::string informationRequest(int sequence) {
    return message(kInformationType, sequence, "");
}

std::string filePacket(int sequence, int packets, int index) {
    // The CRC of zeros is zero.
    return message(kFileType, sequence,
                   "<Ex_PdaSn>1</Ex_PdaSn><Ex_CmdEx>1</Ex_CmdEx><Ex_InfoEx></Ex_InfoEx><Ex_TotalPkt>" +
                       std::to_string(packets) + "</Ex_TotalPkt><Ex_CurPkt>" + std::to_string(index) +
                       "</Ex_CurPkt><Ex_HexVal>" + std::string(kPacketLength, '0') +
                       "</Ex_HexVal><Ex_HexCheck>0000</Ex_HexCheck>");
}

std::string replyTo(std::string_view request) {
    const std::string_view type = request.substr(kLengthWidth, kTypeWidth);
    const std::string identity = type == kInformationType
                                     ? "<Ex_EIMI>860123456789012</Ex_EIMI><Ex_BleVer>BLE-1.4.2</Ex_BleVer>"
                                       "<Ex_PdaVer>PDA-2.0.7</Ex_PdaVer>"
                                     : "";
    return message(type, 1, identity + "<Ex_RetCode>000000</Ex_RetCode>");
}

std::size_t announcedLength(std::string_view message) {
    if (message.size() < kLengthWidth) {
        return 0;
    }
    return std::strtoul(std::string(message.substr(0, kLengthWidth)).c_str(), nullptr, 10);
}

} // namespace pdalink::bench
