#include "Surroundings.h"

#include "FailingMemory.h"
#include "Model.h"
#include "VirtualNode.h"

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;
using pdalink::test::virtual_time::ReplacedCall;

namespace {

constexpr int kLogLimit = 500 * 1024;
constexpr const char* kIni = "PDAConfigure.ini";
constexpr const char* kLog = "log/PDA.log";

} // namespace

void Surroundings::makeUsual() {
    fs::remove_all("log");
    std::ofstream(kIni) << pdalink::test::VirtualNode::ini();
}

Surroundings::Surroundings(const Step& step) : m_fault(step.fault) {
    if (m_fault == "noini") {
        fs::remove(kIni);
    } else if (m_fault == "nologs") {
        fs::remove_all("log");
        std::ofstream(step.amount == 0 ? "" : "log").close();
    } else if (m_fault == "rotation") {
        fs::create_directory("log");
        std::ofstream(kLog).seekp(kLogLimit - step.amount - 1) << '\n';
    }
    stat(kLog, &m_log);
    if (m_fault == "diskfull") {
        m_fullDisk.emplace(static_cast<rlim_t>(m_log.st_size + step.amount));
    }
}

Surroundings::~Surroundings() {
    if (m_fault == "noini") {
        std::ofstream(kIni) << pdalink::test::VirtualNode::ini();
    } else if (m_fault == "nologs" && fs::is_regular_file("log")) {
        fs::remove("log");
    }
}

bool Surroundings::areHit() const {
    return m_fault == "noini" || m_fault == "nologs" || m_fault == "rotation" || m_fault == "diskfull" ||
           m_fault == "nomemory";
}

void Surroundings::takeMemory(const Step& step, int written) {
    if (step.fault == "nomemory" && step.amount == 0) {
        pdalink::test::refuseMemory(
            [] { return ReplacedCall::depth == 0 && pdalink::test::virtual_time::thread() != 0; });
    } else if (step.fault == "nomemory" && step.amount == written + 1) {
        pdalink::test::refuseMemory([] { return ReplacedCall::depth == 0; });
    }
}

int Surroundings::loggedLines() const {
    static const std::string time = "2026-01-0";
    int count = 0;
    bool isReached = m_log.st_ino == 0;
    for (const char* name : {"log/PDA.log.1", kLog}) { // it may have been rotated
        struct stat log {};
        const bool isTheOne = stat(name, &log) == 0 && log.st_ino == m_log.st_ino;
        isReached = isReached || isTheOne;
        std::ifstream lines(isReached ? name : "");
        lines.seekg(isTheOne && m_log.st_size > 0 ? m_log.st_size - 1 : 0); // a torn line may be there
        for (std::string line; std::getline(lines, line) && !lines.eof();) {
            if (line.find(time, 1) != std::string::npos) {
                throw Mismatch("a line of the log is torn: " + line);
            }
            count += line.rfind(time, 0) == 0 && line.find("Vid/Pid: ") == std::string::npos ? 1 : 0;
        }
    }
    return count;
}
