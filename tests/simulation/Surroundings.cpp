#include "Surroundings.h"

#include "Model.h"
#include "VirtualNode.h"
#include "tests/interface/FailingMemory.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <unistd.h>

namespace fs = std::filesystem;
using pdalink::test::virtual_time::Behind;

namespace {

constexpr int kLogLimit = 500 * 1024;
constexpr const char* kIni = "PDAConfigure.ini";
constexpr const char* kLog = "log/PDA.log";

/// A write beyond it takes what still fits, or fails.
void limitFiles(rlim_t size) {
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = size;
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
}

/// Also after a process that has ended in between.
void restore() {
    limitFiles(RLIM_INFINITY);
    if (!fs::exists(kIni)) {
        std::ofstream(kIni) << pdalink::test::VirtualNode::ini();
    }
    if (fs::is_regular_file("log")) {
        fs::remove("log");
    }
}

} // namespace

Surroundings::Surroundings(const Step& step) {
    restore();
    if (step.fault == "noini") {
        fs::remove(kIni);
    } else if (step.fault == "nologs") {
        fs::remove_all("log");
        std::ofstream(step.amount == 0 ? "" : "log").close();
    } else if (step.fault == "rotation") {
        fs::create_directory("log");
        std::ofstream(kLog).seekp(kLogLimit - step.amount - 1) << '\n';
    }
    stat(kLog, &m_log);
    if (step.fault == "diskfull") {
        limitFiles(static_cast<rlim_t>(m_log.st_size + step.amount));
    }
}

Surroundings::~Surroundings() {
    restore();
}

void Surroundings::takeMemory(const Step& step, int written) {
    if (step.fault == "nomemory" && step.amount == 0) {
        FailingMemory::refuse([] { return Behind::depth == 0 && gettid() != getpid(); });
    } else if (step.fault == "nomemory" && step.amount == written + 1) {
        FailingMemory::refuse([] { return Behind::depth == 0; });
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
