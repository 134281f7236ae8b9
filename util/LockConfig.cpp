#include "util/LockConfig.h"

#include "util/DebugOutput.h"
#include "util/FileLog.h"
#include "util/Guard.h"
#include "util/Settings.h"
#include "util/Util.h"

#include <array>
#include <climits>
#include <cstdio>
#include <dlfcn.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t kDirectoryMode = 0750; // the log's lines carry key material

std::string libraryFile() {
    Dl_info info{};
    dladdr(reinterpret_cast<const void*>(&fun1), &info);
    return info.dli_fname != nullptr ? info.dli_fname : "";
}

std::string executableFile() {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = readlink("/proc/self/exe", target.data(), target.size());
    return {target.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

/// Everything before the last "/"; "." for a bare file name.
std::string directoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

std::string configurationFile() {
    const std::string library = libraryFile();
    std::printf("%s\n", library.c_str());
    std::string path = directoryOf(library) + "/PDAConfigure.ini";
    if (path.compare(0, 2, "./") == 0) {
        const std::string executable = executableFile();
        std::printf("exec file: %s\n", executable.c_str());
        path = directoryOf(executable) + path.substr(1);
    }
    return path;
}

QString cleanedId(const char* value) {
    QString id = QString::fromLatin1(value);
    CUtil::removeEndChar(id);
    return id;
}

bool isDirectory(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void openLog(const std::string& directory) {
    if (!isDirectory(directory)) {
        mkdir(directory.c_str(), kDirectoryMode);
        pdalink::debugOutput("文件夹log创建成功");
    }
    const std::string path = directory + "/PDA.log";
    g_PDA_Log.Open(path.c_str());
    const std::string line =
        "Vid/Pid: " + g_Vid.toStdString() + "/" + g_Pid.toStdString() + "  logpath:" + path;
    g_PDA_Log.AddLog(pdalink::Info, line.c_str());
}

bool loadUnguarded() {
    const std::string path = configurationFile();
    pdalink::debugOutput(("inipath: " + path).c_str());
    pdalink::Settings settings;
    if (!pdalink::readSettings(path.c_str(), settings)) {
        return false;
    }
    g_Vid = cleanedId(settings.ids.Vid);
    g_Pid = cleanedId(settings.ids.Pid);
    pdalink::waitForWholeReply = settings.waitForWholeReply;
    openLog(directoryOf(path) + "/log");
    return true;
}

} // namespace

void fun1() {
}

bool LoadLockConfig() {
    return guarded([] { return loadUnguarded(); }, [] { return false; });
}
