#pragma once

#include "Export.h"

#include <QString>
#include <string>
#include <vector>

/// Text, time, waiting, checksum and hexadecimal helpers.
class PDALINK_EXPORT CUtil {
public:
    CUtil();
    ~CUtil();

    /// Takes the text between the first "<tag>" and the first "</tag>" of the NUL-terminated UTF-8 `text`.
    /// `tag` is the bare name. Returns true, with `value` possibly empty, when both are there, the closing
    /// one after the opening one and starting before byte `length`; otherwise false with `value` empty.
    /// Entities, attributes and nesting are not interpreted. Null texts count as not found.
    static bool GetXMLValue(QString& value, char* text, int length, char* tag);

    /// Appends `src` to `dst`.
    static void MergeStr(QString& dst, QString& src);
    /// Appends `src` to `dst`.
    static void MergeStr(std::string& dst, std::string& src);

    /// Appends to `parts` every non-empty piece of `text` that is followed by `separator`. What comes after
    /// the last separator is not a piece: a list ends with its separator. An empty separator separates
    /// nothing.
    static void plitStr(QString text, QString separator, std::vector<QString>& parts);

    /// Removes every "0x", carriage return and line feed.
    static void removeEndChar(QString& text);

    /// The local time as "yyyyMMddhhmmss", in ASCII digits whatever the locale.
    static QString getCurrentTimes();

    /// Waits `ms` milliseconds, never less. In a thread with an event dispatcher Qt processes pending events
    /// at least every 10 ms meanwhile. Setting the clock does not shorten or prolong it.
    static void Delay_MSec(unsigned int ms);

    /// The monotonic clock in milliseconds.
    static unsigned long long GetTickCount();

    /// CRC-16/XMODEM of `length` bytes; 0 for none and for a null pointer.
    static unsigned short CRC16(unsigned long length, unsigned char* data);

    /// Writes the `length` bytes as lower-case hexadecimal digits and a terminating NUL into `text`, which
    /// has room for 2 * length + 1 bytes. Writes nothing for a length below 1.
    static void hex_to_str(char* text, unsigned char* data, int length);

    /// Reads the hexadecimal digits of `text` in pairs, `length` characters of it, into `data`, which has
    /// room for (length + 1) / 2 bytes. An odd length takes one character more, which is no digit when the
    /// text ends there. Stops at the first pair that is not two digits. Returns the number of bytes written.
    static int str_to_hex(const char* text, unsigned char* data, int length);
};
