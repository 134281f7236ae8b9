#include "Fuzz.h"

#include "util/LockConfig.h"
#include "util/Settings.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

/// Stands for the library's directory, as long as the process lives.
class Directory {
public:
    Directory() {
        fuzz::require(::mkdtemp(m_path.data()) != nullptr, "there is a directory for the ini");
        fuzz::require(std::freopen("/dev/null", "w", stdout) != nullptr, "there is /dev/null");
    }
    ~Directory() { std::filesystem::remove_all(m_path); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    std::string file(const char* name) const { return m_path + "/" + name; }

private:
    std::string m_path = "/tmp/pdalink-fuzz-XXXXXX";
};

const Directory& directory() {
    static const Directory instance;
    return instance;
}

/// What the file's text means; nothing that matters of a text with which the process has to end.
struct Meaning {
    std::string vid, pid;
    bool isWhole = false;
    bool endsProcess = false;
};

std::string words(const std::string& text) {
    std::istringstream stream(text.c_str()); // up to the first NUL
    std::string joined;
    for (std::string word; std::getline(stream, word, ' ');) {
        joined += word.empty() ? "" : joined.empty() ? word : " " + word;
    }
    return joined;
}

void readLine(const std::string& line, Meaning& meaning) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) {
        return;
    }
    const std::string rest = line.substr(equals + 1);
    const std::string name = words(line.substr(0, equals));
    const bool isNamed = line.find("VID") != std::string::npos || line.find("PID") != std::string::npos;
    meaning.endsProcess = meaning.endsProcess || (isNamed && (equals > 255 || rest.size() > 254)) ||
                          ((name == "VID" || name == "PID") && words(rest).size() > 15);
    if (name == "VID" || name == "PID") {
        (name == "VID" ? meaning.vid : meaning.pid) = words(rest);
    }
    const std::string untilReturn =
        !rest.empty() && rest.back() == '\r' ? rest.substr(0, rest.size() - 1) : rest;
    if (name == "REPLY") {
        meaning.isWhole = words(untilReturn) == "whole";
    }
}

Meaning meaningOf(const std::string& text) {
    Meaning meaning;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        readLine(line, meaning);
    }
    return meaning;
}

QString cleaned(std::string id) {
    for (std::size_t at = 0; (at = id.find("0x", at)) != std::string::npos;) {
        id.erase(at, 2);
    }
    std::string kept;
    for (const char each : id) {
        kept += each == '\r' || each == '\n' ? std::string() : std::string(1, each);
    }
    return QString::fromLatin1(kept.c_str());
}

} // namespace

/// Says that the library lies in the directory.
extern "C" __attribute__((visibility("default"))) int dladdr(const void* address, Dl_info* info) noexcept {
    static const std::string library = directory().file("libpdalink.so.1");
    static const auto original = reinterpret_cast<decltype(&dladdr)>(::dlsym(RTLD_NEXT, "dladdr"));
    if (address != reinterpret_cast<const void*>(&fun1)) {
        return original(address, info);
    }
    info->dli_fname = library.c_str();
    return 1;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::Input(data, size).rest();
    const Meaning meaning = meaningOf(text);
    if (meaning.endsProcess) {
        return 0;
    }
    const std::string ini = directory().file("PDAConfigure.ini");
    std::ofstream(ini, std::ios::binary) << text;
    CParamConfig config{};
    fuzz::require(CGetConfigVal().GetprofileConfig(ini.c_str(), &config), "the ini can be opened");
    fuzz::require(config.Vid == meaning.vid && config.Pid == meaning.pid, "the ids are those of the ini");
    fuzz::require(LoadLockConfig(), "the configuration is loaded");
    fuzz::require(g_Vid == cleaned(meaning.vid) && g_Pid == cleaned(meaning.pid), "the ids are clean");
    fuzz::require(pdalink::waitForWholeReply == meaning.isWhole,
                  "REPLY says how long replies are waited for");
    return 0;
}
