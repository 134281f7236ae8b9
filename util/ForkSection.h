#pragma once

namespace pdalink {

/// Held, for a scope, around whatever takes a lock that the child of a fork would find taken for good if
/// another thread holds it at that moment: the log's, and those inside the functions for local time and Qt's
/// debug output. A fork waits until no section is being run. Sections may be nested.
class ForkSection {
public:
    ForkSection();
    ~ForkSection();
    ForkSection(const ForkSection&) = delete;
    ForkSection& operator=(const ForkSection&) = delete;

    /// Before a fork: waits for the sections of all other threads to end, but for 5 s at most, because a
    /// host's own code may run in one, as handler of Qt's messages, and wait for the thread that forks.
    static void beforeFork();
    /// After a fork, in the parent.
    static void afterFork();
    /// After a fork, in the child. Returns true when no section was being run at the fork.
    static bool afterForkInChild();

private:
    unsigned int m_generation;
};

} // namespace pdalink
