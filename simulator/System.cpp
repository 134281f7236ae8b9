#include "System.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace pdasim {

namespace {

std::string formatted(const char* format, std::time_t seconds) {
    std::tm fields{};
    (void)::localtime_r(&seconds, &fields);
    std::array<char, 32> text{};
    (void)std::strftime(text.data(), text.size(), format, &fields);
    return text.data();
}

std::string folderFrom(const char* variable, const char* usual) {
    const char* other = std::getenv(variable);
    return other == nullptr || *other == '\0' ? usual : other;
}

} // namespace

std::string localStamp() {
    return formatted("%Y%m%d%H%M%S", std::time(nullptr));
}

std::string timeOfDay() {
    const auto now = std::chrono::system_clock::now();
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::array<char, 8> fraction{};
    (void)std::snprintf(fraction.data(), fraction.size(), ".%03d", static_cast<int>(milliseconds));
    return formatted("%H:%M:%S", std::chrono::system_clock::to_time_t(now)) + fraction.data();
}

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

std::string quotedForShell(const std::string& text) {
    std::string quoted = "'";
    for (const char each : text) {
        quoted.append(each == '\'' ? std::string("'\\''") : std::string(1, each));
    }
    return quoted + "'";
}

} // namespace pdasim
