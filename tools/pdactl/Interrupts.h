#pragma once

#include <csignal>

namespace pdactl {

/** Lets SIGINT and SIGTERM end a loop instead of the program, as long as the object lives. */
class Interrupts {
public:
    Interrupts();
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;
    ~Interrupts();

    /** True when one has come. */
    bool came() const;

private:
    struct sigaction m_previousInterrupt {};
    struct sigaction m_previousTermination {};
};

} // namespace pdactl
