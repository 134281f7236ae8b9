#include "Host.h"

#include "HidNodes.h"
#include "IniFile.h"
#include "Signals.h"

#include <pdalink/util/LockConfig.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <new>
#include <system_error>
#include <vector>

namespace pdactl {

namespace {

// Twice what the library returns at most, escapes included.
constexpr std::size_t kResponseRoom = std::size_t{256} * 1024;

bool g_isVerbose = false;

void handleMessage(QtMsgType /*type*/, const QMessageLogContext& /*context*/, const QString& text) {
    if (g_isVerbose) {
        (void)std::fprintf(stderr, "library: %s\n", text.toUtf8().constData());
    }
}

/// Keeps descriptor 1 away from the library: on standard error, or nowhere.
class OutputElsewhere {
public:
    explicit OutputElsewhere(bool verbose) : m_output(::dup(STDOUT_FILENO)) {
        (void)std::fflush(stdout);
        const int elsewhere = verbose ? ::dup(STDERR_FILENO) : ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        (void)::dup2(elsewhere, STDOUT_FILENO);
        (void)::close(elsewhere);
        setDocumentDescriptor(m_output);
    }
    OutputElsewhere(const OutputElsewhere&) = delete;
    OutputElsewhere& operator=(const OutputElsewhere&) = delete;
    ~OutputElsewhere() {
        setDocumentDescriptor(-1);
        (void)std::fflush(stdout);
        (void)::dup2(m_output, STDOUT_FILENO);
        (void)::close(m_output);
    }

private:
    int m_output;
};

} // namespace

std::string libraryFile() {
    Dl_info info{};
    (void)::dladdr(reinterpret_cast<const void*>(&fun1), &info);
    return info.dli_fname != nullptr ? info.dli_fname : "";
}

std::string libraryDirectory() {
    namespace fs = std::filesystem;
    const std::string library = libraryFile();
    if (library.rfind("./", 0) != 0) {
        return fs::path(library).parent_path();
    }
    // Loaded by such a name, the library takes the program's directory for its own.
    std::error_code unreadable;
    const fs::path program = fs::read_symlink("/proc/self/exe", unreadable);
    return (program.parent_path() / library.substr(2)).parent_path();
}

std::string iniFile() {
    return libraryDirectory() + "/PDAConfigure.ini";
}

std::string logDirectory() {
    return libraryDirectory() + "/log";
}

void silenceLibrary() {
    (void)qInstallMessageHandler(handleMessage);
}

Host::Host(bool verbose) : m_verbose(verbose), m_application(m_argumentCount, m_arguments) {
    g_isVerbose = verbose;
}

void Host::call(const std::function<void(CPDAXMLAnalysis&)>& calls) const {
    requireHarmlessIni(iniFile());
    requireNoOrphanNodes();
    const OutputElsewhere elsewhere(m_verbose);
    CPDAXMLAnalysis library;
    calls(library);
}

Answer Host::request(const std::string& json) const {
    Answer answer;
    call([&](CPDAXMLAnalysis& library) { answer = pdactl::request(library, json); });
    return answer;
}

Answer request(CPDAXMLAnalysis& library, const std::string& json) {
    std::vector<char> response(kResponseRoom);
    Answer answer;
    int length = 0;
    answer.result =
        library.PDA_CommonCall(json.c_str(), static_cast<int>(json.size()), response.data(), &length);
    answer.response.assign(response.data(), static_cast<std::size_t>(length));
    return answer;
}

ReservedBuffer::ReservedBuffer(std::size_t size)
    : m_data(static_cast<char*>(std::calloc(size, 1)), &std::free) {
    if (m_data == nullptr) {
        throw std::bad_alloc();
    }
}

} // namespace pdactl
