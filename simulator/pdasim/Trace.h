#pragma once

#include "SimulatedTerminal.h"

#include <cstdio>
#include <memory>
#include <string>

namespace pdasim {

/// Writes every message in either direction as a line with the time of day, as it happens.
class Trace {
public:
    /// "-" stands for standard error. Throws std::system_error when the file cannot be written.
    explicit Trace(const std::string& path);

    void write(SimulatedTerminal::Direction direction, const std::string& text);

private:
    struct Close {
        void operator()(std::FILE* file) const { (void)std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Close> m_owned;
    std::FILE* m_file;
};

} // namespace pdasim
