#include "PrivateDirectory.h"
#include "ProgramRun.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// What the bindings do is tested in their own languages; here these tests, and the examples, get a terminal.

namespace {

using namespace pdalink::test;
using Words = std::vector<std::string>;

const std::string kClassPath = CLASS_PATH;
const Words kPython{PYTHON};
const Words kJava{"java", "-cp", kClassPath};

/// Runs a program, which has to succeed, with a terminal; returns what it prints.
std::string outputOf(const Words& options, const Words& program, const Words& arguments) {
    Words command{PDASIM_PROGRAM, "run"};
    for (const Words& each : {options, Words{"--"}, program, arguments}) {
        command.insert(command.end(), each.begin(), each.end());
    }
    const ProgramResult result = runProgram(command, {{"PYTHONPATH", BINDINGS "/python"},
                                                      {"PYTHONDONTWRITEBYTECODE", "1"},
                                                      {"PATH", PROGRAMS ":/usr/bin:/bin"}});
    EXPECT_EQ(result.exitCode, 0) << result.output << result.errors;
    return result.output;
}

/// The tests of a binding's class.
void expectToPass(Words program, const Words& tests) {
    const std::string scenario = scratchDirectory() + "/scenario.json";
    writeFile(scenario,
              R"({"name": "Bindings", "locks": [{"id": "LOCK-1"}], "tellers": {"registered": "T0815"},
                            "files": [{"command": 9, "hex": "0a0b0c0d0e"}]})");
    program.insert(program.end(), tests.begin(), tests.end());
    (void)outputOf({"--scenario", scenario}, program,
                   {privateDirectory() + "/libpdalink.so.1", PDACTL_PROGRAM, PDASIM_PROGRAM, REQUESTS});
}

void expectExampleToWork(const Words& program, const Words& arguments) {
    EXPECT_EQ(outputOf({"--user"}, program, arguments), "terminal: 860123456789012\n"
                                                        "opened: LOCK-1;\n"
                                                        "scanned: BAG-0001\n"
                                                        "scanned: BAG-0002\n"
                                                        "scanned: BAG-0003\n");
}

TEST(PythonBinding, MakesRequestsInItsProcess) {
    expectToPass(kPython, {PYTHON_TEST, "LibraryTest"});
}

TEST(PythonBinding, DoesEverythingThroughPdactlServe) {
    expectToPass(kPython, {PYTHON_TEST, "ServerTest"});
}

TEST(PythonBinding, HasAnExampleThatWorks) {
    expectExampleToWork(kPython, {BINDINGS "/python/example.py"});
}

class JavaBinding : public testing::Test {
protected:
    void SetUp() override {
        if (kClassPath.empty()) {
            GTEST_SKIP() << "a JDK, JNA or Gson was missing when the tests were built";
        }
    }
};

TEST_F(JavaBinding, MakesRequestsInItsProcess) {
    expectToPass(kJava, {"PdalinkTest", "Library"});
}

TEST_F(JavaBinding, DoesEverythingThroughPdactlServe) {
    expectToPass(kJava, {"PdalinkTest", "Server"});
}

TEST_F(JavaBinding, HasAnExampleThatWorks) {
    expectExampleToWork(kJava, {"Example"});
}

} // namespace
