#include "PrivateDirectory.h"
#include "ProcessFacts.h"
#include "ServedTerminal.h"

#include <gtest/gtest.h>

#include <sys/types.h>

#include <csignal>
#include <string>
#include <vector>

namespace {

using pdalink::test::ProgramResult;
using pdalink::test::readFile;
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
    const ProgramResult modules = pdalink::test::runProgram({"sh", "-c", "java --list-modules"});
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
    EXPECT_EQ(idsSeenWith({"--ini", PDALINK_SAMPLE_INI}), "1209 0001\n");
}

/// What can be wrong with a command line, and with what it names.
struct Refusal {
    int exitCode;
    std::vector<std::string> arguments;
    std::string reason;
};

const std::vector<Refusal> kRefusals = {
    {64, {}, "subcommand is required"},
    {64, {"run"}, "command is required"},
    {64, {"run", "--no-such-option", "--", "true"}, "--no-such-option"},
    {64, {"run", "--vid", "12345", "--", "true"}, "\"12345\" is not a USB id"},
    {64, {"run", "--pid", "xyz", "--", "true"}, "\"xyz\" is not a USB id"},
    {127, {"run", "--", "/no/such/program"}, "cannot run /no/such/program: No such file"},
    {64, {"serve", "--terminals", "0"}, "--terminals"},
    {64, {"serve", "--terminals", "10"}, "--terminals"},
    {64,
     {"serve", "--terminals", "2", "--pid", "ffff"},
     "--terminals: there are no product ids after ffff; give a smaller --pid, or ask for fewer\n"},
    {73,
     {"serve", "--control", std::string(120, 'x')},
     std::string(120, 'x') + ": File name too long. Give --control a shorter one\n"},
    {65, {"serve", "--scenario", "no-such"}, "there is no readable file \"no-such\""},
    {65,
     {"scenarios", "--show", "nothing"},
     "pdasim: no scenario \"nothing\" is built in: see \"pdasim scenarios\"\n"},
    {69,
     {"ctl", "--control", "/no/such/socket", "state"},
     "pdasim: cannot reach a running pdasim at /no/such/socket: No such file or directory. \"pdasim "
     "serve\" starts one, and prints the settings that lead to it\n"},
    {64, {"ctl", "--terminal", "0", "state"}, "pdasim: --terminal: Value 0 not in range 1 to 9. "},
    {64, {"ctl", "scan"}, "labels is required. \"pdasim ctl scan --help\" shows what fits.\n"},
    {64, {"ctl", "login"}, "user is required. \"pdasim ctl login --help\" shows what fits.\n"},
    {64, {"ctl", "fly"}, R"(pdasim: "pdasim ctl" has no subcommand "fly". There are: scan, )"},
    {64, {"ctl"}, "replug, state, traffic. \"pdasim ctl --help\" tells what each does.\n"},
    {64, {"ctl", "traffic", "--count", "0"}, "pdasim: --count: Value 0 not in range 1 to 1000000000. "},
    {64, {"usbip", "--listen", "65536"}, "pdasim: --listen: Value 65536 not in range 0 to 65535. "},
    {64, {"usbip", "--listen", "-1"}, "pdasim: --listen: Value -1 not in range 0 to 65535. "},
    {64, {"usbip", "--listen", "x"}, "pdasim: --listen: Value x not in range 0 to 65535. "},
    {64, {"gadget", "--node", "/dev/hidg0", "--udc", "x"}, "excludes"},
    {64, {"gadget", "--node", "/dev/hidg0", "--script"}, "excludes"},
    {64, {"gadget", "--remove"}, "requires"},
    {64, {"gadget", "--script", "--terminals", "2"}, "leave --terminals out\n"},
    {64, {"gadget", "--udc", "x", "--terminals", "2"}, "leave --terminals out\n"},
    {64, {"gadget", "--script", "--vid", "xyz"}, "\"xyz\" is not a USB id"},
    {65, {"gadget", "--script", "--scenario", "no-such"}, "there is no readable file \"no-such\""}};

void expectRefusals(const std::vector<Refusal>& refusals) {
    for (const Refusal& wrong : refusals) {
        const ProgramResult result = pdasim(wrong.arguments);
        EXPECT_EQ(result.exitCode, wrong.exitCode) << wrong.reason;
        EXPECT_TRUE(contains(result.errors, wrong.reason)) << result.errors;
        EXPECT_EQ(result.output, "");
    }
}

TEST(Pdasim, RefusesWithAReason) {
    expectRefusals(kRefusals);
}

TEST(Pdasim, RefusesFilesAndSocketsWithAReason) {
    const std::string ini = scratchDirectory() + "/half.ini";
    writeFile(ini, "VID=1209\n");
    const std::string taken = scratchDirectory() + "/taken";
    const pdasim::test::ServedTerminal served({"--control", taken, "--terminals", "2"});
    const std::string noFolder = ": No such file or directory. Give ";
    const std::string path = " a path in a folder that is there and that you may write to";
    expectRefusals(
        {{64, {"run", "--vid", "1", "--ini", ini, "--", "true"}, "excludes"},
         {64,
          {"run", "--ini", ini, "--", "true"},
          "half.ini: no line PID=...; add one, PID=0x1209 for example, or give both ids with --vid and "
          "--pid\n"},
         {64,
          {"run", "--ini", "/no/such.ini", "--", "true"},
          "cannot read /no/such.ini" + noFolder +
              "a file that you may read, or the ids with --vid and --pid\n"},
         {64,
          {"run", "--ini", scratchDirectory(), "--", "true"},
          ": Is a directory. Give a file that you may "},
         {126, {"run", "--", scratchDirectory()}, "cannot run "},
         {73,
          {"run", "--trace", "/no/such/trace", "--", "true"},
          "cannot write the trace to /no/such/trace" + noFolder + "--trace" + path + ", or \"-\"\n"},
         {73,
          {"serve", "--control", taken},
          "cannot listen at " + taken +
              ": Address already in use. It is taken: give another path with --control\n"},
         {73,
          {"serve", "--control", "/no/such/folder/s"},
          "cannot listen at /no/such/folder/s" + noFolder + "--control" + path + "\n"},
         {73,
          {"serve", "--env-file", "/no/such/folder/e"},
          "cannot write the settings to /no/such/folder/e" + noFolder + "--env-file" + path + "\n"},
         {1,
          {"ctl", "--control", taken, "--terminal", "3", "unplug"},
          "there is no terminal 3; name one of 1 to 2\n"}});
}

/// A command that waits for ever and has told its process id.
class RunningCommand {
public:
    bool lives() const { return m_command > 0 && ::kill(m_command, 0) == 0; }

    pdasim::test::RunningProgram program{
        {Program, "run", "--", "sh", "-c", "echo $$; exec " + kBareProgram + " wait"}};

private:
    pid_t m_command = std::stoi("0" + program.readLine());
};

TEST(Pdasim, PassesARequestToEndOnToItsCommand) {
    RunningCommand running;
    ASSERT_TRUE(running.lives());
    running.program.signal(SIGTERM);
    EXPECT_EQ(running.program.wait(), 128 + SIGTERM);
    EXPECT_FALSE(running.lives());
}

TEST(Pdasim, TakesItsCommandAlongWhenItIsKilled) {
    RunningCommand running;
    ASSERT_TRUE(running.lives());
    running.program.signal(SIGKILL);
    (void)running.program.wait();
    EXPECT_TRUE(waitUntil([&running] { return !running.lives(); }));
}

} // namespace
