#include "Harness.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace pdalink::test {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kDirectoryPrefix = "pdalink-test-";
constexpr int kCannotStart = 127;

volatile sig_atomic_t g_testProcess = 0;

void passSignalOn(int signalNumber) {
    if (g_testProcess > 0) {
        (void)::kill(g_testProcess, signalNumber);
    }
}

/// Removes what earlier supervisors left behind that were killed before they could clean up.
void removeOrphans(const fs::path& parent) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(parent, error)) {
        const std::string name = entry.path().filename();
        if (name.compare(0, kDirectoryPrefix.size(), kDirectoryPrefix) != 0) {
            continue;
        }
        const auto owner =
            static_cast<pid_t>(std::strtol(name.c_str() + kDirectoryPrefix.size(), nullptr, 10));
        if (owner > 0 && ::kill(owner, 0) != 0 && errno == ESRCH) {
            fs::remove_all(entry.path(), error);
        }
    }
}

fs::path makeDirectory() {
    const fs::path parent = fs::temp_directory_path();
    removeOrphans(parent);
    std::string name = parent / (std::string(kDirectoryPrefix) + std::to_string(::getpid()) + "-XXXXXX");
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot create " + name);
    }
    return name;
}

/// A link costs nothing, but does not reach across file systems.
void linkOrCopy(const fs::path& from, const fs::path& to) {
    std::error_code error;
    fs::create_hard_link(fs::canonical(from), to, error);
    if (error) {
        fs::copy_file(from, to);
    }
}

void prepend(const char* variable, const std::string& value, char separator) {
    const char* present = std::getenv(variable);
    const std::string joined =
        present == nullptr || *present == '\0' ? value : value + separator + std::string(present);
    (void)::setenv(variable, joined.c_str(), 1);
}

void setSanitizerOptions(const HarnessSettings& settings) {
    prepend("LSAN_OPTIONS", "suppressions=" + settings.addressSuppressions + ":print_suppressions=0", ':');
    prepend("TSAN_OPTIONS", "suppressions=" + settings.threadSuppressions, ':');
    prepend("UBSAN_OPTIONS", "print_stacktrace=1", ':');
}

/// Gives the path of the program to run in the test process.
fs::path furnish(const HarnessSettings& settings, const fs::path& directory) {
    fs::path program = fs::read_symlink("/proc/self/exe");
    const fs::path libraryDirectory = directory / "lib";
    const fs::path scratchDirectory = directory / "tmp";
    fs::create_directory(libraryDirectory);
    fs::create_directory(scratchDirectory);
    std::ofstream(libraryDirectory / "PDAConfigure.ini") << "VID=0x1209\nPID=0x0001\n";
    (void)::setenv(kLibraryDirectoryVariable, libraryDirectory.c_str(), 1);
    (void)::setenv(kScratchDirectoryVariable, scratchDirectory.c_str(), 1);
    // Whatever else makes temporary files makes them where they are cleaned up even after a crash.
    (void)::setenv("TMPDIR", scratchDirectory.c_str(), 1);
    if (settings.library.empty()) {
        linkOrCopy(program, libraryDirectory / program.filename());
        return libraryDirectory / program.filename();
    }
    linkOrCopy(settings.library, libraryDirectory / settings.libraryName);
    prepend("LD_LIBRARY_PATH", libraryDirectory, ':');
    return program;
}

[[noreturn]] void becomeTestProcess(const fs::path& program, char** arguments) {
    (void)::prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::string name = program;
    arguments[0] = name.data();
    ::execv(program.c_str(), arguments);
    std::perror(("cannot run " + program.string()).c_str());
    ::_exit(kCannotStart);
}

int waitForTestProcess(pid_t process) {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot wait for the test process");
        }
    }
    return status;
}

[[noreturn]] void endAs(int status) {
    if (WIFSIGNALED(status)) {
        // The test process has left the core, if any.
        const rlimit none = {0, 0};
        (void)::setrlimit(RLIMIT_CORE, &none);
        (void)std::signal(WTERMSIG(status), SIG_DFL);
        (void)::raise(WTERMSIG(status));
    }
    // Not exit(): the library under test was loaded here too, but nothing of it ran.
    ::_exit(WIFEXITED(status) ? WEXITSTATUS(status) : kCannotStart);
}

} // namespace

bool isSupervised() {
    return std::getenv(kLibraryDirectoryVariable) != nullptr;
}

void supervise(const HarnessSettings& settings, char** arguments) {
    const fs::path directory = makeDirectory();
    setSanitizerOptions(settings);
    const fs::path program = furnish(settings, directory);
    // Held back until there is a process to pass them on to.
    sigset_t held{};
    sigset_t before{};
    (void)::sigemptyset(&held);
    for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
        (void)::sigaddset(&held, signalNumber);
        (void)std::signal(signalNumber, passSignalOn);
    }
    (void)::sigprocmask(SIG_BLOCK, &held, &before);
    const pid_t process = ::fork();
    if (process < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot start the test process");
    }
    if (process == 0) {
        for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
            (void)std::signal(signalNumber, SIG_DFL);
        }
        (void)::sigprocmask(SIG_SETMASK, &before, nullptr);
        becomeTestProcess(program, arguments);
    }
    g_testProcess = process;
    (void)::sigprocmask(SIG_SETMASK, &before, nullptr);
    const int status = waitForTestProcess(process);
    std::error_code ignored;
    fs::remove_all(directory, ignored);
    endAs(status);
}

} // namespace pdalink::test
