#pragma once

#include <string>
#include <thread>

namespace pdalink::bench {

/// A device node behind which a terminal answers at once: the two ends of a pseudo-terminal that passes all
/// bytes on as they are.
class PseudoTerminal {
public:
    PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;
    ~PseudoTerminal();

    const std::string& path() const { return m_path; }

    /// Takes the terminal away from whoever has the node open.
    void hangUp();

private:
    void answerUntilStopped() const;

    int m_master;
    int m_stop;
    int m_slave = -1;
    std::string m_path;
    std::thread m_answering;
};

} // namespace pdalink::bench
