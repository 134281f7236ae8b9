#include "ServedTerminal.h"

#include "PrivateDirectory.h"
#include "ProcessFacts.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace pdasim::test {

using pdalink::test::ProgramResult;

RunningProgram::RunningProgram(std::vector<std::string> command) {
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    std::vector<char*> arguments;
    arguments.reserve(command.size());
    for (std::string& part : command) {
        arguments.push_back(part.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions{};
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
    const int error = ::posix_spawnp(&m_process, arguments[0], &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(pipe[1]);
    m_output = ::fdopen(pipe[0], "r");
    if (error != 0) {
        throw std::runtime_error("cannot run " + command.front());
    }
}

RunningProgram::~RunningProgram() {
    if (m_process > 0) {
        signal(SIGKILL);
        (void)wait();
    }
    (void)std::fclose(m_output);
}

std::string RunningProgram::readLine() {
    std::string line;
    for (int next = std::fgetc(m_output); next != EOF && next != '\n'; next = std::fgetc(m_output)) {
        line.push_back(static_cast<char>(next));
    }
    return line;
}

std::vector<std::string> RunningProgram::readUpTo(const std::string& beginning) {
    std::vector<std::string> lines;
    do {
        lines.push_back(readLine());
    } while (!lines.back().empty() && lines.back().compare(0, beginning.size(), beginning) != 0);
    return lines;
}

void RunningProgram::signal(int number) const {
    (void)::kill(m_process, number);
}

int RunningProgram::wait() {
    int status = 0;
    while (::waitpid(m_process, &status, 0) < 0 && errno == EINTR) {
    }
    m_process = 0;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

bool endsWithItsParent(const std::string& command) {
    const std::string output = pdalink::test::scratchDirectory() + "/output";
    RunningProgram parent({"sh", "-c", Program + " " + command + " > " + output + " & echo $!; wait"});
    // Whoever inherits it may be slow to take its end; what it holds is gone at once.
    const std::string input = "/proc/" + parent.readLine() + "/fd/0";
    const auto isRunning = [&input] {
        return std::filesystem::exists(std::filesystem::symlink_status(input));
    };
    EXPECT_TRUE(
        pdalink::test::waitUntil([&output] { return contains(pdalink::test::readFile(output), "# ready"); }));
    EXPECT_TRUE(isRunning());
    parent.signal(SIGKILL);
    (void)parent.wait();
    return pdalink::test::waitUntil([&isRunning] { return !isRunning(); });
}

namespace {

std::vector<std::string> serveCommand(const std::vector<std::string>& options) {
    std::vector<std::string> command = {PDASIM_PROGRAM, "serve"};
    command.insert(command.end(), options.begin(), options.end());
    return command;
}

std::string valueOf(const std::vector<std::string>& lines, const std::string& name) {
    const std::string start = "export " + name + "='";
    for (const std::string& line : lines) {
        if (line.compare(0, start.size(), start) == 0) {
            return line.substr(start.size(), line.size() - start.size() - 1);
        }
    }
    return {};
}

} // namespace

ServedTerminal::ServedTerminal(const std::vector<std::string>& options)
    : m_program(serveCommand(options)),
      m_output(m_program.readUpTo("# ready")),
      m_folder(valueOf(m_output, "UMOCKDEV_DIR")) {
    EXPECT_FALSE(m_folder.empty()) << "pdasim serve did not come up";
    (void)::setenv("UMOCKDEV_DIR", m_folder.c_str(), 1);
}

ProgramResult ServedTerminal::tryCtl(const std::vector<std::string>& arguments) const {
    std::vector<std::string> all = {"ctl", "--control", m_folder + "/pdasim.sock"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return pdasim(std::move(all));
}

std::string ServedTerminal::ctl(const std::vector<std::string>& arguments) const {
    const ProgramResult result = tryCtl(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    return result.output;
}

int ServedTerminal::end() {
    m_program.signal(SIGTERM);
    return m_program.wait();
}

ProgramResult pdasim(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), PDASIM_PROGRAM);
    return pdalink::test::runProgram(std::move(arguments));
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

} // namespace pdasim::test
