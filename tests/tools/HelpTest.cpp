#include "PdactlRun.h"

#include <algorithm>
#include <cctype>
#include <regex>
#include <set>
#include <sstream>

namespace {

using namespace pdalink::test;
using testing::HasSubstr;

/// A command as its --help describes it.
struct Command {
    Words words;
    std::string help;
    std::vector<std::string> below;
    std::set<std::string> options;

    std::string name() const {
        std::string name = "pdactl";
        for (const std::string& word : words) {
            name += " " + word;
        }
        return name;
    }
};

Command readHelp(const Words& words) {
    Words arguments = words;
    arguments.emplace_back("--help");
    const ProgramResult result = runPdactl(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    Command command{words, result.output, {}, {}};
    const std::regex option("(^|,)(--[a-z-]+)");
    const std::regex subcommand("^  ([a-z-]+)( |$)");
    std::istringstream stream(result.output);
    bool isBelow = false;
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && line[0] != ' ') {
            isBelow = line == "Subcommands:";
        }
        std::smatch match;
        const std::size_t begin = line.find_first_not_of(' ');
        if (begin == 2 && line[2] == '-') {
            std::string names = line.substr(2, line.find(' ', 2) - 2);
            while (std::regex_search(names, match, option)) {
                command.options.insert(match[2]);
                names = match.suffix();
            }
        } else if (isBelow && std::regex_search(line, match, subcommand)) {
            command.below.push_back(match[1]);
        }
    }
    return command;
}

void addAll(std::vector<Command>& all, const Words& words) {
    const Command command = readHelp(words);
    all.push_back(command);
    for (const std::string& word : command.below) {
        Words more = words;
        more.push_back(word);
        addAll(all, more);
    }
}

std::vector<Command> allCommands() {
    std::vector<Command> all;
    addAll(all, {});
    return all;
}

std::string withoutBackslashes(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\\'), text.end());
    return text;
}

bool hasWord(const std::string& text, const std::string& word) {
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        const std::size_t end = at + word.size();
        const auto isPart = [](char c) {
            return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-';
        };
        if (end == text.size() || !isPart(text[end])) {
            return true;
        }
    }
    return false;
}

TEST(HelpTest, DescribesEveryCommandAndSoDoGuideAndManPage) {
    const std::vector<Command> commands = allCommands();
    EXPECT_GT(commands.size(), 40U);
    for (const Command& command : commands) {
        SCOPED_TRACE(command.name());
        EXPECT_FALSE(std::regex_search(command.help, std::regex("^(Usage|\\n)")));
        EXPECT_TRUE(hasWord(command.help, "--help"));
        for (const std::string& text :
             {readFile(PDACTL_GUIDE), withoutBackslashes(readFile(PDACTL_MAN_PAGE))}) {
            EXPECT_TRUE(hasWord(text, command.name()));
            for (const std::string& option : command.options) {
                EXPECT_TRUE(hasWord(text, option)) << option;
            }
        }
    }
}

/// On a machine with a device that keeps every command from the library, so that none takes long.
class ExampleTest : public PdactlTest {
protected:
    ExampleTest() {
        pdasim::DeviceDescription keyboard;
        keyboard.hasUsbParent = false;
        terminal().testBed().addDevice(keyboard);
    }
};

TEST_F(ExampleTest, IsThereForEveryCommandAndMakesSense) {
    for (const Command& command : allCommands()) {
        if (command.words.empty()) {
            continue;
        }
        const std::size_t begin = command.help.find("Example: ");
        ASSERT_NE(begin, std::string::npos) << command.name();
        const std::string line = command.help.substr(begin + 9, command.help.find('\n', begin) - begin - 9);
        const std::string name = command.below.empty() ? command.name() : "pdactl " + command.words.front();
        EXPECT_THAT(line, HasSubstr(name));
        const ProgramResult result = shell("cd " + quoted(scratchDirectory()) + "; " + line);
        EXPECT_NE(result.exitCode, 2) << line << "\n" << result.errors;
    }
}

TEST(HelpTest, ListsTheExitCodes) {
    const std::string help = runPdactl({"--help"}).output;
    for (const int code : {0, 1, 2, 3, 4, 5, 6, 7, 8, 130}) {
        EXPECT_THAT(help, HasSubstr("\n  " + std::to_string(code) + "  "));
        EXPECT_THAT(readFile(PDACTL_GUIDE), HasSubstr("\n| " + std::to_string(code) + " | "));
        EXPECT_THAT(readFile(PDACTL_MAN_PAGE), HasSubstr("\n.B " + std::to_string(code) + "\n"));
    }
}

TEST(HelpTest, TellsTheProgramsVersion) {
    const ProgramResult result = runPdactl({"--version"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "pdactl " PDALINK_VERSION "\n");
}

using GuideTest = PdactlTest;

TEST_F(GuideTest, BeginsWithWhatWorks) {
    terminal().changeState([](pdasim::TerminalState& state) {
        pdasim::Lock lock;
        lock.id = "LOCK-1";
        state.locks = {lock};
    });
    const std::string guide = readFile(PDACTL_GUIDE);
    const std::string begin = "    pdactl doctor ";
    std::istringstream lines(guide.substr(guide.find(begin)));
    writeFile(scratchDirectory() + "/code.txt", "123456;\n");
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line) && !line.empty(); ++count) {
        const ProgramResult result = shell("cd " + quoted(scratchDirectory()) + "; " + line);
        if (line.find(begin) == std::string::npos) { // the doctor judges the machine, too
            EXPECT_EQ(result.exitCode, 0) << line << "\n" << result.errors;
        }
    }
    EXPECT_EQ(count, 5U);
    EXPECT_EQ(terminal().messages().back().type, "7019");
}

/// The command's own pages say all that its help says, and nothing that it does not.
TEST(HelpTest, PagesOfLogNameItsOptions) {
    const Command log = readHelp({"log"});
    const std::set<std::string> shared{"--help", "--json", "--verbose"};
    const std::regex option("--[a-z][a-z-]*");
    for (const std::string& text :
         {withoutBackslashes(readFile(PDACTL_LOG_MAN_PAGE)), readFile(PDACTL_LOG_GUIDE)}) {
        ASSERT_FALSE(text.empty());
        for (const std::string& name : log.options) {
            EXPECT_TRUE(shared.count(name) == 1 || hasWord(text, name)) << name;
        }
        for (std::sregex_iterator match(text.begin(), text.end(), option); match != std::sregex_iterator();
             ++match) {
            EXPECT_TRUE(log.options.count(match->str()) + shared.count(match->str()) > 0) << match->str();
        }
    }
}

TEST(HelpTest, ManPagesAreWellFormed) {
    if (runShell("type groff").exitCode != 0) {
        GTEST_SKIP() << "groff is not installed";
    }
    for (const std::string& page : {quoted(PDACTL_MAN_PAGE), quoted(PDACTL_LOG_MAN_PAGE)}) {
        const ProgramResult result = runShell("groff -man -Tutf8 -ww -z " + page);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.errors, "");
    }
}

} // namespace
