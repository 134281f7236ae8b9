#include "FuzzedLibrary.h"

#include "util/LockConfig.h"
#include "util/Settings.h"

#include <sstream>

namespace {

/// What the file's text means; nothing that matters of a text with which the process has to end.
struct Meaning {
    std::string vid, pid;
    bool isWhole = false;
    bool endsProcess = false;
};

std::string words(const std::string& text) {
    std::istringstream stream(text.substr(0, text.find('\0')));
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

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::Input(data, size).rest();
    const Meaning meaning = meaningOf(text);
    if (meaning.endsProcess) {
        return 0;
    }
    const pdalink::test::LibraryDirectory& directory = fuzz::libraryDirectory();
    directory.writeIni(text);
    CParamConfig config{};
    fuzz::require(CGetConfigVal().GetprofileConfig(directory.ini().c_str(), &config),
                  "the ini can be opened");
    fuzz::require(config.Vid == meaning.vid && config.Pid == meaning.pid, "the ids are those of the ini");
    fuzz::require(LoadLockConfig(), "the configuration is loaded");
    fuzz::require(g_Vid == cleaned(meaning.vid) && g_Pid == cleaned(meaning.pid), "the ids are clean");
    fuzz::require(pdalink::waitForWholeReply == meaning.isWhole,
                  "REPLY says how long replies are waited for");
    return 0;
}
