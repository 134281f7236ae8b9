#include "DoctorFixture.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace {

using namespace pdalink::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace fs = std::filesystem;

constexpr gid_t kNobodysGroup = 65534;
constexpr gid_t kAnotherGroup = 1;

/// Why a user cannot use the node.
class DoctorAccessTest : public DoctorFixture {
protected:
    std::string simulatedNode() { return terminal().testBed().rootDirectory() + "/dev/hidraw0"; }
};

/// The same, where that takes the rights to give away a node and to become somebody else.
class DoctorPermissionTest : public DoctorAccessTest {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "needs root to become somebody else";
        }
    }
    /// Asks as a user to whom a node of this group and mode is closed.
    void isKeptOut(gid_t nodeGroup, mode_t mode, const std::string& text, const std::string& command,
                   gid_t group = kNobodysGroup) {
        const std::string node = fs::read_symlink(simulatedNode());
        ASSERT_EQ(::chown(node.c_str(), 0, nodeGroup), 0);
        ASSERT_EQ(::chmod(node.c_str(), mode), 0);
        becomeNobody(group);
        finds("permissions", "problem", "you may not read and write /dev/hidraw0: " + text, command);
    }
};

TEST_F(DoctorPermissionTest, ShowsWhatUdevMakesOfANodeThatIsGivenToNobody) {
    const std::string test = "udevadm test /sys/class/hidraw/hidraw0";
    const std::string text = "no udev rule gives it to you. The package's 70-pdalink.rules does";
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
    isKeptOut(kNobodysGroup, 0660, std::string("you are in group ") + own->gr_name,
              std::string("newgrp ") + own->gr_name, kAnotherGroup);
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

/// The rule that the package brings, as udev understands it.
TEST_F(DoctorAccessTest, PackagedRuleGivesTheNodeToItsGroupAndToWhoeverIsLoggedIn) {
    const std::string rule = readFile(PDALINK_UDEV_RULE);
    EXPECT_THAT(rule, AllOf(HasSubstr("\n"
                                      R"(ACTION!="remove", SUBSYSTEM=="hidraw", )"
                                      R"(ATTRS{idVendor}=="1209", ATTRS{idProduct}=="0001", )"
                                      R"(MODE="0660", GROUP="plugdev", TAG+="uaccess")"),
                            Not(HasSubstr("ATTR{"))));
    if (runShell("type udevadm && unshare --mount mount -t tmpfs none /run").exitCode != 0) {
        return; // no udev, or a container that does not let it have directories of its own
    }
    const std::string rules = scratchDirectory() + "/rules";
    fs::create_directory(rules);
    fs::copy_file(PDALINK_UDEV_RULE, rules + "/70-pdalink.rules");
    const ProgramResult result = shell("unshare --mount sh -c 'mount --bind " + rules +
                                       " /usr/lib/udev/rules.d && "
                                       "mount -t tmpfs none /run && mount -t tmpfs none /dev && "
                                       "udevadm test --action=add /sys/class/hidraw/hidraw0 2>&1'");
    EXPECT_THAT(result.output, AllOf(HasSubstr("70-pdalink.rules:4 MODE 0660"), HasSubstr("TAGS=:uaccess:")))
        << result.output;
}

} // namespace
