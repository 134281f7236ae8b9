#include "ProgramRun.h"

#include "PrivateDirectory.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace pdalink::test {

namespace {

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

int exitCodeOf(pid_t process) {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot wait for the program");
        }
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string takeFile(const std::string& path) {
    std::string text = readFile(path);
    std::filesystem::remove(path);
    return text;
}

} // namespace

ProgramResult runProgram(std::vector<std::string> command,
                         const std::map<std::string, std::string>& variables) {
    static std::atomic<int> runs{0};
    const std::string base = scratchDirectory() + "/run-" + std::to_string(++runs);
    const std::string outputPath = base + ".out";
    const std::string errorsPath = base + ".err";
    std::vector<std::string> environment = mergedEnvironment(variables);
    constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_t actions{};
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outputPath.c_str(), kFlags, 0600);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errorsPath.c_str(), kFlags, 0600);
    pid_t process = 0;
    const int error = ::posix_spawnp(&process, command.front().c_str(), &actions, nullptr,
                                     pointersTo(command).data(), pointersTo(environment).data());
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot run " + command.front());
    }
    ProgramResult result;
    result.exitCode = exitCodeOf(process);
    result.output = takeFile(outputPath);
    result.errors = takeFile(errorsPath);
    return result;
}

} // namespace pdalink::test
