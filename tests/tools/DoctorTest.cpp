#include "PdactlRun.h"

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

namespace {

using namespace pdalink::test;
using pdasim::Fault;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace fs = std::filesystem;

const std::string GoodRule = "# the terminal\n"
                             "SUBSYSTEM==\"hidraw\", ATTRS{idVendor}==\"1209\", \\\n"
                             "  ATTRS{idProduct}==\"0001\", TAG+=\"uaccess\"\n";

/** On a machine whose udev rules are the test's own; a good one is there. */
class DoctorTest : public PdactlTest {
protected:
    DoctorTest() : m_root(scratchDirectory() + "/root") {
        fs::create_directories(m_root + "/etc/udev/rules.d");
        fs::create_directories(m_root + "/usr/lib/udev/rules.d");
        writeRule("/etc", "70-terminal.rules", GoodRule);
    }

    void writeRule(const std::string& place, const std::string& name, const std::string& text) {
        writeFile(m_root + place + "/udev/rules.d/" + name, text);
    }
    void removeRules() { fs::remove(m_root + "/etc/udev/rules.d/70-terminal.rules"); }

    ProgramResult doctor(const Words& options = {}) {
        Words words{"doctor"};
        words.insert(words.end(), options.begin(), options.end());
        Variables variables = environment();
        variables["PDACTL_ROOT"] = m_root;
        return runPdactl(words, variables);
    }

    /** The findings of one check. */
    std::vector<QJsonObject> findings(const std::string& check) {
        const ProgramResult result = doctor({"--json"});
        bool isIll = false;
        std::vector<QJsonObject> found;
        for (const QJsonValue value : onlyDocument(result.output).array()) {
            const QJsonObject finding = value.toObject();
            isIll = isIll || finding.value("health").toString() == "problem";
            EXPECT_EQ(finding.contains("command"), finding.value("health").toString() != "ok");
            if (finding.value("check").toString().toStdString() == check) {
                found.push_back(finding);
            }
        }
        EXPECT_EQ(result.exitCode, isIll ? 1 : 0) << result.output << result.errors;
        return found;
    }
    QJsonObject finding(const std::string& check) {
        const std::vector<QJsonObject> all = findings(check);
        EXPECT_THAT(all, SizeIs(1)) << check;
        return all.empty() ? QJsonObject() : all.front();
    }
    void finds(const std::string& check, const std::string& health, const std::string& text,
               const std::string& command = "") {
        const QJsonObject found = finding(check);
        EXPECT_EQ(found.value("health").toString().toStdString(), health) << check;
        EXPECT_THAT(found.value("text").toString().toStdString(), HasSubstr(text));
        EXPECT_THAT(found.value("command").toString().toStdString(), HasSubstr(command));
    }

private:
    std::string m_root;
};

TEST_F(DoctorTest, FindsAHealthyMachine) {
    const ProgramResult result = doctor();
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(result.errors, "");
    EXPECT_THAT(result.output,
                AllOf(HasSubstr("ok       " + privateDirectory() + "/libpdalink.so.1, version 1\n"),
                      HasSubstr("ok       " + privateDirectory() + "/PDAConfigure.ini says 1209:0001\n"),
                      HasSubstr("ok       " + privateDirectory() + "/log can be made\n"),
                      HasSubstr("ok       every hidraw node belongs to a USB device\n"),
                      HasSubstr("ok       /dev/hidraw0 belongs to USB device 1209:0001\n"),
                      HasSubstr("ok       you may read and write /dev/hidraw0\n"),
                      HasSubstr("/etc/udev/rules.d/70-terminal.rules is for 1209:0001\n"),
                      EndsWith("ok       the terminal answers: it is 860123456789012\n")));
    EXPECT_THAT(terminal().received(), SizeIs(1));
}

TEST_F(DoctorTest, PutsTheCommandBelowTheFinding) {
    terminal().unplug();
    const ProgramResult result = doctor();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output,
                HasSubstr("problem  no hidraw node of a USB device 1209:0001: plug the terminal "
                          "in, or correct the ini\n         lsusb\n"));
}

TEST_F(DoctorTest, MissesTheIni) {
    removeIni();
    finds("ini", "problem", "is not there", "sudo tee " + privateDirectory() + "/PDAConfigure.ini");
    EXPECT_THAT(findings("node"), IsEmpty());
    EXPECT_THAT(findings("rules"), IsEmpty());
    EXPECT_THAT(findings("answer"), IsEmpty());
}

TEST_F(DoctorTest, MissesAnId) {
    writeIni("VID=0x1209\n");
    finds("ini", "problem", R"(VID "1209" and PID "")", "PDAConfigure.ini");
}

TEST_F(DoctorTest, ReadsTheIniAsTheLibraryDoes) {
    writeIni("# VID=ffff\r\nMY_VID=ffff\r\nVID=ffff\r\n  VID  =  0x1209\r\nvid=ffff\r\nPID=0001\r\n");
    finds("ini", "ok", "says 1209:0001");
    finds("answer", "ok", "the terminal answers");
}

TEST_F(DoctorTest, KeepsTheLibraryFromAnIniThatEndsIt) {
    for (const std::string& line :
         {std::string("PID=0x00010002000300"), std::string("# PID ") + std::string(300, ' ') + "=1",
          std::string("# PID=") + std::string(300, 'x')}) {
        writeIni("VID=0x1209\n" + line + "\nPID=0x0001\n");
        finds("ini", "problem", "line 2: too long", "sudo sed -i 2d ");
    }
    EXPECT_THAT(terminal().received(), IsEmpty());
}

TEST_F(DoctorTest, MissesAPlaceForTheLog) {
    writeFile(privateDirectory() + "/log", "in the way");
    finds("log", "problem", "cannot be written", "sudo install -d -m 750");
}

TEST_F(DoctorTest, SeesALogThatOnlyOthersMayWrite) {
    fs::create_directories(logPath());
    finds("log", "warning", "PDA_T1.log", "sudo chown");
}

TEST_F(DoctorTest, SeesALogThatIsThere) {
    EXPECT_EQ(pdactl({"info"}).exitCode, 0);
    finds("log", "ok", "PDA.log can be written");
}

TEST_F(DoctorTest, KeepsTheLibraryFromANodeThatEndsIt) {
    pdasim::DeviceDescription keyboard;
    keyboard.hasUsbParent = false;
    terminal().testBed().addDevice(keyboard);
    finds("orphan", "problem", "/dev/hidraw1", "/driver/unbind");
    EXPECT_THAT(findings("answer"), IsEmpty());
    EXPECT_THAT(terminal().received(), IsEmpty());
}

TEST_F(DoctorTest, MissesTheNode) {
    writeIni("VID=0x1209\nPID=0x0002\n");
    finds("node", "problem", "no hidraw node of a USB device 1209:0002", "lsusb");
    EXPECT_THAT(findings("permissions"), IsEmpty());
    EXPECT_THAT(findings("answer"), IsEmpty());
}

TEST_F(DoctorTest, TakesTheLastOfSeveralNodes) {
    const int second = terminal().testBed().addDevice({});
    finds("node", "warning",
          "2 nodes belong to USB devices 1209:0001; the last one, " + terminal().testBed().nodePath(second) +
              ", is used");
}

TEST_F(DoctorTest, SeesAnotherProcessAtTheNode) {
    RunningPdactl other({"listen"}, environment());
    ASSERT_TRUE(other.complains("listening"));
    finds("users", "problem",
          "process " + std::to_string(other.process()) + " (pdactl) has /dev/hidraw0 open",
          "kill " + std::to_string(other.process()));
    other.signal(SIGTERM);
    (void)other.finish();
    finds("users", "ok", "no other process");
}

TEST_F(DoctorTest, SeesThatTheNodeMayNotBeUsed) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to become somebody else";
    }
    const std::string root = terminal().testBed().rootDirectory();
    const std::string node = fs::read_symlink(root + "/dev/hidraw0");
    ASSERT_EQ(::chmod(node.c_str(), 0600), 0);
    for (const fs::path below : {privateDirectory(), root}) {
        for (fs::path place = below; place != "/tmp" && place.has_relative_path();
             place = place.parent_path()) {
            ASSERT_EQ(::chmod(place.c_str(), 0755), 0);
        }
    }
    const ProgramResult result =
        runShell("env -u TSAN_OPTIONS setpriv --reuid 65534 --regid 65534 --clear-groups " +
                     quoted(PDACTL_PROGRAM) + " doctor",
                 environment());
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output, AllOf(HasSubstr("problem  you may not read and write /dev/hidraw0\n"),
                                     HasSubstr("sudo udevadm control --reload"), Not(HasSubstr("answer"))))
        << result.errors;
}

TEST_F(DoctorTest, MissesARule) {
    removeRules();
    finds("rules", "warning", "no udev rule is for 1209:0001",
          R"(ATTRS{idVendor}=="1209", ATTRS{idProduct}=="0001")");
}

TEST_F(DoctorTest, TakesTheRuleThatItsOwnCommandWrites) {
    removeRules();
    const std::string command = finding("rules").value("command").toString().toStdString();
    const std::size_t begin = command.find('\'') + 1;
    writeRule("/usr/lib", "70-pdalink.rules", command.substr(begin, command.rfind("' |") - begin) + "\n");
    finds("rules", "ok", "/usr/lib/udev/rules.d/70-pdalink.rules");
}

TEST_F(DoctorTest, SeesARuleThatComesTooLate) {
    removeRules();
    writeRule("/usr/lib", "99-terminal.rules", GoodRule);
    finds("rules", "warning",
          "99-terminal.rules comes too late: \"uaccess\" works before 73-seat-late.rules only",
          "70-pdalink.rules");
    writeRule("/usr/lib", "99-terminal.rules",
              GoodRule + "ATTRS{idVendor}==\"1209\", ATTRS{idProduct}==\"0001\", "
                         "MODE=\"0666\"\n");
    finds("rules", "ok", "99-terminal.rules");
}

TEST_F(DoctorTest, DoesNotTakeACommentOrAnotherDeviceForARule) {
    removeRules();
    writeRule("/etc", "70-a.rules", "# ATTRS{idVendor}==\"1209\", ATTRS{idProduct}==\"0001\"\n");
    writeRule("/etc", "70-b.rules", "ATTRS{idVendor}==\"1209\", ATTRS{idProduct}==\"0002\"\n");
    writeRule("/etc", "70-c.txt", GoodRule);
    finds("rules", "warning", "no udev rule");
}

TEST_F(DoctorTest, KnowsThatOneFileHidesAnother) {
    removeRules();
    writeRule("/usr/lib", "70-terminal.rules", GoodRule);
    finds("rules", "ok", "/usr/lib/udev/rules.d/70-terminal.rules");
    writeRule("/etc", "70-terminal.rules", "");
    finds("rules", "warning", "no udev rule");
}

TEST_F(DoctorTest, HearsThatTheTerminalDoesNotAnswer) {
    terminal().addFault("8001", Fault().silence());
    finds("answer", "problem", "no usable reply", "PDA.log");
}

} // namespace
