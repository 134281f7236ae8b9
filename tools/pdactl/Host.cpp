#include "Host.h"

#include "DeviceCheck.h"
#include "Endings.h"
#include "IniFile.h"
#include "LibraryFiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

namespace pdactl {

namespace {

// Nothing longer than 115000 bytes is returned, except for values below 5000 bytes with many escapes: 23 of
// them, six bytes for each character.
constexpr std::size_t ResponseRoom = std::size_t{1024} * 1024;

bool g_isVerbose = false;

void handleMessage(QtMsgType /*type*/, const QMessageLogContext& /*context*/, const QString& text) {
    if (g_isVerbose) {
        (void)std::fprintf(stderr, "library: %s\n", text.toUtf8().constData());
    }
}

/** Keeps descriptor 1 away from the library: on standard error, or nowhere. */
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

void silenceLibrary() {
    (void)qInstallMessageHandler(handleMessage);
}

Host::Host(bool verbose) : m_verbose(verbose), m_application(m_argumentCount, m_arguments) {
    g_isVerbose = verbose;
}

void Host::call(const std::function<void()>& calls) const {
    requireHarmlessIni(iniFile());
    requireNoOrphanNodes();
    const OutputElsewhere elsewhere(m_verbose);
    calls();
}

Answer Host::request(const std::string& json) const {
    Answer answer;
    call([&] {
        CPDAXMLAnalysis library;
        answer = pdactl::request(library, json);
    });
    return answer;
}

Answer request(CPDAXMLAnalysis& library, const std::string& json) {
    std::vector<char> response(ResponseRoom);
    Answer answer;
    int length = 0;
    answer.result =
        library.PDA_CommonCall(json.c_str(), static_cast<int>(json.size()), response.data(), &length);
    answer.response.assign(response.data(), static_cast<std::size_t>(length));
    return answer;
}

} // namespace pdactl
