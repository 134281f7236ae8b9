#include "Host.h"

#include "Machine.h"

#include <pdalink/util/LockConfig.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <new>
#include <system_error>

namespace pdactl {

namespace {

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
    int output() const { return m_output; }
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

Host::Host(const Settings& settings) : m_settings(settings), m_application(m_argumentCount, m_arguments) {
    g_isVerbose = m_settings.verbose;
}

void Host::call(const std::string& name, const std::function<void(CPDAXMLAnalysis&)>& calls) const {
    requireSafety(iniFile());
    const OutputElsewhere elsewhere(m_settings.verbose);
    const std::string message =
        "The library ended the process in " + name + ". Run 'pdactl doctor' to find out why.";
    const QJsonObject failure = documentOf(LocalFailure, message);
    std::vector<LastLine> lines;
    if (lastLines) {
        lines = lastLines(failure);
    } else if (m_settings.asJson) {
        lines.push_back({elsewhere.output(), lineOf(failure)});
    }
    lines.push_back({STDERR_FILENO, QByteArray::fromStdString("pdactl: " + message + "\n")});
    const CallInProgress inProgress(std::move(lines));
    CPDAXMLAnalysis library;
    calls(library);
}

Room reserve(std::size_t size) {
    Room room(static_cast<char*>(std::calloc(size, 1)), &std::free);
    if (room == nullptr) {
        throw std::bad_alloc();
    }
    return room;
}

} // namespace pdactl
