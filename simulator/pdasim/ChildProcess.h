#pragma once

#include <csignal>

#include <map>
#include <string>
#include <vector>

namespace pdasim {

/// Keeps the signals that ask this process to end, and the one that tells of a child's end, for runCommand().
///
/// To be created while there is only one thread: a signal would otherwise go to any other.
class HeldSignals {
public:
    HeldSignals();
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
    ~HeldSignals();

    const sigset_t& held() const { return m_held; }
    const sigset_t& before() const { return m_before; }

private:
    sigset_t m_held{};
    sigset_t m_before{};
};

/// Runs a command with some variables added to its environment and waits for its end.
///
/// Signals that ask this process to end are passed on to the command, and the command never outlives this
/// process. Returns its exit code, EndedBySignal plus the number when a signal ended it, CommandNotFound or
/// CannotExecute (with a message) when it could not be started.
int runCommand(std::vector<std::string> command, const std::map<std::string, std::string>& variables,
               const HeldSignals& signals);

/// Lets this process be asked to end when its parent ends; false when that has gone already.
bool endWithParent();

/// Returns when this process is asked to end.
void waitForEndSignal(const HeldSignals& signals);

} // namespace pdasim
