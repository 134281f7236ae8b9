#include "TerminalMessages.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace pdalink::bench {

namespace {

constexpr std::size_t LengthWidth = 6;
constexpr std::string_view Header = "8001QEV   000000000000000000000000        05";

std::string withLength(const std::string& rest) {
    std::array<char, 16> length{};
    (void)std::snprintf(length.data(), length.size(), "%06zu", rest.size() + LengthWidth);
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

} // namespace

std::string informationRequest(int sequence) {
    std::array<char, 48> tag{};
    (void)std::snprintf(tag.data(), tag.size(), "<Ex_SeqNo>%04d</Ex_SeqNo>", sequence);
    return withLength(std::string(Header) + timeTag() + tag.data());
}

std::string informationReply() {
    return withLength(std::string(Header) + timeTag() +
                      "<Ex_SeqNo>0001</Ex_SeqNo><Ex_EIMI>860123456789012</Ex_EIMI>"
                      "<Ex_BleVer>BLE-1.4.2</Ex_BleVer><Ex_PdaVer>PDA-2.0.7</Ex_PdaVer>"
                      "<Ex_RetCode>000000</Ex_RetCode>");
}

std::size_t announcedLength(std::string_view message) {
    if (message.size() < LengthWidth) {
        return 0;
    }
    return std::strtoul(std::string(message.substr(0, LengthWidth)).c_str(), nullptr, 10);
}

} // namespace pdalink::bench
