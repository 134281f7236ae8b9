#include "util/Util.h"

#include <array>

namespace {

struct CrcTables {
    std::array<unsigned char, 256> high{};
    std::array<unsigned char, 256> low{};
};

/// CRC-16/XMODEM: polynomial 0x1021, nothing reflected. Entry i is the register after i * 256 went through
/// it.
constexpr CrcTables makeCrcTables() {
    CrcTables tables;
    for (unsigned int i = 0; i < 256; ++i) {
        unsigned int crc = i << 8U;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x8000U) != 0 ? (crc << 1U) ^ 0x1021U : crc << 1U;
        }
        tables.high[i] = static_cast<unsigned char>((crc >> 8U) & 0xFFU);
        tables.low[i] = static_cast<unsigned char>(crc & 0xFFU);
    }
    return tables;
}

constexpr CrcTables kCrc = makeCrcTables();
static_assert(kCrc.high[1] == 0x10 && kCrc.low[1] == 0x21 && kCrc.high[255] == 0x1E && kCrc.low[255] == 0xF0);

/// The value of a hexadecimal digit, -1 for any other character.
int digitValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return digit >= 'a' && digit <= 'f' ? digit - 'a' + 10 : -1;
}

} // namespace

unsigned short CUtil::CRC16(unsigned long length, unsigned char* data) {
    unsigned int high = 0;
    unsigned int low = 0;
    for (unsigned long i = 0; data != nullptr && i < length; ++i) {
        const unsigned int index = data[i] ^ high;
        high = kCrc.high[index] ^ low;
        low = kCrc.low[index];
    }
    return static_cast<unsigned short>(high << 8U | low);
}

void CUtil::hex_to_str(char* text, unsigned char* data, int length) {
    constexpr char digits[] = "0123456789abcdef";
    if (text == nullptr || data == nullptr || length < 1) {
        return;
    }
    for (int i = 0; i < length; ++i) {
        *text++ = digits[data[i] >> 4U];
        *text++ = digits[data[i] & 0xFU];
    }
    *text = '\0';
}

int CUtil::str_to_hex(const char* text, unsigned char* data, int length) {
    if (text == nullptr || data == nullptr || length < 1) {
        return 0;
    }
    const int wanted = (length - 1) / 2 + 1;
    for (int i = 0; i < wanted; ++i) {
        const int high = digitValue(*text++);
        const int low = high >= 0 ? digitValue(*text++) : -1; // a NUL in the first place is the text's end
        if (low < 0) {
            return i;
        }
        data[i] = static_cast<unsigned char>(high << 4 | low);
    }
    return wanted;
}
