#pragma once

#include "ProgramRun.h"

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

namespace pdasim::test {

inline const std::string Program = PDASIM_PROGRAM;

/// A started program whose standard output is read line by line; it is ended with the object.
class RunningProgram {
public:
    explicit RunningProgram(std::vector<std::string> command);
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;
    ~RunningProgram();

    pid_t process() const { return m_process; }
    /// The next line without its end; empty at the end of the output.
    std::string readLine();
    /// All lines up to the one that begins so, that one included.
    std::vector<std::string> readUpTo(const std::string& beginning);
    void signal(int number) const;
    /// Its exit code, or 128 and the number of the signal that ended it.
    int wait();

private:
    pid_t m_process = 0;
    std::FILE* m_output = nullptr;
};

/// Starts a command of pdasim that keeps a terminal up, and kills its parent: whether it ends then.
bool endsWithItsParent(const std::string& command);

/// "pdasim serve", which is ready; this process sees its devices.
class ServedTerminal {
public:
    explicit ServedTerminal(const std::vector<std::string>& options = {});

    const std::string& folder() const { return m_folder; }
    const std::vector<std::string>& output() const { return m_output; }
    RunningProgram& program() { return m_program; }

    /// A command that succeeds, and what it says.
    std::string ctl(const std::vector<std::string>& arguments) const;
    /// Any command.
    pdalink::test::ProgramResult tryCtl(const std::vector<std::string>& arguments) const;
    /// SIGTERM, and the exit code.
    int end();

private:
    RunningProgram m_program;
    std::vector<std::string> m_output;
    std::string m_folder;
};

/// Runs pdasim to its end.
pdalink::test::ProgramResult pdasim(std::vector<std::string> arguments);

bool contains(const std::string& text, const std::string& part);

} // namespace pdasim::test
