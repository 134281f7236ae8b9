#include "OutputCapture.h"

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>
#include <sstream>
#include <stdexcept>

namespace pdalink::test {

namespace {

std::mutex g_linesMutex;
std::vector<std::string> g_lines;
QtMessageHandler g_previousHandler = nullptr;

void keepLine(QtMsgType /*type*/, const QMessageLogContext& /*context*/, const QString& text) {
    const std::lock_guard lock(g_linesMutex);
    g_lines.push_back(text.toStdString());
}

} // namespace

StandardOutputCapture::StandardOutputCapture()
    : m_original(::dup(STDOUT_FILENO)), m_file(::memfd_create("standard-output", MFD_CLOEXEC)) {
    (void)std::fflush(stdout);
    if (m_original < 0 || m_file < 0 || ::dup2(m_file, STDOUT_FILENO) < 0) {
        throw std::runtime_error("cannot capture the standard output");
    }
}

StandardOutputCapture::~StandardOutputCapture() {
    (void)std::fflush(stdout);
    (void)::dup2(m_original, STDOUT_FILENO);
    ::close(m_original);
    ::close(m_file);
}

std::string StandardOutputCapture::text() const {
    (void)std::fflush(stdout);
    struct stat status {};
    if (::fstat(m_file, &status) != 0) {
        throw std::runtime_error("cannot read the captured output");
    }
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    const ssize_t got = ::pread(m_file, text.data(), text.size(), 0);
    text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return text;
}

std::vector<std::string> StandardOutputCapture::lines() const {
    std::istringstream stream(text());
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

QtOutputCapture::QtOutputCapture() {
    const std::lock_guard lock(g_linesMutex);
    g_lines.clear();
    g_previousHandler = qInstallMessageHandler(keepLine);
}

QtOutputCapture::~QtOutputCapture() {
    qInstallMessageHandler(g_previousHandler);
}

std::vector<std::string> QtOutputCapture::lines() const {
    const std::lock_guard lock(g_linesMutex);
    return g_lines;
}

} // namespace pdalink::test
