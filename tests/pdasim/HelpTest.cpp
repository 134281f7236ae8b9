#include "PrivateDirectory.h"
#include "ProgramRun.h"
#include "ServedTerminal.h"
#include "control/Commands.h"
#include "scenario/Rules.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

using pdalink::test::ProgramResult;
using pdalink::test::readFile;
using pdalink::test::runProgram;
using pdasim::test::contains;
using pdasim::test::pdasim;
using pdasim::test::Program;
using pdasim::test::RunningProgram;
using pdasim::test::ServedTerminal;
using Texts = std::vector<std::string>;

/// What the manual page says, without the marks of its language.
std::string manualText() {
    const std::string text = std::regex_replace(readFile(PDASIM_MAN_PAGE), std::regex(R"(\\f[A-Z])"), "");
    return std::regex_replace(text, std::regex(R"(\\-)"), "-");
}

std::set<std::string> optionsIn(const std::string& text) {
    static const std::regex option("--[a-z][a-z-]*");
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), option); match != std::sregex_iterator();
         ++match) {
        found.insert(match->str());
    }
    return found;
}

/// The help of the program and of every command in it.
std::vector<Texts> helpCalls() {
    std::vector<Texts> calls = {{"--help"},          {"run", "--help"},       {"serve", "--help"},
                                {"ctl", "--help"},   {"scenarios", "--help"}, {"ctl", "traffic", "--help"},
                                {"usbip", "--help"}, {"gadget", "--help"}};
    for (const pdasim::Command& command : pdasim::commands()) {
        calls.push_back({"ctl", command.name, "--help"});
    }
    return calls;
}

std::set<std::string> optionsOfTheProgram() {
    std::set<std::string> all;
    for (const Texts& call : helpCalls()) {
        const ProgramResult help = pdasim(call);
        EXPECT_EQ(help.exitCode, 0) << call.back();
        all.merge(optionsIn(help.output));
    }
    return all;
}

TEST(Help, TheManualPageHasExactlyTheOptionsOfTheProgram) {
    const std::set<std::string> options = optionsOfTheProgram();
    EXPECT_GT(options.size(), 15U);
    EXPECT_EQ(optionsIn(manualText()), options);
}

TEST(Help, TheManualPageHasEveryCommandAndMagicValue) {
    const std::string manual = manualText();
    for (const pdasim::Command& command : pdasim::commands()) {
        EXPECT_TRUE(std::regex_search(
            manual, std::regex("\\.B[IR]? (\\w+ \", \" )?" + std::string(command.name) + "\\b")))
            << command.name;
    }
    for (const pdasim::MagicValue& magic : pdasim::magicValues()) {
        EXPECT_TRUE(contains(manual, std::string(".B ") + magic.suffix + "\n" + magic.effect + "\n"))
            << magic.suffix;
    }
}

TEST(Help, TheManualPageIsWellFormed) {
    const ProgramResult result = runProgram({"man", "--warnings", "-l", "-Tutf8", PDASIM_MAN_PAGE});
    if (result.exitCode == 127) {
        GTEST_SKIP() << "there is no man";
    }
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
}

TEST(Help, TheGuideHasEveryOptionCommandAndMagicValue) {
    const std::string guide = readFile(PDASIM_GUIDE);
    const std::set<std::string> told = optionsIn(guide);
    for (const std::string& option : optionsOfTheProgram()) {
        EXPECT_TRUE(told.count(option) != 0 || option == "--help") << option;
    }
    for (const pdasim::Command& command : pdasim::commands()) {
        EXPECT_TRUE(std::regex_search(guide, std::regex("`" + std::string(command.name) + "[ `]")))
            << command.name;
    }
    for (const pdasim::MagicValue& magic : pdasim::magicValues()) {
        EXPECT_TRUE(contains(guide, "| `" + std::string(magic.suffix) + "` | " + magic.effect + " |"));
    }
}

/// The command lines of a help's examples.
Texts examplesOf(const Texts& call) {
    static const std::regex example("(^|\n)(Example: |  )(pdasim [^\n]*)");
    const std::string help = pdasim(call).output;
    Texts lines;
    for (std::sregex_iterator match(help.begin(), help.end(), example); match != std::sregex_iterator();
         ++match) {
        lines.push_back((*match)[3]);
    }
    EXPECT_FALSE(lines.empty()) << help;
    return lines;
}

/// A line of shell in which "pdasim" means the program.
Texts shellCommand(const std::string& line) {
    return {"bash", "-c",
            "cd '" + pdalink::test::scratchDirectory() + "'; pdasim() { '" PDASIM_PROGRAM "' \"$@\"; }; " +
                line};
}

TEST(Help, TellsTheVersion) {
    const ProgramResult result = pdasim({"--version"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "pdasim " PDALINK_VERSION "\n");
}

TEST(Help, FailsWhenItCannotBePrinted) {
    for (const std::string& arguments : Texts{"--help", "--version", "scenarios", "scenarios --schema",
                                              "scenarios --show refusals", "gadget --script"}) {
        const ProgramResult result =
            runProgram({"sh", "-c", "\"$0\" " + arguments + " > /dev/full", Program});
        EXPECT_EQ(result.exitCode, 74) << arguments;
        EXPECT_TRUE(contains(result.errors, "pdasim: standard output cannot be written")) << arguments;
    }
}

TEST(Help, HasExamplesThatTheProgramTakes) {
    EXPECT_EQ(examplesOf({"run", "--help"}).size(), 1U);
    EXPECT_EQ(examplesOf({"serve", "--help"}).size(), 1U);
    const Texts scenarios = examplesOf({"scenarios", "--help"});
    ASSERT_EQ(scenarios.size(), 1U);
    const ProgramResult checked = runProgram(shellCommand(scenarios.front()));
    EXPECT_EQ(checked.exitCode, 0) << checked.errors;
    EXPECT_EQ(checked.output, "mine.json: A lock shop\n");
    const ServedTerminal served;
    for (const std::string& line : examplesOf({"ctl", "--help"})) {
        if (contains(line, "traffic")) { // goes on until there is some
            const std::string rest = line.substr(line.find(' '));
            RunningProgram follower(shellCommand("exec '" PDASIM_PROGRAM "'" + rest));
            EXPECT_EQ(follower.readLine(), "# following") << line;
            continue;
        }
        const ProgramResult result = runProgram(shellCommand(line));
        EXPECT_NE(result.exitCode, 64) << line << ": " << result.errors;
        EXPECT_EQ(result.output, "") << line;
    }
}

TEST(Help, ListsTheMagicValues) {
    for (const Texts& call : {Texts{"--help"}, Texts{"run", "--help"}, Texts{"serve", "--help"}}) {
        const std::string help = pdasim(call).output;
        for (const pdasim::MagicValue& magic : pdasim::magicValues()) {
            EXPECT_TRUE(contains(help, std::string("  ") + magic.suffix + " ")) << magic.suffix;
            EXPECT_TRUE(contains(help, magic.effect)) << magic.suffix;
        }
    }
}

/// The scenario in the guide is one that works.
TEST(Help, TheGuidesScenarioIsAccepted) {
    const std::string guide = readFile(PDASIM_GUIDE);
    const std::size_t begin = guide.find("```json\n") + 8;
    const std::string path = pdalink::test::scratchDirectory() + "/guide.json";
    pdalink::test::writeFile(path, guide.substr(begin, guide.find("```", begin) - begin));
    const ProgramResult result = pdasim({"scenarios", "--check", path});
    EXPECT_EQ(result.output, path + ": Two locks, one of them stubborn\n") << result.errors;
}

} // namespace
