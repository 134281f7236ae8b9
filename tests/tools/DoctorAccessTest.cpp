#include "DoctorFixture.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace {

using namespace pdalink::test;
using namespace std::string_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace fs = std::filesystem;

constexpr gid_t NobodysGroup = 65534;
constexpr gid_t AnotherGroup = 1;

const std::string Ids = R"(ATTRS{idVendor}=="1209", ATTRS{idProduct}=="0001", )";
const std::string Apply = "sudo udevadm control --reload && sudo udevadm trigger --subsystem-match=hidraw";

/** What stands between a user and the node. */
class DoctorAccessTest : public DoctorFixture {
protected:
    std::string simulatedNode() { return terminal().testBed().rootDirectory() + "/dev/hidraw0"; }

    /** Owner, group and mode of the node. */
    void setNode(gid_t group, mode_t mode) {
        const std::string node = fs::read_symlink(simulatedNode());
        ASSERT_EQ(::chown(node.c_str(), 0, group), 0);
        ASSERT_EQ(::chmod(node.c_str(), mode), 0);
    }
    void setRule(const std::string& text) {
        removeRules();
        writeRule("/usr/lib", "60-terminal.rules", text + "\n");
    }
    /** Asks as a user to whom the node is closed. */
    void isKeptOut(const std::string& text, const std::string& command, gid_t group = NobodysGroup) {
        becomeNobody(group);
        finds("permissions", "problem", "you may not read and write /dev/hidraw0" + text, command);
    }
};

/** The same, where that takes the rights to give away a node and to become somebody else. */
class DoctorPermissionTest : public DoctorAccessTest {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "needs root to become somebody else";
        }
        setNode(0, 0600);
    }
};

TEST_F(DoctorPermissionTest, SeesThatTheNodeMayNotBeUsed) {
    removeRules();
    becomeNobody();
    const ProgramResult result = doctor();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output, AllOf(HasSubstr("problem  you may not read and write /dev/hidraw0\n"
                                               "         "),
                                     HasSubstr("/70-pdalink.rules && " + Apply), Not(HasSubstr("answer"))))
        << result.errors;
}

TEST_F(DoctorPermissionTest, LeadsToTheGroupOfARuleThatIsThere) {
    const group* const tty = ::getgrnam("tty");
    ASSERT_NE(tty, nullptr);
    setRule(R"(SUBSYSTEM=="hidraw", )" + Ids + R"(MODE="0660", GROUP="tty", TAG+="uaccess")");
    isKeptOut(": ", Apply);
    setNode(tty->gr_gid, 0600);
    isKeptOut(": ", Apply);
    setNode(tty->gr_gid, 0660);
    isKeptOut(": it is for group tty, in which you are not", "sudo usermod -aG tty \"$(id -un)\"");
}

TEST_F(DoctorPermissionTest, SeesThatARuleWasNotApplied) {
    setRule(R"(KERNEL=="hidraw*", )" + Ids + R"(MODE="0666")");
    isKeptOut(": ", Apply);
    EXPECT_THAT(finding("permissions").value("text").toString().toStdString(),
                HasSubstr("60-terminal.rules has not been applied to it"));
}

TEST_F(DoctorPermissionTest, SeesThatTheGroupOfARuleIsMissing) {
    setRule(Ids + R"(GROUP="no-such-group")");
    isKeptOut(": ", "sudo groupadd -r no-such-group && " + Apply);
}

TEST_F(DoctorPermissionTest, KnowsThatAMemberHasToLogInAgain) {
    const group* const own = ::getgrgid(NobodysGroup);
    ASSERT_NE(own, nullptr);
    const std::string name = own->gr_name;
    setRule(Ids + R"(GROUP=")" + name + "\"");
    setNode(NobodysGroup, 0660);
    isKeptOut(": you are in group " + name, "newgrp " + name, AnotherGroup);
}

TEST_F(DoctorPermissionTest, WritesARuleInPlaceOfOneThatDoesNotHelp) {
    for (const char* assignment :
         {R"(TAG+="uaccess")", R"(MODE="0640", GROUP="tty")", R"(MODE="0600")", R"(OWNER="bin")"}) {
        setRule(Ids + assignment);
        isKeptOut("", "/70-pdalink.rules && " + Apply);
    }
}

TEST_F(DoctorAccessTest, SeesThatTheNodeIsMissing) {
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

TEST_F(DoctorAccessTest, MissesARule) {
    removeRules();
    finds("rules", "warning", "no udev rule is for 1209:0001",
          R"(ATTRS{idVendor}=="1209", ATTRS{idProduct}=="0001")");
}

TEST_F(DoctorAccessTest, TakesTheRuleThatItsOwnCommandWrites) {
    removeRules();
    mend("rules");
    finds("rules", "ok", "/etc/udev/rules.d/70-pdalink.rules");
}

TEST_F(DoctorAccessTest, SeesARuleThatComesTooLate) {
    removeRules();
    writeRule("/usr/lib", "99-terminal.rules", GoodRule);
    finds("rules", "warning",
          "99-terminal.rules comes too late: \"uaccess\" works before 73-seat-late.rules only",
          "70-pdalink.rules");
    mend("rules");
    finds("rules", "ok", "/usr/lib/udev/rules.d/70-pdalink.rules");
    fs::remove(udevRoot() + "/usr/lib/udev/rules.d/70-pdalink.rules");
    writeRule("/usr/lib", "99-terminal.rules",
              GoodRule + "ATTRS{idVendor}==\"1209\", ATTRS{idProduct}==\"0001\", "
                         "MODE=\"0666\"\n");
    finds("rules", "ok", "99-terminal.rules");
}

TEST_F(DoctorAccessTest, KnowsThatOneFileHidesAnother) {
    removeRules();
    writeRule("/usr/lib", "70-terminal.rules", GoodRule);
    finds("rules", "ok", "/usr/lib/udev/rules.d/70-terminal.rules");
    writeRule("/etc", "70-terminal.rules", "");
    finds("rules", "warning", "no udev rule");
}

TEST_F(DoctorAccessTest, TakesARuleThatReachesTheNode) {
    for (const std::string& rule : {
             R"(SUBSYSTEM=="hidraw", ATTRS{idVendor}=="1209", MODE="0666")"s,
             R"(KERNEL=="hidraw*",ATTRS{idVendor}=="1209",ATTRS{idProduct}=="0001|0002",MODE="0666")"s,
             R"(SUBSYSTEM=="usb|hidraw", ATTRS{idVendor}=="1209", ATTRS{idProduct}=="000?", MODE:="0666")"s,
             R"(SUBSYSTEM!="usb", SUBSYSTEMS=="usb", ATTRS{idVendor}=="1209", GROUP="tty")"s,
             R"(ACTION!="remove", KERNEL=="hidraw*", KERNELS=="0003:1209:0001.*", MODE="0666")"s,
             R"(SUBSYSTEM=="hidraw", ATTRS{idVendor}=="1209", TAG+="uaccess", TAG+="seat")"s,
             "SUBSYSTEM!=\"hidraw\", GOTO=\"end\"\n" + Ids + "MODE=\"0666\"\nLABEL=\"end\"",
             "SUBSYSTEM==\"hidraw\", GOTO=\"on\"\nRUN+=\"x\"\nLABEL=\"on\"\n" + Ids + "MODE=\"0666\"",
             "SUBSYSTEM==\"usb\", ATTRS{idVendor}==\"1209\", MODE=\"0666\"\n"
             "KERNEL==\"hidraw*\", ATTRS{idVendor}==\"1209\", MODE=\"0666\""s,
         }) {
        setRule(rule);
        SCOPED_TRACE(rule);
        finds("rules", "ok", "60-terminal.rules is for 1209:0001");
    }
}

TEST_F(DoctorAccessTest, SeesARuleThatDoesNotReachTheNode) {
    for (const std::string& rule : {
             R"(SUBSYSTEM=="usb", ATTR{idVendor}=="1209", ATTR{idProduct}=="0001", MODE="0666")"s,
             R"(ATTR{idVendor}=="1209", ATTR{idProduct}=="0001", MODE="0666")"s,
             R"(SUBSYSTEMS=="usb", ENV{DEVTYPE}=="usb_device", ATTRS{idVendor}=="1209", MODE="0666")"s,
             R"(SUBSYSTEM!="hidraw", ATTRS{idVendor}=="1209", TAG+="uaccess")"s,
             R"(KERNEL=="ttyACM*", ATTRS{idVendor}=="1209", MODE="0666")"s,
             R"(ACTION=="remove", ATTRS{idVendor}=="1209", MODE="0666")"s,
             "SUBSYSTEM!=\"usb\", GOTO=\"end\"\n" + Ids + "MODE=\"0666\"\nLABEL=\"end\"",
         }) {
        setRule(rule);
        SCOPED_TRACE(rule);
        finds("rules", "warning",
              "60-terminal.rules is for the USB device 1209:0001, and does not reach its hidraw node",
              R"(echo 'SUBSYSTEM=="hidraw", ATTRS{idVendor}=="1209", ATTRS{idProduct}=="0001", MODE="0660")");
    }
    mend("rules");
    finds("rules", "ok", "/etc/udev/rules.d/70-pdalink.rules is for 1209:0001");
}

TEST_F(DoctorAccessTest, DoesNotTakeOtherTextForARule) {
    for (const std::string& rule : {
             "# " + Ids + R"(MODE="0666")",
             R"(KERNEL=="hidraw*", ATTRS{idVendor}=="1209", ATTRS{idProduct}=="0002", MODE="0666")"s,
             R"(KERNEL=="hidraw*", ATTRS{idVendor}!="1209", MODE="0666")"s,
             R"(KERNEL=="hidraw*", ATTRS{idProduct}=="0001", MODE="0666")"s,
             R"(KERNEL=="hidraw*", KERNELS=="0003:1209:0002.*", MODE="0666")"s,
             R"(KERNEL=="hidraw*", ATTRS{idVendor}=="1209", SYMLINK+="terminal")"s,
             R"(1209 0001 " = """hidraw)"s,
         }) {
        setRule(rule);
        SCOPED_TRACE(rule);
        finds("rules", "warning", "no udev rule is for 1209:0001", "70-pdalink.rules");
    }
    removeRules();
    setRule("");
    writeRule("/etc", "70-c.txt", GoodRule);
    finds("rules", "warning", "no udev rule");
}

TEST_F(DoctorAccessTest, KnowsThatUdevTellsSmallLettersFromCapitals) {
    writeIni("VID=0x04D8\nPID=0xF2BF\n");
    setRule(R"(KERNEL=="hidraw*", ATTRS{idVendor}=="04D8", ATTRS{idProduct}=="F2BF", MODE="0666")");
    finds("rules", "warning", "no udev rule");
    setRule(R"(KERNEL=="hidraw*", ATTRS{idVendor}=="04d8", ATTRS{idProduct}=="f2bf", MODE="0666")");
    finds("rules", "ok", "is for 04D8:F2BF");
    setRule(R"(KERNEL=="hidraw*", KERNELS=="*:04D8:F2BF.*", MODE="0666")");
    finds("rules", "ok", "is for 04D8:F2BF");
}

} // namespace
