#include "PdactlRun.h"

#include <grp.h>
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

/// pdactl doctor, asked by any user.
class DoctorTest : public PdactlTest {
protected:
    ProgramResult doctor(const Words& options = {}) {
        std::string line = m_user;
        if (!m_libraryDirectory.empty()) {
            line = "LD_LIBRARY_PATH=" + pdalink::test::quoted(m_libraryDirectory) + " " + line;
        }
        line += quoted(PDACTL_PROGRAM) + " doctor";
        for (const std::string& option : options) {
            line += " " + quoted(option);
        }
        return shell(line);
    }

    /// The findings of one check.
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

    /// The only one of a check. Returns its command.
    std::string finds(const std::string& check, const std::string& health, const std::string& text,
                      const std::string& command = "") {
        const std::vector<QJsonObject> all = findings(check);
        EXPECT_THAT(all, SizeIs(1)) << check;
        const QJsonObject found = all.empty() ? QJsonObject() : all.front();
        EXPECT_EQ(found.value("health").toString().toStdString(), health) << check;
        EXPECT_THAT(found.value("text").toString().toStdString(), HasSubstr(text));
        EXPECT_THAT(found.value("command").toString().toStdString(), HasSubstr(command));
        return found.value("command").toString().toStdString();
    }

    /// The same, and runs the command as somebody would who may use sudo.
    void findsAndFixes(const std::string& check, const std::string& health, const std::string& text,
                       const std::string& command = "") {
        const std::string fix = finds(check, health, text, command);
        ASSERT_THAT(fix, HasSubstr(fs::path(privateDirectory()).parent_path().string()))
            << "would change something of the machine's own";
        const ProgramResult result = runShell("sudo() { \"$@\"; }; udevadm() { :; }; " + fix);
        EXPECT_EQ(result.exitCode, 0) << fix << "\n" << result.errors;
    }

    std::string simulatedNode() { return terminal().testBed().rootDirectory() + "/dev/hidraw0"; }

    std::string m_libraryDirectory; ///< of a library that is elsewhere
    std::string m_user;             ///< words of shell in front of the program
};

void letEverybodyInto(const std::string& directory) {
    for (fs::path place = directory; place != "/tmp" && place.has_relative_path();
         place = place.parent_path()) {
        EXPECT_EQ(::chmod(place.c_str(), 0755), 0) << place;
    }
}

constexpr gid_t kNobodysGroup = 65534;
constexpr gid_t kAnotherGroup = 1;

/// Asked by a user who has no rights, which takes the rights to become somebody else.
class DoctorPermissionTest : public DoctorTest {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "needs root to become somebody else";
        }
        for (const std::string& directory : {privateDirectory(), terminal().testBed().rootDirectory()}) {
            letEverybodyInto(directory);
        }
        becomeNobody(kNobodysGroup);
    }
    void becomeNobody(gid_t group) {
        m_user =
            "env -u TSAN_OPTIONS setpriv --reuid 65534 --clear-groups --regid " + std::to_string(group) + " ";
    }
    /// A log directory for this user's group, and a log in it that this user may not write.
    static void makeLog(uid_t owner, mode_t mode) {
        const std::string directory = privateDirectory() + "/log";
        fs::create_directory(directory);
        EXPECT_EQ(::chown(directory.c_str(), owner, kNobodysGroup), 0);
        fs::permissions(directory, static_cast<fs::perms>(mode));
        writeFile(logPath(), "");
    }
    /// Asks as a user to whom a node of this group and mode is closed.
    void isKeptOut(gid_t nodeGroup, mode_t mode, const std::string& text, const std::string& command) {
        const std::string node = fs::read_symlink(simulatedNode());
        ASSERT_EQ(::chown(node.c_str(), 0, nodeGroup), 0);
        ASSERT_EQ(::chmod(node.c_str(), mode), 0);
        finds("permissions", "problem", "you may not read and write /dev/hidraw0: " + text, command);
    }
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
    EXPECT_THAT(findings("answer"), IsEmpty());
}

TEST_F(DoctorTest, ReadsTheIniAsTheLibraryDoes) {
    writeIni("VID=0x1209\n");
    finds("ini", "problem", R"(VID "1209" and PID "")", "PDAConfigure.ini");
    writeIni("# VID=ffff\r\nMY_VID=ffff\r\nVID=ffff\r\n  VID  =  0x1209\r\nvid=ffff\r\nPID=0001\r\n");
    finds("ini", "ok", "says 1209:0001");
    finds("answer", "ok", "the terminal answers");
    finds("log", "ok", "PDA.log can be written"); // which is there now
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

TEST_F(DoctorTest, TakesOutEveryLineThatEndsTheLibrary) {
    const std::string tooLong = "VID=PID=" + std::string(300, 'x') + "\n";
    writeIni("VID=0x1209\n" + tooLong + "PID=0x0001\n" + tooLong);
    findsAndFixes("ini", "problem", "line 2: too long", "sudo sed -i '2d;4d' ");
    finds("ini", "ok", "says 1209:0001");
    finds("answer", "ok", "the terminal answers");
}

TEST_F(DoctorPermissionTest, DoesNotReplaceAnIniThatItMayNotRead) {
    const std::string ini = privateDirectory() + "/PDAConfigure.ini";
    ASSERT_EQ(::chmod(ini.c_str(), 0600), 0);
    findsAndFixes("ini", "problem", "is there, but you may not read it", "sudo chmod a+r " + ini);
    finds("ini", "ok", "says 1209:0001");
}

TEST_F(DoctorTest, SeesAFolderInPlaceOfTheIni) {
    removeIni();
    const std::string ini = privateDirectory() + "/PDAConfigure.ini";
    fs::create_directory(ini);
    findsAndFixes("ini", "problem", "is a folder");
    findsAndFixes("ini", "problem", "is not there");
    finds("ini", "ok", "says 1209:0001");
}

TEST_F(DoctorTest, MissesAPlaceForTheLog) {
    const std::string log = privateDirectory() + "/log";
    writeFile(log, "in the way");
    findsAndFixes("log", "problem", "is not a folder", "sudo mv " + log + " " + log + ".old");
    finds("log", "ok", "can be made");
    EXPECT_EQ(readFile(log + ".old"), "in the way");
}

TEST_F(DoctorTest, SeesALogThatLeadsNowhere) {
    fs::create_directory_symlink(scratchDirectory() + "/nowhere", privateDirectory() + "/log");
    findsAndFixes("log", "problem", "does not lead to one: nothing is logged");
    finds("log", "ok", "can be made");
}

TEST_F(DoctorPermissionTest, SeesALogFolderThatOnlyOthersMayWrite) {
    finds("log", "problem", "is not there, and you may not make it", "sudo install -d -m 750 -o ");
    fs::create_directory(privateDirectory() + "/log");
    finds("log", "problem", "cannot be written: nothing is logged", "sudo install -d -m 750 -o ");
}

TEST_F(DoctorTest, SeesAFolderInPlaceOfTheLog) {
    fs::create_directories(logPath());
    findsAndFixes("log", "warning", "PDA.log is a folder: the library writes PDA_T1.log", "sudo mv ");
    finds("log", "ok", "PDA.log can be written");
}

TEST_F(DoctorPermissionTest, SeesALogThatOnlyOthersMayWrite) {
    makeLog(kNobodysGroup, 0750);
    finds("log", "warning", "PDA_T1.log", "sudo chown \"$(id -un)\" " + logPath());
}

TEST_F(DoctorPermissionTest, LeadsToTheGroupOfTheLogDirectory) {
    const std::string directory = privateDirectory() + "/log";
    fs::create_directory(directory);
    ASSERT_EQ(::chown(directory.c_str(), 0, kAnotherGroup), 0);
    ASSERT_EQ(::chmod(directory.c_str(), 02770), 0);
    finds("log", "problem", "nothing is logged: it is for group ", "sudo usermod -aG ");
}

TEST_F(DoctorPermissionTest, AcceptsALogDirectoryThatSeveralUsersShare) {
    makeLog(0, 0770);
    finds("log", "ok", "PDA.log is another user's; beside it the library writes PDA_T1.log");
}

TEST_F(DoctorTest, QuotesWhatAShellWouldTakeApart) {
    const std::string directory = scratchDirectory() + "/bank's $(touch host) & lib";
    fs::create_directory(directory);
    fs::copy_file(privateDirectory() + "/libpdalink.so.1", directory + "/libpdalink.so.1");
    m_libraryDirectory = directory;
    finds("library", "ok", directory);
    findsAndFixes("ini", "problem", "is not there");
    finds("ini", "ok", directory + "/PDAConfigure.ini says 1209:0001");
    writeFile(directory + "/PDAConfigure.ini", "VID=1209\nPID=" + std::string(16, '0') + "\nPID=0001\n");
    findsAndFixes("ini", "problem", "too long");
    finds("ini", "ok", directory + "/PDAConfigure.ini says 1209:0001");
    fs::remove_all(directory + "/log");
    writeFile(directory + "/log", "");
    findsAndFixes("log", "problem", "is not a folder");
    finds("log", "ok", directory + "/log can be made");
    EXPECT_TRUE(fs::exists(directory + "/log.old"));
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

/// Gives the terminal's USB device a second HID interface with a node of its own.
void addInterface(const std::string& root) {
    const fs::path node = fs::canonical(root + "/sys/class/hidraw/hidraw0");
    const fs::path interface = node.parent_path().parent_path().parent_path();
    const fs::path device = interface.parent_path();
    const fs::path hid = device / (device.filename().string() + ":1.1") / "0003:1209:0001.0002";
    fs::create_directories(hid / "hidraw/hidraw1");
    fs::copy_file(node.parent_path().parent_path() / "uevent", hid / "uevent");
    writeFile(hid / "hidraw/hidraw1/uevent", "DEVNAME=hidraw1\n");
    fs::create_symlink("../../../" + hid.filename().string(), hid / "hidraw/hidraw1/device");
    fs::create_symlink(hid / "hidraw/hidraw1", root + "/sys/class/hidraw/hidraw1");
}

TEST_F(DoctorTest, TellsTwoInterfacesOfOneDeviceFromTwoDevices) {
    addInterface(terminal().testBed().rootDirectory());
    finds("node", "warning",
          "the USB device 1209:0001 has 2 HID interfaces; the node of the last one, /dev/hidraw1, is used",
          "echo 0003:1209:0001.0002 | sudo tee ");
}

TEST_F(DoctorTest, SeesAnotherProcessAtTheNode) {
    RunningPdactl other({"listen"}, environment());
    ASSERT_TRUE(other.complains("listening"));
    finds("users", "problem",
          "process " + std::to_string(other.process()) + " (pdactl) has /dev/hidraw0 open",
          "ps -fp " + std::to_string(other.process()));
    EXPECT_THAT(doctor().output, Not(HasSubstr("kill"))); // it may be the host that is in use
    other.signal(SIGTERM);
    (void)other.finish();
    finds("users", "ok", "no other process");
}

TEST_F(DoctorTest, HearsThatTheTerminalDoesNotAnswer) {
    terminal().addFault("8001", Fault().silence());
    finds("answer", "problem", "no usable reply", "PDA.log");
}

TEST_F(DoctorPermissionTest, InstallsTheRuleForANodeThatIsGivenToNobody) {
    const std::string rule = "/etc/udev/rules.d/70-pdalink.rules";
    const bool exists = fs::exists(rule);
    const std::string test =
        exists ? "udevadm test /sys/class/hidraw/hidraw0" : "pdactl udev-rule | sudo tee " + rule;
    const std::string text = exists ? rule + " does not give it to you" : "no udev rule gives it to you";
    const group* const tty = ::getgrnam("tty");
    ASSERT_NE(tty, nullptr);
    isKeptOut(0, 0600, text, test);
    isKeptOut(0, 0660, text, test);
    isKeptOut(tty->gr_gid, 0640, text, test);
    EXPECT_THAT(findings("answer"), IsEmpty());
}

TEST_F(DoctorPermissionTest, LeadsToTheGroupOfTheNode) {
    const group* const tty = ::getgrnam("tty");
    ASSERT_NE(tty, nullptr);
    isKeptOut(tty->gr_gid, 0660, "it is for group tty, in which you are not",
              "sudo usermod -aG tty \"$(id -un)\"");
}

TEST_F(DoctorPermissionTest, KnowsThatAMemberHasToLogInAgain) {
    const group* const own = ::getgrgid(kNobodysGroup);
    ASSERT_NE(own, nullptr);
    becomeNobody(kAnotherGroup);
    isKeptOut(kNobodysGroup, 0660, std::string("you are in group ") + own->gr_name,
              std::string("newgrp ") + own->gr_name);
}

TEST_F(DoctorTest, SeesThatTheNodeIsMissing) {
    const std::string target = fs::read_symlink(simulatedNode());
    fs::remove(simulatedNode());
    finds("permissions", "problem", "/dev/hidraw0 is not there, although the kernel has the device",
          "sudo mknod -m 600 /dev/hidraw0 c $(tr : ' ' < /sys/class/hidraw/hidraw0/dev)");
    fs::create_symlink("/dev/pts/987654", simulatedNode());
    finds("permissions", "problem", "simulated terminal, which has ended", "pdasim serve");
    EXPECT_THAT(findings("answer"), IsEmpty());
    fs::remove(simulatedNode());
    fs::create_symlink(target, simulatedNode());
}

TEST_F(DoctorTest, RefusesARuleWithoutIds) {
    writeIni("VID=0x1209\n");
    const ProgramResult result = shell(quoted(PDACTL_PROGRAM) + " udev-rule");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors, HasSubstr("PDAConfigure.ini gives no ids"));
}

TEST_F(DoctorTest, RuleHasTheIdsOfTheIniAsUdevComparesThem) {
    writeIni("VID=0xAB0F\nPID=00C1\n");
    const std::string rule = shell(quoted(PDACTL_PROGRAM) + " udev-rule").output;
    EXPECT_THAT(rule, EndsWith("\n"
                               R"(ACTION!="remove", SUBSYSTEM=="hidraw", )"
                               R"(ATTRS{idVendor}=="ab0f", ATTRS{idProduct}=="00c1", )"
                               R"(MODE="0660", GROUP="pdalink", TAG+="uaccess")"
                               "\n"));
    const ProgramResult json = shell(quoted(PDACTL_PROGRAM) + " udev-rule --json");
    EXPECT_EQ(onlyDocument(json.output).object().value("rule").toString().toStdString(), rule);
}

/// As udev understands it.
TEST_F(DoctorTest, RuleGivesTheNodeToItsGroupAndToWhoeverIsLoggedIn) {
    if (runShell("type udevadm && unshare --mount mount -t tmpfs none /run").exitCode != 0) {
        return; // no udev, or a container that does not let it have directories of its own
    }
    const std::string rules = scratchDirectory() + "/rules";
    fs::create_directory(rules);
    (void)shell(quoted(PDACTL_PROGRAM) + " udev-rule >" + quoted(rules) + "/70-pdalink.rules");
    const ProgramResult result = shell("unshare --mount sh -c 'mount --bind " + rules +
                                       " /usr/lib/udev/rules.d && "
                                       "mount -t tmpfs none /run && mount -t tmpfs none /dev && "
                                       "udevadm test --action=add /sys/class/hidraw/hidraw0 2>&1'");
    EXPECT_THAT(result.output, AllOf(HasSubstr("70-pdalink.rules:4 MODE 0660"), HasSubstr("TAGS=:uaccess:")))
        << result.output;
}

} // namespace
