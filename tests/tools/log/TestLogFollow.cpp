#include "LogLines.h"
#include "Pdactl.h"
#include "PrivateDirectory.h"
#include "ProcessFacts.h"
#include "RotatedLog.h"

#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <sstream>
#include <string>
#include <vector>

namespace pdactl::log::test {

namespace {

using pdalink::test::readFile;
using pdalink::test::waitUntil;

/** "pdactl log --follow" while it runs. */
class Following {
public:
    explicit Following(const RotatedLog& log, const std::vector<std::string>& options = {})
        : m_output(log.directory() + "/output") {
        std::vector<std::string> command{PDACTL_PROGRAM, "log", "--follow", log.base()};
        command.insert(command.end(), options.begin(), options.end());
        std::vector<char*> arguments;
        arguments.reserve(command.size());
        for (std::string& argument : command) {
            arguments.push_back(argument.data());
        }
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t actions{};
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, m_output.c_str(), O_WRONLY | O_CREAT,
                                           0600);
        ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, (m_output + ".errors").c_str(),
                                           O_WRONLY | O_CREAT, 0600);
        if (::posix_spawn(&m_process, PDACTL_PROGRAM, &actions, nullptr, arguments.data(), environ) != 0) {
            m_process = 0;
        }
        ::posix_spawn_file_actions_destroy(&actions);
    }
    Following(const Following&) = delete;
    Following& operator=(const Following&) = delete;
    ~Following() { (void)end(SIGKILL); }

    std::string output() const { return readFile(m_output); }
    std::string errors() const { return readFile(m_output + ".errors"); }

    bool shows(const std::string& text, std::size_t times = 1) const {
        return waitUntil([&] { return count(output(), text) >= times; }, std::chrono::seconds(60));
    }

    /** The exit code after a signal; 0 for none, when it ends by itself. */
    int end(int signal) {
        int status = 0;
        if (m_process <= 0 || ::kill(m_process, signal) != 0 ||
            ::waitpid(m_process, &status, 0) != m_process) {
            return -1;
        }
        m_process = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    std::string m_output;
    pid_t m_process = 0;
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
    constexpr std::size_t rounds = 12;
    for (std::size_t round = 0; round < rounds; ++round) {
        const std::string text = LogText().after(static_cast<int>(round) * 1000).getInfo().text();
        log.append(text.substr(0, text.find("Write XML")));
        log.append(text.substr(text.find("Write XML")));
        log.rotate();
        log.append(stamp(static_cast<int>(round) * 1000 + 500) + "INFO     : port open success\n");
        EXPECT_TRUE(following.shows("GetInfo", round + 2)) << following.output();
    }
    EXPECT_EQ(following.end(SIGTERM), 0);
    EXPECT_EQ(count(following.output(), " done "), rounds + 1);
    EXPECT_EQ(following.errors(), "");
}

TEST(LogFollow, EndsWithWhatIsUnfinished) {
    const RotatedLog log("unfinished");
    log.append(LogText()
                   .getInfo()
                   .request(R"({"transCode":"600013"})")
                   .step("[GetKeyVerificationValue] begin")
                   .text());
    Following following(log);
    EXPECT_TRUE(following.shows("GetInfo"));
    EXPECT_FALSE(contains(following.output(), "unfinished"));
    EXPECT_EQ(following.end(SIGTERM), 0);
    EXPECT_TRUE(contains(following.output(), "unfinished"));
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
            const QJsonObject document = QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
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
    EXPECT_EQ(following.end(0), 1);
    EXPECT_TRUE(contains(following.errors(), "is not a log of the library")) << following.errors();
    EXPECT_EQ(following.output(), "");
}

TEST(LogFollow, MasksSecrets) {
    const RotatedLog log("masked");
    log.append(LogText().getInfo().text());
    Following following(log, {"--full"});
    EXPECT_TRUE(following.shows("GetInfo"));
    log.append(LogText().request(R"({"transCode":"600012","pKey":"S3CR3T"})").response("{}", -1).text());
    EXPECT_TRUE(following.shows(R"("pKey":"***")"));
    EXPECT_EQ(following.end(SIGINT), 0);
    EXPECT_FALSE(contains(following.output(), "S3CR3T"));
}

} // namespace

} // namespace pdactl::log::test
