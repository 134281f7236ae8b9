#pragma once

#include "PrivateDirectory.h"
#include "ProcessFacts.h"
#include "ProgramRun.h"
#include "TestTerminal.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace pdalink::test {

using Words = std::vector<std::string>;
using Variables = std::map<std::string, std::string>;

/// Runs pdactl to its end; it finds the devices of `variables`.
ProgramResult runPdactl(const Words& arguments, const Variables& variables = {});

/// The same in a line of shell, in which "pdactl" stands for the program.
ProgramResult runShell(const std::string& line, const Variables& variables = {});

/// Fails the test unless the text is one JSON document and nothing else. It has to keep to a schema.
QJsonDocument onlyDocument(const std::string& text);

/// The same of each line.
std::vector<QJsonObject> documentsIn(const std::string& lines);

/// A message with one and the same time stamp, whenever it was built.
std::string withoutTime(const std::string& message);

/// A message with "*" in place of the characters of these values.
std::string masked(std::string message, const Words& values);

/// A text as one word of a shell.
std::string quoted(const std::string& word);

/// pdactl with a terminal to talk to.
class PdactlTest : public testing::Test {
protected:
    TestTerminal& terminal() { return m_terminal; }
    Variables environment() { return m_terminal.testBed().environment(); }
    ProgramResult pdactl(const Words& arguments) { return runPdactl(arguments, environment()); }
    ProgramResult shell(const std::string& line) { return runShell(line, environment()); }
    /// What a run with --json says, whose exit code has to be this one.
    QJsonObject json(const Words& arguments, int exitCode = 0);

private:
    /// Large reports: the parts of a long reply have 100 ms to arrive, on a busy machine too.
    static pdasim::SimulatedTerminal::Options options();

    TestTerminal m_terminal{options()};
};

/// pdactl while it runs.
class RunningPdactl {
public:
    /// `starter` is a command that runs the one after it.
    RunningPdactl(const Words& arguments, const Variables& variables, const Words& starter = {});
    RunningPdactl(const RunningPdactl&) = delete;
    RunningPdactl& operator=(const RunningPdactl&) = delete;
    ~RunningPdactl();

    pid_t process() const { return m_process; }
    std::string output() const { return readFile(m_output); }
    std::string errors() const { return readFile(m_errors); }
    /// False when the text did not appear in time.
    bool says(const std::string& text) const;
    bool complains(const std::string& text) const;
    void signal(int number) const;
    /// Waits for the end.
    ProgramResult finish();

private:
    std::string m_output;
    std::string m_errors;
    pid_t m_process = 0;
};

} // namespace pdalink::test
