#pragma once

#include "Export.h"

#include <string>

/// The ids of the terminal as the configuration file states them, NUL-terminated.
struct CParamConfig {
    char Pid[16];
    char Vid[16];
};

/// Reads the two keys VID and PID from a text file of "name = value" lines. Other lines mean nothing to it.
class PDALINK_EXPORT CGetConfigVal {
public:
    CGetConfigVal();

    /// Fills `config` from the file: the last line named exactly VID or PID wins, a missing key leaves its
    /// field as it was. Returns true if the file could be opened.
    ///
    /// Calls abort(), after one line on standard error, when a line that contains "VID" or
    /// "PID" has 256 bytes or more before its "=" or 255 or more after it, or when a value has 16 bytes or
    /// more.
    bool GetprofileConfig(const char* path, CParamConfig* config);

    /// Splits `line` at its first "=" and squeezes the blanks of both halves. When the name equals `key`,
    /// copies the value to `value`, without a terminating NUL, and returns true; `value` must have room for
    /// it (never more than the line). Otherwise returns false and leaves `value` alone.
    bool CompareAndGetVal(std::string line, const char* key, char* value);

    /// Drops leading and trailing blanks of `text` and makes every inner run of blanks one blank, in place.
    /// Only the blank itself counts, not tabs or line ends. A null pointer is left alone.
    void eraseSpace(char* text);
};
