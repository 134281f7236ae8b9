#pragma once

namespace pdalink::bench {

/// Makes sure that the program runs on a private copy of the library, with an ini and a log of its own.
///
/// To be called first in main(): the program is executed once more for it, and only that run returns from
/// here.
void ensurePrivateRun(char** arguments);

/// Sends what the library prints into the void, where it costs the same on every machine, as long as the
/// object lives: standard output, and Qt's messages, which are formatted and written as Qt does it.
class QuietOutput {
public:
    QuietOutput();
    QuietOutput(const QuietOutput&) = delete;
    QuietOutput& operator=(const QuietOutput&) = delete;
    ~QuietOutput();

private:
    int m_output;
};

} // namespace pdalink::bench
