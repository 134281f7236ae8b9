#include "usb/SystemTree.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace pdasim {

namespace {

std::string folderFrom(const char* variable, const char* usual) {
    const char* other = std::getenv(variable);
    return other == nullptr || *other == '\0' ? usual : other;
}

} // namespace

std::string sysFolder() {
    return folderFrom("PDASIM_SYS", "/sys");
}

std::string deviceFolder() {
    return folderFrom("PDASIM_DEV", "/dev");
}

std::string groupOfUser() {
    const group* entry = ::getgrgid(::getgid());
    return entry == nullptr ? std::to_string(::getgid()) : entry->gr_name;
}

std::string nameOfUser() {
    const passwd* entry = ::getpwuid(::getuid());
    return entry == nullptr ? std::to_string(::getuid()) : entry->pw_name;
}

} // namespace pdasim
