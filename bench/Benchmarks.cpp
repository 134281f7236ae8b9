#include "Benchmarks.h"

#include "Harness.h"

#include <QString>
#include <QtGlobal>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <system_error>

namespace pdalink::bench {

namespace {

/// Something did not do its work.
bool g_failed = false;

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// As unbuffered as standard error.
std::FILE* openVoid() {
    std::FILE* nowhere = std::fopen("/dev/null", "we");
    if (nowhere == nullptr) {
        fail("/dev/null");
    }
    (void)std::setvbuf(nowhere, nullptr, _IONBF, 0);
    return nowhere;
}

void writeIntoVoid(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    static std::FILE* const nowhere = openVoid();
    (void)std::fprintf(nowhere, "%s\n", qPrintable(qFormatLogMessage(type, context, message)));
    (void)std::fflush(nowhere);
}

} // namespace

void failUnless(bool condition, benchmark::State& state, const char* what) {
    if (!condition) {
        state.SkipWithError(what);
        g_failed = true;
    }
}

int runBenchmarks(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return EXIT_FAILURE;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return g_failed ? EXIT_FAILURE : EXIT_SUCCESS;
}

void ensurePrivateRun(char** arguments) {
    if (test::isSupervised()) {
        return;
    }
    try {
        test::supervise({PDALINK_BENCH_LIBRARY, PDALINK_BENCH_LIBRARY_NAME,
                         PDALINK_BENCH_SUPPRESSIONS "/leaks.supp",
                         PDALINK_BENCH_SUPPRESSIONS "/threads.supp"},
                        arguments);
    } catch (const std::exception& failure) {
        (void)std::fprintf(stderr, "%s\n", failure.what());
        std::exit(1);
    }
}

QuietOutput::QuietOutput() : m_output(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)) {
    if (m_output < 0) {
        fail("standard output");
    }
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0) {
        fail("/dev/null");
    }
    (void)std::fflush(stdout);
    (void)::dup2(nowhere, STDOUT_FILENO);
    (void)::close(nowhere);
    (void)qInstallMessageHandler(writeIntoVoid);
}

QuietOutput::~QuietOutput() {
    (void)qInstallMessageHandler(nullptr);
    (void)std::fflush(stdout);
    (void)::dup2(m_output, STDOUT_FILENO);
    (void)::close(m_output);
}

} // namespace pdalink::bench
