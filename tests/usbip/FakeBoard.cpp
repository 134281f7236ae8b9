#include "FakeBoard.h"

#include "PrivateDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cstdlib>
#include <filesystem>

namespace pdasim::test {

namespace {

using pdalink::test::readFile;
using pdalink::test::scratchDirectory;
using pdalink::test::writeFile;

std::string newFolder() {
    static int count = 0;
    return scratchDirectory() + "/board" + std::to_string(++count);
}

/// The kernel gives a new function the number of its node.
constexpr const char* kMkdir = R"(/bin/mkdir "$@" || exit
for each; do
    case $each in */hid.usb0) echo 240:4 >"$each/dev" ;; esac
done
)";

/// Attributes go with their folder.
constexpr const char* kRmdir = R"(for each; do
    find "$each" -mindepth 1 -type d ! -name configs ! -name functions ! -name strings | grep -q . && exit 1
    rm -r "$each"
done
)";

} // namespace

FakeBoard::FakeBoard(const std::vector<std::string>& controllers) : m_folder(newFolder()) {
    system = m_folder + "/sys";
    devices = m_folder + "/dev";
    gadgets = system + "/kernel/config/usb_gadget";
    for (const std::string& folder : {gadgets, devices, system + "/class/udc", m_folder + "/bin"}) {
        std::filesystem::create_directories(folder);
    }
    for (const std::string& controller : controllers) {
        std::filesystem::create_directories(system + "/class/udc/" + controller);
        writeFile(system + "/class/udc/" + controller + "/function", "");
    }
    addCommand("mkdir", kMkdir);
    addCommand("rmdir", kRmdir);
    for (const std::string name : {"modprobe", "mount"}) {
        addCommand(name, "echo \"" + name + " $*\" >>" + m_folder + "/calls\nexit 1\n");
    }
}

void FakeBoard::addCommand(const std::string& name, const std::string& script) const {
    const std::string path = m_folder + "/bin/" + name;
    writeFile(path, "#!/bin/sh\n" + script);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

std::map<std::string, std::string> FakeBoard::environment() const {
    return {
        {"PDASIM_SYS", system}, {"PDASIM_DEV", devices}, {"PATH", m_folder + "/bin:" + std::getenv("PATH")}};
}

void FakeBoard::addNode(const std::string& path) const {
    struct stat information {};
    EXPECT_EQ(::stat(path.c_str(), &information), 0);
    const std::string folder = system + "/dev/char/" + std::to_string(major(information.st_rdev)) + ":" +
                               std::to_string(minor(information.st_rdev));
    std::filesystem::create_directories(folder);
    std::filesystem::create_symlink("../../../class/hidg", folder + "/subsystem");
}

void FakeBoard::use(const std::string& controller) const {
    writeFile(system + "/class/udc/" + controller + "/function", "configfs-gadget\n");
}

void FakeBoard::breakFunctions() const {
    addCommand("mkdir", "case $* in *hid.usb0) exit 1 ;; esac\nexec /bin/mkdir \"$@\"\n");
}

std::string FakeBoard::calls() const {
    return readFile(m_folder + "/calls");
}

} // namespace pdasim::test
