#include "PdactlRun.h"

#include <sstream>

namespace {

using namespace pdalink::test;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

/// What bash offers for the last of these words.
std::vector<std::string> offered(const Words& words) {
    std::string line = "source " + quoted(PDACTL_COMPLETIONS "/pdactl") + "; COMP_WORDS=(pdactl";
    for (const std::string& word : words) {
        line += " " + quoted(word);
    }
    line += "); COMP_CWORD=" + std::to_string(words.size()) + R"(; _pdactl; printf '%s\n' "${COMPREPLY[@]}")";
    const ProgramResult result = runShell(line);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    std::vector<std::string> all;
    std::istringstream stream(result.output);
    for (std::string word; stream >> word;) {
        all.push_back(word);
    }
    return all;
}

TEST(CompletionTest, OffersCommands) {
    EXPECT_THAT(offered({""}), AllOf(Contains("info"), Contains("scan"), Contains("doctor"), Contains("log"),
                                     Not(Contains("start")), Not(Contains("--json"))));
    EXPECT_THAT(offered({"sc"}), ElementsAre("scan", "schema"));
    EXPECT_THAT(offered({"scan", ""}), ElementsAre("start", "stop", "list"));
    EXPECT_THAT(offered({"scan", "st"}), ElementsAre("start", "stop"));
    EXPECT_THAT(offered({"handover", "dot", "r"}), ElementsAre("result"));
    EXPECT_THAT(offered({"no-such-command", ""}), IsEmpty());
}

TEST(CompletionTest, OffersOptions) {
    EXPECT_THAT(offered({"--"}), ElementsAre("--help", "--json", "--verbose", "--version"));
    EXPECT_THAT(offered({"bag", "write", "--"}),
                ElementsAre("--help", "--number", "--org", "--type", "--dry-run", "--json", "--verbose",
                            "--version"));
    EXPECT_THAT(offered({"file", "send", "--in"}), ElementsAre("--info"));
}

TEST(CompletionTest, KnowsOptionsAndTheirValuesFromCommands) {
    EXPECT_THAT(offered({"--json", "scan", "li"}), ElementsAre("list"));
    EXPECT_THAT(offered({"scan", "start", "--pda", "list", "--comm"}), ElementsAre("--command"));
    EXPECT_THAT(offered({"file", "send", "scan", "--comm"}), ElementsAre("--command"));
    EXPECT_THAT(offered({"scan", "start", "--pda", "--c"}), IsEmpty());
}

TEST(CompletionTest, OffersCodesAndTheirMembers) {
    EXPECT_THAT(offered({"call", ""}), AllOf(SizeIs(19), Contains("600001"), Contains("600019")));
    EXPECT_THAT(offered({"call", "60001"}), SizeIs(10));
    EXPECT_THAT(offered({"call", "600003", ""}), ElementsAre("pBagNumber=", "pAttrOrg=", "pBagType="));
    EXPECT_THAT(offered({"call", "600003", "pBagNumber", "=", "B1", "pBag"}),
                ElementsAre("pBagNumber=", "pBagType="));
    EXPECT_THAT(offered({"call", "600003", "pBagNumber", "="}), IsEmpty());
}

TEST(CompletionTest, OffersTheNamesOfSchemas) {
    EXPECT_THAT(offered({"schema", ""}),
                AllOf(Contains("request-600001"), Contains("response-600019"), Contains("udev-rule")));
    EXPECT_THAT(offered({"schema", "serve-"}), ElementsAre("serve-answer", "serve-event", "serve-request"));
}

TEST(CompletionTest, TellsWhatEachWordMeans) {
    EXPECT_EQ(runPdactl({"__complete", "scan", "st"}).output,
              "start\tStart a scan run\nstop\tStop the scan run\n");
    EXPECT_EQ(runPdactl({"__complete"}).output, "");
}

TEST(CompletionTest, IsHiddenFromHelp) {
    EXPECT_THAT(runPdactl({"--help"}).output, Not(HasSubstr("complete")));
}

} // namespace
