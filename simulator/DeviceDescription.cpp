#include "DeviceDescription.h"

namespace pdasim {

namespace {

constexpr std::size_t kMaxInOneByte = 0xFF;

/// The item that says how many bytes the next report has.
std::string reportCount(std::size_t bytes) {
    if (bytes <= kMaxInOneByte) {
        return {'\x95', static_cast<char>(bytes)};
    }
    return {'\x96', static_cast<char>(bytes & 0xFFU), static_cast<char>(bytes >> 8U)};
}

} // namespace

std::string reportDescriptor(std::size_t reportSize) {
    using namespace std::string_literals;
    // Usage page and usage of a vendor, a collection; fields of eight bits with values from 0 to 255.
    return "\x06\x00\xFF\x09\x01\xA1\x01\x15\x00\x26\xFF\x00\x75\x08"s + reportCount(reportSize) +
           "\x09\x01\x81\x02"s +                           // input
           reportCount(reportSize) + "\x09\x01\x91\x02"s + // output
           "\xC0";
}

} // namespace pdasim
