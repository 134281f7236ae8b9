#include "PrivateDirectory.h"
#include "ProcessFacts.h"
#include "ServedTerminal.h"

#include <gtest/gtest.h>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using pdalink::test::ProgramResult;
using pdalink::test::readFile;
using pdalink::test::runProgram;
using pdalink::test::scratchDirectory;
using pdalink::test::waitUntil;
using pdalink::test::writeFile;
using pdasim::test::contains;
using pdasim::test::pdasim;
using pdasim::test::Program;

const std::string kBareProgram = PDASIM_BARE_CLIENT;

TEST(Pdasim, RunsAClientInC) {
    const ProgramResult result = pdasim({"run", "--", kBareProgram, "good"});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.output.substr(0, 16), "0002418001QEV   ");
    EXPECT_TRUE(contains(result.output, "<Ex_RetCode>000000</Ex_RetCode>"));
    EXPECT_EQ(result.errors, "");
}

TEST(Pdasim, RunsAClientInPython) {
    const std::string script = "import os, select\n"
                               "node = os.open('/dev/hidraw0', os.O_RDWR | os.O_NONBLOCK)\n"
                               "tags = '<Ex_TrTime>20260102030405</Ex_TrTime><Ex_SeqNo>0001</Ex_SeqNo>'\n"
                               "text = '8001QEV   ' + '0' * 24 + ' ' * 8 + '05' + tags\n"
                               "os.write(node, ('%06d' % (len(text) + 6) + text).encode())\n"
                               "select.select([node], [], [], 10)\n"
                               "print(len(os.read(node, 4096)))\n";
    const ProgramResult result = pdasim({"run", "--", "python3", "-c", script});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.output, "64\n");
}

TEST(Pdasim, RunsAClientInJava) {
    const ProgramResult modules = runProgram({"sh", "-c", "java --list-modules"});
    if (modules.exitCode != 0 || !contains(modules.output, "jdk.compiler")) {
        GTEST_SKIP() << "there is no java that runs a source file: " << modules.errors;
    }
    const ProgramResult result = pdasim({"run", "--", "java", PDASIM_JAVA_CLIENT});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.output.substr(0, 16), "0002418001QEV   ");
    EXPECT_TRUE(contains(result.output, "<Ex_RetCode>000000</Ex_RetCode>"));
}

TEST(Pdasim, NoReadWaitsWhetherItsDescriptorBlocksOrNot) {
    for (const std::string flags : {"os.O_RDWR", "os.O_RDWR | os.O_NONBLOCK"}) {
        const std::string script = "import errno, os\n"
                                   "node = os.open('/dev/hidraw0', " +
                                   flags +
                                   ")\n"
                                   "try:\n"
                                   "    print(len(os.read(node, 64)))\n"
                                   "except BlockingIOError as nothing:\n"
                                   "    print(errno.errorcode[nothing.errno])\n";
        const ProgramResult result = pdasim({"run", "--", "timeout", "20", "python3", "-c", script});
        EXPECT_EQ(result.exitCode, 0) << result.errors;
        EXPECT_EQ(result.output, "EAGAIN\n") << flags;
    }
}

TEST(Pdasim, EndsWithTheExitCodeOfItsCommand) {
    EXPECT_EQ(pdasim({"run", "--", kBareProgram, "exit", "0"}).exitCode, 0);
    EXPECT_EQ(pdasim({"run", "--", kBareProgram, "exit", "7"}).exitCode, 7);
    EXPECT_EQ(pdasim({"run", "--", kBareProgram, "signal", std::to_string(SIGTERM)}).exitCode, 128 + SIGTERM);
    EXPECT_EQ(pdasim({"run", "--", kBareProgram, "signal", std::to_string(SIGKILL)}).exitCode, 128 + SIGKILL);
}

TEST(Pdasim, FailsWhenTheCommandBreaksTheProtocol) {
    const ProgramResult result = pdasim({"run", "--", kBareProgram, "gap"});
    EXPECT_EQ(result.exitCode, 70);
    EXPECT_EQ(result.errors, "pdasim: protocol violated: message 2 of type 8001: Ex_SeqNo is 0003 after 1\n");
}

TEST(Pdasim, KeepsTheFailureOfACommandThatAlsoBreaksTheProtocol) {
    const ProgramResult result = pdasim({"run", "--", "sh", "-c", kBareProgram + " gap; exit 3"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_TRUE(contains(result.errors, "protocol violated"));
}

TEST(Pdasim, AcceptsSeveralClientsOneAfterTheOther) {
    const ProgramResult result =
        pdasim({"run", "--", "sh", "-c", kBareProgram + " good; " + kBareProgram + " good"});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

TEST(Pdasim, TracesBothDirectionsDecoded) {
    const std::string path = scratchDirectory() + "/trace";
    EXPECT_EQ(pdasim({"run", "--trace", path, "--", kBareProgram, "good"}).exitCode, 0);
    const std::string trace = readFile(path);
    EXPECT_TRUE(contains(trace, "  host -> terminal  8001 terminal information (112 bytes) "
                                "Ex_TrTime=20260102030405 Ex_SeqNo=0001\n"))
        << trace;
    EXPECT_TRUE(contains(trace, "  terminal -> host  8001 terminal information (241 bytes) ")) << trace;
    const ProgramResult onErrors = pdasim({"run", "--trace", "-", "--", kBareProgram, "good"});
    EXPECT_TRUE(contains(onErrors.errors, "host -> terminal  8001"));
    EXPECT_FALSE(contains(onErrors.output, "host -> terminal"));
}

std::string idsSeenWith(const std::vector<std::string>& options) {
    std::vector<std::string> arguments = {"run"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.insert(arguments.end(), {"--", "python3", "-c",
                                       "import os\n"
                                       "for place, folders, files in os.walk('/sys/devices'):\n"
                                       "    if 'idVendor' in files:\n"
                                       "        print(open(place + '/idVendor').read(),"
                                       " open(place + '/idProduct').read())\n"});
    const ProgramResult result = pdasim(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    return result.output;
}

TEST(Pdasim, TakesItsIdsFromOptionsOrAnIni) {
    EXPECT_EQ(idsSeenWith({}), "1209 0001\n");
    EXPECT_EQ(idsSeenWith({"--vid", "0xAB", "--pid", "CD12"}), "00ab cd12\n");
    const std::string ini = scratchDirectory() + "/some.ini";
    writeFile(ini, "[usb]\r\nVID=1111\r\n# PID=2222\r\n VID = 0x04D8\r\nXVID=3333\r\nPID=0xf2bf\r\n");
    EXPECT_EQ(idsSeenWith({"--ini", ini}), "04d8 f2bf\n");
}

TEST(Pdasim, TakesTheSampleIniOfThePackage) {
    EXPECT_EQ(idsSeenWith({"--ini", PDALINK_SAMPLE_INI}), idsSeenWith({}));
}

TEST(Pdasim, RefusesBadUsageWithAReason) {
    const std::string ini = scratchDirectory() + "/half.ini";
    writeFile(ini, "VID=1209\n");
    struct Case {
        std::vector<std::string> arguments;
        std::string reason;
    };
    const std::vector<Case> cases = {
        {{}, "subcommand is required"},
        {{"run"}, "command is required"},
        {{"run", "--no-such-option", "--", "true"}, "--no-such-option"},
        {{"run", "--vid", "12345", "--", "true"}, "\"12345\" is not a USB id"},
        {{"run", "--pid", "xyz", "--", "true"}, "\"xyz\" is not a USB id"},
        {{"run", "--vid", "1", "--ini", ini, "--", "true"}, "excludes"},
        {{"run", "--ini", ini, "--", "true"},
         "half.ini: no line PID=...; add one, PID=0x1209 for example, or give both ids with --vid and "
         "--pid\n"},
        {{"run", "--ini", "/no/such.ini", "--", "true"},
         "cannot read /no/such.ini: No such file or directory. Give a file that you may read, or the ids "
         "with --vid and --pid\n"},
        {{"run", "--ini", scratchDirectory(), "--", "true"}, ": Is a directory. Give a file that you may "},
    };
    for (const Case& wrong : cases) {
        const ProgramResult result = pdasim(wrong.arguments);
        EXPECT_EQ(result.exitCode, 64) << wrong.reason;
        EXPECT_TRUE(contains(result.errors, wrong.reason)) << result.errors;
    }
}

TEST(Pdasim, SaysWhyItCannotRunTheCommandOrWriteTheTrace) {
    const ProgramResult missing = pdasim({"run", "--", "/no/such/program"});
    EXPECT_EQ(missing.exitCode, 127);
    EXPECT_TRUE(contains(missing.errors, "cannot run /no/such/program: No such file")) << missing.errors;
    EXPECT_EQ(pdasim({"run", "--", scratchDirectory()}).exitCode, 126);
    const ProgramResult unwritable = pdasim({"run", "--trace", "/no/such/trace", "--", "true"});
    EXPECT_EQ(unwritable.exitCode, 73);
    EXPECT_EQ(unwritable.errors,
              "pdasim: cannot write the trace to /no/such/trace: No such file or directory. Give --trace a "
              "path in a folder that is there and that you may write to, or \"-\"\n");
}

TEST(Pdasim, HelpsOnDemand) {
    const ProgramResult result = pdasim({"run", "--help"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(contains(result.output, "--trace"));
    EXPECT_TRUE(contains(result.output, "70 when the command succeeded but broke the protocol"));
}

/// pdasim with a command that waits for ever and has told its process id.
class RunningPdasim {
public:
    RunningPdasim() {
        const std::string command = "echo $$ > " + m_pidFile + ".new; mv " + m_pidFile + ".new " + m_pidFile +
                                    "; exec " + kBareProgram + " wait";
        std::vector<std::string> arguments = {Program, "run", "--", "sh", "-c", command};
        std::vector<char*> pointers;
        pointers.reserve(arguments.size() + 1);
        for (std::string& argument : arguments) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        EXPECT_EQ(::posix_spawn(&m_process, Program.c_str(), nullptr, nullptr, pointers.data(), environ), 0);
        EXPECT_TRUE(waitUntil([this] { return std::filesystem::exists(m_pidFile); }));
        m_command = std::stoi("0" + readFile(m_pidFile));
    }
    RunningPdasim(const RunningPdasim&) = delete;
    RunningPdasim& operator=(const RunningPdasim&) = delete;
    ~RunningPdasim() {
        if (m_process > 0) {
            (void)::kill(m_process, SIGKILL);
            (void)wait();
        }
        std::filesystem::remove(m_pidFile);
    }

    pid_t process() const { return m_process; }
    bool commandLives() const { return m_command > 0 && ::kill(m_command, 0) == 0; }
    int wait() {
        int status = 0;
        (void)::waitpid(m_process, &status, 0);
        m_process = 0;
        return status;
    }

private:
    std::string m_pidFile = scratchDirectory() + "/command.pid";
    pid_t m_process = 0;
    pid_t m_command = 0;
};

TEST(Pdasim, PassesARequestToEndOnToItsCommand) {
    RunningPdasim running;
    ASSERT_TRUE(running.commandLives());
    ASSERT_EQ(::kill(running.process(), SIGTERM), 0);
    const int status = running.wait();
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 128 + SIGTERM);
    EXPECT_FALSE(running.commandLives());
}

TEST(Pdasim, TakesItsCommandAlongWhenItIsKilled) {
    RunningPdasim running;
    ASSERT_TRUE(running.commandLives());
    ASSERT_EQ(::kill(running.process(), SIGKILL), 0);
    (void)running.wait();
    EXPECT_TRUE(waitUntil([&running] { return !running.commandLives(); }));
}

} // namespace
