#include "LogLines.h"
#include "Pdactl.h"
#include "PdactlRun.h"
#include "RotatedLog.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sstream>
#include <string>
#include <vector>

namespace pdactl::log::test {

namespace {

using pdalink::test::RunningPdactl;
using pdalink::test::waitUntil;
using pdalink::test::Words;

/// "pdactl log --follow" while it runs.
class Following : public RunningPdactl {
public:
    explicit Following(const RotatedLog& log, const Words& options = {})
        : RunningPdactl(argumentsFor(log, options), {}) {}

    bool shows(const std::string& text, std::size_t times = 1) const {
        return waitUntil([&] { return count(output(), text) >= times; }, std::chrono::seconds(60));
    }
    /// The exit code after a signal.
    int end(int number) {
        signal(number);
        return finish().exitCode;
    }

private:
    static Words argumentsFor(const RotatedLog& log, const Words& options) {
        Words words{"log", "--follow", log.base()};
        words.insert(words.end(), options.begin(), options.end());
        return words;
    }
};

TEST(LogFollow, ShowsExchangesAsTheyCome) {
    const RotatedLog log("grow");
    LogText text;
    log.append(text.getInfo().text());
    Following following(log);
    EXPECT_TRUE(following.shows("GetInfo"));
    const std::size_t before = text.text().size();
    text.after(3000).getInfo();
    const std::size_t middle = before + 150;
    log.append(text.text().substr(before, middle - before));
    log.append(text.text().substr(middle));
    EXPECT_TRUE(following.shows("GetInfo", 2)) << following.output();
    EXPECT_TRUE(contains(following.output(), "0.111 s     3.000 s"));
    EXPECT_EQ(following.end(SIGINT), 0);
    EXPECT_EQ(following.errors(), "");
}

TEST(LogFollow, GoesOnOverRotations) {
    const RotatedLog log("rotate");
    log.append(LogText().getInfo().text());
    Following following(log);
    EXPECT_TRUE(following.shows("GetInfo"));
    constexpr std::size_t kRounds = 12;
    for (std::size_t round = 0; round < kRounds; ++round) {
        const std::string text = LogText().after(static_cast<int>(round) * 1000).getInfo().text();
        log.append(text.substr(0, text.find("Write XML")));
        log.append(text.substr(text.find("Write XML")));
        log.rotate();
        log.append(stamp(static_cast<int>(round) * 1000 + 500) + "INFO     : port open success\n");
        EXPECT_TRUE(following.shows("GetInfo", round + 2)) << following.output();
    }
    EXPECT_EQ(following.end(SIGTERM), 0);
    EXPECT_EQ(count(following.output(), " done "), kRounds + 1);
    EXPECT_EQ(following.errors(), "");
}

TEST(LogFollow, TellsOfRotationsThatItMissed) {
    const RotatedLog log("missed");
    log.append(LogText().getInfo().request(R"({"transCode":"600013"})").text());
    Following following(log);
    EXPECT_TRUE(following.shows("GetInfo"));
    following.signal(SIGSTOP);
    for (int rotation = 0; rotation < 7; ++rotation) {
        log.rotate();
        log.append(LogText().after(1000 * rotation).getInfo().text());
    }
    following.signal(SIGCONT);
    EXPECT_TRUE(following.complains("the log was cut, or rotated too often between two looks"));
    EXPECT_TRUE(following.shows("GetInfo", 7)) << following.output();
    EXPECT_TRUE(following.shows("unfinished"));
    EXPECT_EQ(following.end(SIGTERM), 0);
    EXPECT_EQ(count(following.output(), "GetInfo"), 7U);
}

TEST(LogFollow, MasksSecretsAndEndsWithWhatIsUnfinished) {
    const RotatedLog log("unfinished");
    log.append(LogText().getInfo().text());
    Following following(log, {"--full"});
    EXPECT_TRUE(following.shows("GetInfo"));
    log.append(LogText()
                   .request(R"({"transCode":"600012","pKey":"S3CR3T"})")
                   .response("{}", -1)
                   .request(R"({"transCode":"600013"})")
                   .step("[GetKeyVerificationValue] begin")
                   .text());
    EXPECT_TRUE(following.shows(R"("pKey":"***")"));
    EXPECT_FALSE(contains(following.output(), "unfinished"));
    EXPECT_EQ(following.end(SIGTERM), 0);
    EXPECT_TRUE(contains(following.output(), "unfinished"));
    EXPECT_FALSE(contains(following.output(), "S3CR3T"));
}

TEST(LogFollow, PrintsOneJsonDocumentPerLineAsTheyCome) {
    const RotatedLog log("documents");
    log.append(LogText().getInfo().text());
    Following following(log, {"--json", "--code", "600002"});
    for (std::size_t lines = 1; lines <= 3; ++lines) {
        EXPECT_TRUE(following.shows("\n", lines)) << following.output();
        std::istringstream output(following.output());
        std::string line;
        std::size_t documents = 0;
        while (std::getline(output, line)) {
            const QJsonObject document = pdalink::test::onlyDocument(line).object();
            EXPECT_EQ(document["call"].toString(), "GetInfo") << line;
            ++documents;
        }
        EXPECT_EQ(documents, lines);
        log.append(LogText().after(2000 * static_cast<int>(lines)).getInfo().text());
    }
    EXPECT_EQ(following.end(SIGINT), 0);
    EXPECT_EQ(count(following.output(), "\n"), 4U);
}

TEST(LogFollow, RefusesAFileThatIsNotALog) {
    const RotatedLog log("no-log");
    log.append("#!/bin/sh\necho 2026-01-02 03:04:05678 INFO     : no\n");
    Following following(log);
    EXPECT_EQ(following.finish().exitCode, 1);
    EXPECT_TRUE(contains(following.errors(), "is not a log of the library")) << following.errors();
    EXPECT_EQ(following.output(), "");
}

} // namespace

} // namespace pdactl::log::test
