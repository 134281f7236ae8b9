#include "DoctorFixture.h"

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

using DoctorTest = DoctorFixture;

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

TEST_F(DoctorTest, TakesOutEveryLineThatEndsTheLibrary) {
    const std::string tooLong = "VID=PID=" + std::string(300, 'x') + "\n";
    writeIni("VID=0x1209\n" + tooLong + "PID=0x0001\n" + tooLong);
    finds("ini", "problem", "line 2: too long", "sudo sed -i '2d;4d' ");
    fix("ini");
    finds("ini", "ok", "says 1209:0001");
    finds("answer", "ok", "the terminal answers");
}

TEST_F(DoctorTest, DoesNotReplaceAnIniThatItMayNotRead) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to become somebody else";
    }
    becomeNobody();
    const std::string ini = privateDirectory() + "/PDAConfigure.ini";
    ASSERT_EQ(::chmod(ini.c_str(), 0600), 0);
    finds("ini", "problem", "is there, but you may not read it", "sudo chmod a+r " + ini);
    fix("ini");
    finds("ini", "ok", "says 1209:0001");
}

TEST_F(DoctorTest, SeesAFolderInPlaceOfTheIni) {
    removeIni();
    const std::string ini = privateDirectory() + "/PDAConfigure.ini";
    fs::create_directory(ini);
    finds("ini", "problem", "is a folder");
    fix("ini");
    finds("ini", "problem", "is not there");
    fix("ini");
    finds("ini", "ok", "says 1209:0001");
}

TEST_F(DoctorTest, MissesAPlaceForTheLog) {
    const std::string log = privateDirectory() + "/log";
    writeFile(log, "in the way");
    finds("log", "problem", "is not a folder", "sudo mv " + log + " " + log + ".old");
    fix("log");
    finds("log", "ok", "can be made");
    EXPECT_EQ(readFile(log + ".old"), "in the way");
}

TEST_F(DoctorTest, SeesALogThatLeadsNowhere) {
    fs::create_directory_symlink(scratchDirectory() + "/nowhere", privateDirectory() + "/log");
    finds("log", "problem", "does not lead to one: nothing is logged");
    fix("log");
    finds("log", "ok", "can be made");
}

TEST_F(DoctorTest, SeesALogFolderThatOnlyOthersMayWrite) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to become somebody else";
    }
    becomeNobody();
    finds("log", "problem", "is not there, and you may not make it", "sudo install -d -m 750 -o ");
    fs::create_directory(privateDirectory() + "/log");
    finds("log", "problem", "cannot be written: nothing is logged", "sudo install -d -m 750 -o ");
}

TEST_F(DoctorTest, SeesAFolderInPlaceOfTheLog) {
    fs::create_directories(logPath());
    finds("log", "warning", "PDA.log is a folder: the library writes PDA_T1.log", "sudo mv ");
    fix("log");
    finds("log", "ok", "PDA.log can be written");
}

TEST_F(DoctorTest, SeesALogThatOnlyOthersMayWrite) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to become somebody else";
    }
    becomeNobody();
    const std::string directory = privateDirectory() + "/log";
    fs::create_directory(directory);
    ASSERT_EQ(::chown(directory.c_str(), 65534, 65534), 0);
    fs::permissions(directory, static_cast<fs::perms>(0750));
    writeFile(logPath(), "");
    finds("log", "warning", "PDA_T1.log", "sudo chown \"$(id -un)\" " + logPath());
}

TEST_F(DoctorTest, AcceptsALogDirectoryThatSeveralUsersShare) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to become somebody else";
    }
    becomeNobody();
    const std::string directory = privateDirectory() + "/log";
    fs::create_directory(directory);
    ASSERT_EQ(::chown(directory.c_str(), 0, 65534), 0);
    fs::permissions(directory, static_cast<fs::perms>(0770));
    writeFile(logPath(), "");
    finds("log", "ok", "PDA.log is another user's; beside it the library writes PDA_T1.log");
}

TEST_F(DoctorTest, QuotesWhatAShellWouldTakeApart) {
    const std::string directory = scratchDirectory() + "/bank's $(touch host) & lib";
    fs::create_directory(directory);
    fs::copy_file(privateDirectory() + "/libpdalink.so.1", directory + "/libpdalink.so.1");
    setLibraryDirectory(directory);
    finds("library", "ok", directory);
    fix("ini");
    finds("ini", "ok", directory + "/PDAConfigure.ini says 1209:0001");
    writeFile(directory + "/PDAConfigure.ini", "VID=1209\nPID=" + std::string(16, '0') + "\nPID=0001\n");
    fix("ini");
    finds("ini", "ok", directory + "/PDAConfigure.ini says 1209:0001");
    fs::remove_all(directory + "/log");
    writeFile(directory + "/log", "");
    fix("log");
    finds("log", "ok", directory + "/log can be made");
    EXPECT_TRUE(fs::exists(directory + "/log.old"));
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

} // namespace
