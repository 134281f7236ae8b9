#include "Device.h"
#include "FailingCalls.h"
#include "FailingMemory.h"
#include "LibraryDirectory.h"

#include "analysis/PDAXMLAnalysis.h"
#include "device/Channel.h"
#include "device/HIDDevice.h"
#include "interface/pdalink.h"
#include "tests/support/PrivateDirectory.h"
#include "tests/support/ProcessFacts.h"
#include "util/FileLog.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// Every system call and every allocation of a few exchanges fails with every error it can have, each in a
// process of its own.

using namespace pdalink::test;
using namespace std::chrono_literals;

namespace {

/// Which failures of a call an exchange may suffer from.
enum class Needed { Never, Lastingly, Always };

struct SystemCall {
    const char* name;
    std::vector<int> numbers; ///< none: the replaced call of this name, or an allocation
    Needed isNeeded;
    std::vector<int> errors; ///< the first one also lasts
};

std::ostream& operator<<(std::ostream& out, const SystemCall& call) {
    return out << call.name;
}

// clang-format off
const SystemCall kSystemCalls[] = {
    {"open", {}, Needed::Always, {EACCES, EBUSY, EINTR, EIO, EMFILE, ENFILE, ENODEV, ENOENT, ENOMEM, ENXIO, EPERM}},
    {"read", {}, Needed::Lastingly, {EIO, EAGAIN, EINTR, ENODEV, ENOMEM, EFAULT, EINVAL, EBADF, EOVERFLOW}},
    {"write", {}, Needed::Always, {EIO, EAGAIN, EINTR, EINVAL, ENODEV, ENOMEM, EPIPE, ETIMEDOUT, EPROTO, ESHUTDOWN, EBADF}},
    {"poll", {}, Needed::Never, {ENOMEM, EINTR, EFAULT, EINVAL}},
    {"pthread_create", {}, Needed::Always, {EAGAIN, ENOMEM, EPERM, EINVAL}},
    {"malloc", {}, Needed::Always, {ENOMEM}},
    {"mmap", {SYS_mmap}, Needed::Always, {ENOMEM, EAGAIN, EPERM}},
    {"open_file", {SYS_openat}, Needed::Always,
     {EMFILE, EACCES, EAGAIN, EBUSY, EDQUOT, EEXIST, EFBIG, EINTR, EINVAL, EIO, EISDIR, ELOOP, ENAMETOOLONG,
      ENFILE, ENODEV, ENOENT, ENOMEM, ENOSPC, ENOTDIR, ENXIO, EOPNOTSUPP, EOVERFLOW, EPERM, EROFS, ESTALE, ETXTBSY}},
    {"read_file", {SYS_read, SYS_pread64}, Needed::Always, {EIO, EAGAIN, EBADF, EINTR, EINVAL, EISDIR, ENOMEM, ESTALE}},
    {"write_file", {SYS_write}, Needed::Never,
     {ENOSPC, EAGAIN, EBADF, EDQUOT, EFBIG, EINTR, EINVAL, EIO, ENOMEM, EPERM, EPIPE, EROFS, ESTALE}},
    {"stat", {SYS_newfstatat, SYS_fstat}, Needed::Always,
     {EIO, EACCES, EBADF, EINVAL, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EOVERFLOW, ESTALE}},
    {"rename", {SYS_rename}, Needed::Never,
     {EACCES, EBUSY, EDQUOT, EINVAL, EIO, EISDIR, ELOOP, EMLINK, ENAMETOOLONG, ENOENT, ENOMEM, ENOSPC, ENOTDIR,
      ENOTEMPTY, EPERM, EROFS, EXDEV}},
    {"unlink", {SYS_unlink, SYS_rmdir}, Needed::Never, {EACCES, EBUSY, EIO, EISDIR, ENOENT, ENOMEM, ENOTDIR, EPERM, EROFS}},
    {"mkdir", {SYS_mkdir}, Needed::Never,
     {EACCES, EDQUOT, EEXIST, EIO, ELOOP, EMLINK, ENOENT, ENOMEM, ENOSPC, ENOTDIR, EPERM, EROFS}},
    {"fcntl", {SYS_fcntl}, Needed::Never, {EBADF, EACCES, EAGAIN, EINTR, EINVAL, EMFILE}},
    {"lseek", {SYS_lseek}, Needed::Never, {EIO, EBADF, EINVAL, ENXIO, EOVERFLOW, ESPIPE}},
    {"close", {SYS_close}, Needed::Never, {EIO, EBADF, EDQUOT, EINTR, ENOSPC}},
};
// clang-format on

/// What a process tells of itself.
struct Report {
    bool hasStruck = false;
    std::array<char, 2000> failure{};
};

class Scenario {
public:
    Scenario(const SystemCall& call, const FailingCalls::Fault& fault, Report& report)
        : m_isMemory(std::strcmp(call.name, "malloc") == 0),
          m_isLasting(fault.isLasting),
          m_isBearable(call.isNeeded == Needed::Never ||
                       (call.isNeeded == Needed::Lastingly && !fault.isLasting)),
          m_calls(call.numbers, fault),
          m_report(report) {
        m_device.take(Step());
        virtual_time::failure = [this, &call](std::string_view name) {
            return name == call.name ? m_calls.next() : 0;
        };
        refuseMemory(
            [] { return virtual_time::ReplacedCall::depth == 0 && virtual_time::failureOf("malloc") != 0; });
    }

    void run() {
        const int descriptors = descriptorCount();
        expectAnswer(kInformation);
        expectAnswer(R"({"transCode":"600015","pdaNumber":"7","pCmdEx":1,"pInfoEx":"i","pFilePath":")" +
                     std::string(3001, 'f') + "\"}"); // two packets
        takeMessage();
        stop();
        m_hasFaults = false;
        expect(descriptorCount() == descriptors, "descriptors are left open");
        expect(isAnswered(call(kInformation)) || isAnswered(call(kInformation)), "the next calls fail");
        stop();
        expect(descriptorCount() == descriptors, "descriptors are left open in the end");
        m_report.hasStruck = m_calls.hasStruck();
    }

    void expect(bool condition, const std::string& otherwise) {
        if (!condition && m_report.failure[0] == '\0') {
            otherwise.copy(m_report.failure.data(), m_report.failure.size() - 1);
        }
    }

private:
    static constexpr const char* kInformation = R"({"transCode":"600002"})";

    bool mustWork() const { return m_isBearable || !m_calls.hasStruck(); }

    /// Something that the library does, and that meets the fault.
    template <typename Call>
    auto met(const Call& call) {
        m_calls.arm(m_hasFaults);
        auto result = call();
        m_calls.arm(false);
        return result;
    }

    /// The response; empty for one without an end or a result. There is none without memory for it.
    std::string call(const std::string& request) {
        std::array<char, 131072> response{};
        int length = -1;
        met([&] {
            return PDA_CommonCall(request.c_str(), static_cast<int>(request.size()), response.data(),
                                  &length);
        });
        const std::string text = response.data();
        if (m_isMemory && m_calls.hasStruck() && length == -1 && text.empty()) {
            return "none";
        }
        const bool isWhole = length == static_cast<int>(text.size()) && text.back() == '}';
        const bool hasResult = isAnswered(text) || text.find(R"("pRetCode":"")") != std::string::npos ||
                               text.find(R"("pRetCode":"000060")") != std::string::npos;
        return isWhole && hasResult ? text : "";
    }

    static bool isAnswered(const std::string& response) {
        return response.find(R"("pRetCode":"000000")") != std::string::npos;
    }

    void expectAnswer(const std::string& request) {
        const std::string response = call(request);
        expect(!response.empty(), "a response has no result");
        expect(isAnswered(response) || !mustWork(), "response " + response);
    }

    void takeMessage() {
        m_device.announce(pdasim::userNotice("ann"), 0ms);
        const auto take = [] { return g_HIDDevice.getBuffer(); };
        std::string message = met(take).toStdString();
        if (m_isMemory && !m_isLasting &&
            message.empty()) { // what could not be taken is there later, if it was received
            message = take().toStdString();
            expect(!message.empty() || hasDropped(), "a message is neither received nor known to be dropped");
        }
        expect(!message.empty() || !mustWork(), "the terminal's message is lost");
        const bool isTaken = !message.empty() &&
                             met([&] { return CPDAXMLAnalysis().ReceiveRandomNumber(message.data()) == 0; });
        expect(isTaken || !mustWork(), "the terminal's message is not handled");
    }

    static bool hasDropped() {
        return readFile("log/PDA.log").find("out of memory, dropping what the terminal sends") !=
               std::string::npos;
    }

    void stop() {
        met([] {
            pdalink::channel::close();
            g_PDA_Log.Close();
            return 0;
        });
    }

    const bool m_isMemory;
    const bool m_isLasting;
    const bool m_isBearable;
    bool m_hasFaults = true;
    FailingCalls m_calls;
    Report& m_report;
    Device m_device;
};

/// A log that is to be rotated soon, or no directory for it.
void makeLog(bool exists) {
    std::filesystem::remove_all("log");
    if (exists) {
        std::filesystem::create_directory("log");
        std::ofstream("log/PDA.log").seekp(500 * 1024 - 1500) << '\n';
    }
}

/// Whether every line of every log begins as lines do, with a time, and none is glued to another.
bool hasOnlyLines() {
    static const std::string time = "2026-01-0";
    for (const auto& file : std::filesystem::directory_iterator("log")) {
        std::ifstream lines(file.path());
        std::string line;
        while (std::getline(lines, line)) {
            const bool isLine = line.rfind(time, 0) == 0 && line.find(time, 1) == std::string::npos;
            if (!line.empty() && line[0] != '\0' && !isLine) {
                return false;
            }
        }
    }
    return true;
}

/// What is thrown makes the process abort: it must not come to the other tests.
// NOLINTNEXTLINE(bugprone-exception-escape)
[[noreturn]] void runInChild(const SystemCall& call, const FailingCalls::Fault& fault,
                             Report& report) noexcept {
    alarm(60);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    makeLog(std::strcmp(call.name, "mkdir") != 0);
    virtual_time::begin(1);
    virtual_time::abortAfter(virtual_time::now() + 1h);
    Scenario scenario(call, fault, report);
    scenario.run();
    scenario.expect(hasOnlyLines(), "a line of the log is torn");
    _exit(0);
}

/// Returns false when there were not that many calls, or the process has not come to its end.
bool survives(const SystemCall& call, const FailingCalls::Fault& fault) {
    static auto* const shared =
        mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Report& report = *new (shared) Report;
    const pid_t child = fork();
    if (child == 0) {
        runInChild(call, fault, report);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0 || report.failure[0] != '\0') {
        ADD_FAILURE() << call.name << " number " << fault.place << " fails with "
                      << strerrorname_np(fault.error) << (fault.isLasting ? ", as all later ones" : "")
                      << ": wait status " << status << ", " << report.failure.data();
    }
    return report.hasStruck;
}

class EverySystemCall : public testing::TestWithParam<SystemCall> {
protected:
    EverySystemCall() {
        std::filesystem::current_path(m_directory.path());
        initialiseQt();
    }

    const LibraryDirectory m_directory;
};

TEST_P(EverySystemCall, MayFailWithEveryError) {
    const SystemCall& call = GetParam();
    int runs = 0;
    for (std::size_t i = 0; i <= call.errors.size(); ++i) {
        const bool isLasting = i == call.errors.size();
        int place = 1;
        while (survives(call, {place, call.errors[isLasting ? 0 : i], isLasting})) {
            ++place;
        }
        EXPECT_GT(place, 1) << "no call was seen";
        runs += place;
    }
    RecordProperty("runs", runs);
}

INSTANTIATE_TEST_SUITE_P(Of, EverySystemCall, testing::ValuesIn(kSystemCalls),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
