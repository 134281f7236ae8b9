#include "PdactlRun.h"

#include "Documents.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <regex>
#include <sstream>

namespace pdalink::test {

namespace {

const std::string kProgram = PDACTL_PROGRAM;

/// Spawned with the variables by env, as posix_spawn would replace the whole environment.
Words throughEnv(const Words& command, const Variables& variables) {
    Words words{"/usr/bin/env"};
    for (const auto& [name, value] : variables) {
        words.push_back(std::string(name).append("=").append(value));
    }
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

pid_t spawn(Words command, const std::string& output, const std::string& errors) {
    std::vector<char*> pointers;
    for (std::string& word : command) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_t actions{};
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), kFlags, 0600);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), kFlags, 0600);
    pid_t process = 0;
    EXPECT_EQ(::posix_spawn(&process, pointers.front(), &actions, nullptr, pointers.data(), environ), 0);
    ::posix_spawn_file_actions_destroy(&actions);
    return process;
}

} // namespace

ProgramResult runPdactl(const Words& arguments, const Variables& variables) {
    Words command{kProgram};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return runProgram(command, variables);
}

ProgramResult runShell(const std::string& line, const Variables& variables) {
    return runProgram({"bash", "-c", "pdactl() { " + quoted(kProgram) + " \"$@\"; }; " + line}, variables);
}

QJsonDocument onlyDocument(const std::string& text) {
    QJsonParseError error{};
    QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(text), &error);
    collectDocument("*", text);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << error.errorString().toStdString() << "\n" << text;
    return document;
}

std::vector<QJsonObject> documentsIn(const std::string& lines) {
    std::vector<QJsonObject> documents;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        documents.push_back(onlyDocument(line).object());
    }
    return documents;
}

std::string withoutTime(const std::string& message) {
    return std::regex_replace(message, std::regex("<Ex_TrTime>\\d{14}<"), "<Ex_TrTime>00000000000000<");
}

std::string masked(std::string message, const Words& values) {
    for (const std::string& value : values) {
        const std::string element = ">" + value + "<";
        for (std::size_t at = 0; (at = message.find(element, at)) != std::string::npos; ++at) {
            message.replace(at + 1, value.size(), value.size(), '*');
        }
    }
    return message;
}

std::string quoted(const std::string& word) {
    std::string text = "'";
    for (const char character : word) {
        text += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return text + "'";
}

pdasim::SimulatedTerminal::Options PdactlTest::options() {
    pdasim::SimulatedTerminal::Options options;
    options.reportSize = 4096;
    return options;
}

QJsonObject PdactlTest::json(const Words& arguments, int exitCode) {
    Words all{"--json"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const ProgramResult result = pdactl(all);
    EXPECT_EQ(result.exitCode, exitCode) << result.errors;
    QJsonObject object = onlyDocument(result.output).object();
    EXPECT_EQ(object.value("exitCode").toInt(-1), exitCode);
    return object;
}

RunningPdactl::RunningPdactl(const Words& arguments, const Variables& variables, const Words& starter) {
    static std::atomic<int> runs{0};
    const std::string base = scratchDirectory() + "/running-" + std::to_string(++runs);
    m_output = base + ".out";
    m_errors = base + ".err";
    Words command = starter;
    command.push_back(kProgram);
    command.insert(command.end(), arguments.begin(), arguments.end());
    m_process = spawn(throughEnv(command, variables), m_output, m_errors);
}

RunningPdactl::~RunningPdactl() {
    if (m_process > 0) {
        signal(SIGKILL);
        (void)finish();
    }
}

bool RunningPdactl::says(const std::string& text) const {
    return waitUntil([&] { return output().find(text) != std::string::npos; });
}

bool RunningPdactl::complains(const std::string& text) const {
    return waitUntil([&] { return errors().find(text) != std::string::npos; });
}

void RunningPdactl::signal(int number) const {
    EXPECT_EQ(::kill(m_process, number), 0);
}

ProgramResult RunningPdactl::finish() {
    int status = 0;
    EXPECT_EQ(::waitpid(m_process, &status, 0), m_process);
    m_process = 0;
    return {WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status), output(), errors()};
}

} // namespace pdalink::test
