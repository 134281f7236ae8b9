#include "pdasim/ChildProcess.h"

#include "node/FileDescriptor.h"
#include "pdasim/Reporting.h"

#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>

namespace pdasim {

namespace {

constexpr const char* kLimitAdvice = "End other programs, or raise the limits that \"ulimit -a\" shows";
constexpr std::array<int, 4> kEndSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

std::vector<std::string> mergedEnvironment(const std::map<std::string, std::string>& variables) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (variables.count(text.substr(0, text.find('='))) == 0) {
            environment.push_back(text);
        }
    }
    for (const auto& [name, value] : variables) {
        environment.push_back(std::string(name).append("=").append(value));
    }
    return environment;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// Between fork and exec nothing but system calls: other threads may have held any lock.
[[noreturn]] void becomeCommand(pid_t parent, const std::vector<char*>& command,
                                const std::vector<char*>& environment, int failurePipe,
                                const HeldSignals& signals) {
    (void)::sigprocmask(SIG_SETMASK, &signals.before(), nullptr);
    (void)::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(EndedBySignal + SIGKILL);
    }
    (void)::execvpe(command[0], command.data(), environment.data());
    const int error = errno;
    // When even this fails, the exit code has to do.
    if (::write(failurePipe, &error, sizeof(error)) < 0) {
        ::_exit(CommandNotFound);
    }
    ::_exit(CannotExecute);
}

/// 0, or the errno with which the command could not be executed.
int executionError(int failurePipe) {
    int error = 0;
    const bool failed = ::read(failurePipe, &error, sizeof(error)) == static_cast<ssize_t>(sizeof(error));
    return failed ? error : 0;
}

/// Waits for the command's end and hands every signal on to it meanwhile.
int waitFor(pid_t child, const HeldSignals& signals) {
    int status = 0;
    while (::waitpid(child, &status, WNOHANG) == 0) {
        siginfo_t information{};
        const int signalNumber = ::sigwaitinfo(&signals.held(), &information);
        // What the terminal's driver sends (Ctrl-C) has reached the command already.
        if (signalNumber > 0 && signalNumber != SIGCHLD && information.si_code != SI_KERNEL) {
            (void)::kill(child, signalNumber);
        }
    }
    return WIFSIGNALED(status) ? EndedBySignal + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace

HeldSignals::HeldSignals() {
    (void)::sigemptyset(&m_held);
    (void)::sigaddset(&m_held, SIGCHLD);
    for (const int signalNumber : kEndSignals) {
        (void)::sigaddset(&m_held, signalNumber);
    }
    // An inherited "ignore" would let the kernel throw the child's end away.
    (void)std::signal(SIGCHLD, SIG_DFL);
    (void)::sigprocmask(SIG_BLOCK, &m_held, &m_before);
}

HeldSignals::~HeldSignals() {
    (void)::sigprocmask(SIG_SETMASK, &m_before, nullptr);
}

int runCommand(std::vector<std::string> command, const std::map<std::string, std::string>& variables,
               const HeldSignals& signals) {
    std::vector<std::string> environment = mergedEnvironment(variables);
    const std::vector<char*> arguments = pointersTo(command);
    const std::vector<char*> entries = pointersTo(environment);
    std::array<int, 2> failure{};
    if (::pipe2(failure.data(), O_CLOEXEC) != 0) {
        throw AdvisedError(errno, "cannot create a pipe", kLimitAdvice);
    }
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child < 0) {
        throw AdvisedError(errno, "cannot start the command", kLimitAdvice);
    }
    if (child == 0) {
        becomeCommand(parent, arguments, entries, failure[1], signals);
    }
    ::close(failure[1]);
    const int error = executionError(failure[0]);
    ::close(failure[0]);
    const int code = waitFor(child, signals);
    if (error != 0) {
        std::cerr << "pdasim: cannot run " << command.front() << ": " << std::strerror(error)
                  << (error == ENOENT ? ". Give its path, or put its folder on the PATH"
                                      : ". Name a program that you may execute")
                  << std::endl;
        return error == ENOENT ? CommandNotFound : CannotExecute;
    }
    return code;
}

bool endWithParent() {
    const pid_t parent = ::getppid();
    (void)::prctl(PR_SET_PDEATHSIG, SIGTERM);
    return ::getppid() == parent;
}

void waitForEndSignal(const HeldSignals& signals) {
    int received = SIGCHLD;
    while (received == SIGCHLD || received < 0) {
        received = ::sigwaitinfo(&signals.held(), nullptr);
    }
}

} // namespace pdasim
