#include "LogLines.h"
#include "Pdactl.h"
#include "PrivateDirectory.h"
#include "RotatedLog.h"
#include "SecretForms.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace pdactl::log::test {

namespace {

using pdalink::test::ProgramResult;
using pdalink::test::readFile;
using pdalink::test::runProgram;
using pdalink::test::scratchDirectory;
using pdalink::test::writeFile;

QJsonObject parsed(const std::string& text) {
    return pdalink::test::onlyDocument(text).object();
}

std::vector<std::string> codesIn(const std::string& json) {
    std::vector<std::string> codes;
    for (const QJsonValue exchange : parsed(json)["exchanges"].toArray()) {
        codes.push_back(exchange.toObject()["code"].toString().toStdString());
    }
    return codes;
}

/// An exchange that the terminal refused.
LogText& refused(LogText& log, const std::string& code, const std::string& method, const std::string& type) {
    log.request(R"({"pdaNumber":"1","transCode":")" + code + "\"}").step("[" + method + "] begin");
    log.written(message(type, "")).after(100).read(message(type, tag("Ex_RetCode", "000002")));
    return log.type(type).response(R"({"pRetCode":"000002","transCode":")" + code + "\"}", 0);
}

/// A log over two files: three exchanges, of which the second begins in one and ends in the other.
RotatedLog threeExchanges(const std::string& name) {
    LogText text;
    refused(text.getInfo().after(5000), "600013", "GetKeyVerificationValue", "8013");
    refused(text.after(5000), "600004", "StartScan", "8004");
    const std::size_t middle = text.text().find('\n', text.text().find("Verification")) + 1;
    RotatedLog log(name);
    log.append(text.text().substr(0, middle));
    log.rotate();
    log.append(text.text().substr(middle));
    return log;
}

TEST(LogCommand, ShowsATableOfTheWholeLog) {
    const RotatedLog log = threeExchanges("table");
    const ProgramResult result = pdactlLog({log.base()});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(count(result.output, "\n"), 5U) << result.output;
    EXPECT_EQ(result.output.substr(0, 4), "TIME");
    EXPECT_TRUE(
        contains(result.output, "600013  GetKeyVerificationValue           terminal-refused  000002"));
    EXPECT_TRUE(contains(result.output, "3 exchanges, 2 failed\n"));
    EXPECT_EQ(pdactlLog({log.directory()}).output, result.output);
    EXPECT_EQ(pdactlLog({log.base(), log.copy(1)}).output, result.output);
}

TEST(LogCommand, PrintsOneJsonDocument) {
    const RotatedLog log = threeExchanges("json");
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{log.base(), "--json"}, std::vector<std::string>{"--json", log.base()}}) {
        const ProgramResult result = pdactlLog(arguments);
        EXPECT_EQ(codesIn(result.output), (std::vector<std::string>{"600002", "600013", "600004"}));
        const QJsonObject second = parsed(result.output)["exchanges"].toArray()[1].toObject();
        EXPECT_EQ(second["outcome"].toString(), "terminal-refused");
        EXPECT_EQ(second["begin"].toString(), "2026-01-02T03:04:10.111");
        EXPECT_EQ(second["took"].toInt(), 100);
        EXPECT_EQ(second["gap"].toInt(), 5000);
        EXPECT_EQ(second["result"].toInt(-9), 0);
        EXPECT_FALSE(second["lacksBeginning"].toBool(true));
    }
    writeFile(log.directory() + "/empty.log", "");
    const ProgramResult empty = pdactlLog({"--json", log.directory() + "/empty.log"});
    EXPECT_EQ(empty.exitCode, 0);
    EXPECT_TRUE(parsed(empty.output)["exchanges"].toArray().isEmpty());
    EXPECT_TRUE(contains(empty.errors, "empty.log' is empty"));
}

TEST(LogCommand, RefusesAFileThatIsNotALogWithoutWritingAnything) {
    const std::string path = scratchDirectory() + "/no.log";
    const std::string output = scratchDirectory() + "/no.output";
    writeFile(path, "password=S3CR3T\n2026-01-02 03:04:05.678 INFO     : no stamp of the library's\n");
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{}, {"--json"}, {"--html", output}, {"--redact", output}}) {
        std::vector<std::string> arguments{path};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const ProgramResult result = pdactlLog(arguments);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_FALSE(contains(result.output, "exchanges") || contains(result.output, "TIME"));
        EXPECT_TRUE(contains(result.errors, "no.log' is not a log of the library")) << result.errors;
        EXPECT_FALSE(std::filesystem::exists(output));
    }
}

TEST(LogCommand, Filters) {
    const RotatedLog log = threeExchanges("filters");
    using Strings = std::vector<std::string>;
    const std::vector<std::pair<Strings, Strings>> cases{
        {{"--code", "GetInfo", "--code", "8004"}, {"600002", "600004"}},
        {{"--result", "done", "--result=-1"}, {"600002"}},
        {{"--failed", "--until", "2026-01-02T03:04:12"}, {"600013"}},
        {{"--since", "2026-01-02 03:04:12"}, {"600004"}},
    };
    for (const auto& [options, expected] : cases) {
        Strings arguments{log.base(), "--json"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        EXPECT_EQ(codesIn(pdactlLog(arguments).output), expected) << options[0];
    }
}

TEST(LogCommand, RefusesBadUsageAndSaysWhatToDo) {
    const RotatedLog log = threeExchanges("usage");
    struct Case {
        std::vector<std::string> arguments;
        int exitCode;
        std::string reason;
    };
    const std::vector<Case> cases{
        {{}, 2, "FILE is required"},
        {{"/no/such/PDA.log"},
         1,
         "There is no '/no/such/PDA.log'. The library writes its log as log/PDA.log"},
        {{log.base(), "--code", "x"}, 2, "'x' is not a transaction. Give a code such as 600002"},
        {{log.base(), "--result", "x"}, 2, "'x' is not a result. Give one of done,"},
        {{log.base(), "--since", "x"}, 2, "'x' is not a time. Write 2026-01-02"},
        {{log.base(), "--follow", "--html", "x"}, 2, "excludes"},
        {{log.base(), "--redact", "x", "--unredacted"}, 2, "excludes"},
        {{log.copy(1), "--follow"}, 2, "--follow takes one log that is being written"},
        {{log.base(), "--redact", log.copy(1)}, 2, "is the log itself"},
        {{log.base(), "--html", log.base()}, 2, "is the log itself"},
        {{log.base(), "--html", "/tmp/../tmp/x", "--redact", "/tmp/x"}, 2, "name the same file"},
        {{log.base(), "--html", "/no/such/folder/x"}, 1, "Cannot write '/no/such/folder/x'"},
    };
    for (const Case& wrong : cases) {
        const ProgramResult result = pdactlLog(wrong.arguments);
        EXPECT_EQ(result.exitCode, wrong.exitCode) << wrong.reason;
        EXPECT_TRUE(contains(result.errors, wrong.reason)) << result.errors;
        EXPECT_EQ(result.output, "") << wrong.reason;
    }
}

TEST(LogCommand, TellsOfMissingCopies) {
    const RotatedLog log = threeExchanges("missing");
    log.rotate();
    std::filesystem::rename(log.copy(2), log.copy(3));
    log.append("");
    const ProgramResult result = pdactlLog({"--json", log.base()});
    EXPECT_TRUE(contains(result.errors, "PDA.log.2 is missing")) << result.errors;
    const QJsonArray exchanges = parsed(result.output)["exchanges"].toArray();
    ASSERT_EQ(exchanges.size(), 4);
    EXPECT_EQ(exchanges[1].toObject()["outcome"].toString(), "unfinished");
    EXPECT_TRUE(exchanges[2].toObject()["lacksBeginning"].toBool());
    EXPECT_EQ(parsed(result.output)["gaps"].toArray().size(), 1);
}

TEST(LogCommand, NeverShowsASecretUnlessAsked) {
    const std::string path = scratchDirectory() + "/secrets.log";
    const std::string page = scratchDirectory() + "/secrets.html";
    const std::string copy = scratchDirectory() + "/secrets.copy";
    std::string log;
    for (const char* name : {"Ex_Key", "Ex_APwd", "Ex_HexVal", "pKey", "CheckVal", "pFilePath"}) {
        for (const SecretForm& form : secretForms(name)) {
            log += log.empty() || !contains(form.form, "cut beginning") ? form.log : "";
        }
    }
    writeFile(path, log);
    const std::string table = pdactlLog({path, "--full"}).output;
    const std::string json = pdactlLog({path, "--json"}).output;
    EXPECT_EQ(pdactlLog({path, "--html", page, "--redact", copy}).output, "");
    EXPECT_TRUE(contains(log, kPlanted));
    for (const std::string& output : {table, json, readFile(page), readFile(copy)}) {
        EXPECT_GT(output.size(), 100000U);
        EXPECT_FALSE(contains(output, kPlanted)) << output.substr(output.find(kPlanted) - 300, 600);
    }
    EXPECT_TRUE(contains(readFile(page), "are masked"));
    EXPECT_TRUE(contains(pdactlLog({path, "--full", "--unredacted"}).output, kPlanted));
    EXPECT_TRUE(contains(pdactlLog({path, "--json", "--unredacted"}).output, kPlanted));
    EXPECT_EQ(pdactlLog({path, "--html", page, "--unredacted"}).exitCode, 0);
    EXPECT_TRUE(contains(readFile(page), kPlanted));
    EXPECT_TRUE(contains(readFile(page), "This page is not redacted"));
}

TEST(LogCommand, RedactsTheWholeLogInOrder) {
    const RotatedLog log = threeExchanges("redact");
    log.append(stamp(99000) + "INFO     : Write XML: " + message("8012", tag("Ex_Key", "0011")) +
               " sendLen:1\n");
    const std::string copy = log.directory() + "/copy";
    const ProgramResult result = pdactlLog({log.base(), "--redact", copy});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(contains(result.errors, "wrote the redacted log to"));
    std::string expected = readFile(log.copy(1)) + readFile(log.base());
    expected.replace(expected.find("0011</"), 4, "***");
    EXPECT_EQ(readFile(copy), expected);
    const auto exchanges = [](const std::string& path) {
        return parsed(pdactlLog({path, "--json"}).output)["exchanges"].toArray();
    };
    EXPECT_EQ(exchanges(copy).size(), 4);
    EXPECT_EQ(exchanges(copy), exchanges(log.base()));
}

TEST(LogCommand, SurvivesGarbage) {
    std::string garbage;
    unsigned int state = 12345;
    for (int i = 0; i < 300000; ++i) {
        state = state * 1103515245U + 12345U;
        garbage += static_cast<char>(state >> 16U & 0xFFU);
        if (i % 5000 == 0) {
            garbage +=
                "\n" + stamp(i) + "INFO     : HID Read XML: 000" + std::to_string(i % 1000) + "8001<Ex_Key>";
        }
    }
    const std::string path = scratchDirectory() + "/garbage.log";
    writeFile(path, garbage);
    EXPECT_EQ(pdactlLog({path}).exitCode, 0);
    (void)parsed(pdactlLog({path, "--json", "--unredacted"}).output);
}

TEST(LogCommand, ReadsWhatTheLibraryWrites) {
    const std::string folder = scratchDirectory() + "/library";
    std::filesystem::create_directories(folder);
    std::filesystem::copy_file(std::string(PDALINK_LIBRARY_DIRECTORY) + "/libpdalink.so.1",
                               folder + "/libpdalink.so.1");
    writeFile(folder + "/PDAConfigure.ini", "VID=1209\nPID=0001\n");
    const std::string program = PDACTL_PROGRAM;
    const ProgramResult calls =
        runProgram({PDASIM_PROGRAM, "run", "--", "sh", "-c", program + " info && " + program + " lock list"},
                   {{"LD_LIBRARY_PATH", folder}});
    const ProgramResult result = pdactlLog({"--json", folder + "/log"});
    const QJsonArray exchanges = parsed(result.output)["exchanges"].toArray();
    ASSERT_EQ(exchanges.size(), 2) << calls.errors << result.errors << result.output;
    EXPECT_EQ(exchanges[0].toObject()["call"].toString(), "GetInfo");
    EXPECT_EQ(exchanges[0].toObject()["outcome"].toString(), "done");
    EXPECT_EQ(exchanges[1].toObject()["call"].toString(), "GetLockList");
    EXPECT_EQ(exchanges[1].toObject()["origin"].toString(), "direct call");
    EXPECT_EQ(exchanges[1].toObject()["resultCode"].toString(), "000000");
}

} // namespace

} // namespace pdactl::log::test
