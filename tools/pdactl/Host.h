#pragma once

#include <pdalink/analysis/PDAXMLAnalysis.h>

#include <QCoreApplication>

#include <functional>
#include <string>

namespace pdactl {

/** What the library made of a request. */
struct Answer {
    int result = 0;
    std::string response; ///< empty when the library wrote none
};

/** Carries out one JSON request, by the exported member, whose result the C entry keeps to itself. */
Answer request(CPDAXMLAnalysis& library, const std::string& json);

/** Takes the library's lines for Qt's debug output, of which it writes some even when it is unloaded. */
void silenceLibrary();

/**
 * This program as a host of the library: calls it so that nothing of its own lines gets onto standard output.
 *
 * With `verbose` those lines appear on standard error. Holds the application object whose events the library
 * processes while it waits.
 */
class Host {
public:
    explicit Host(bool verbose);

    /** Carries out one JSON request. */
    Answer request(const std::string& json) const;

    /** Runs something that calls the library. Throws when the ini or a device would end the process. */
    void call(const std::function<void()>& calls) const;

private:
    bool m_verbose;
    int m_argumentCount = 1;
    char m_name[7] = "pdactl";
    char* m_arguments[2] = {m_name, nullptr};
    QCoreApplication m_application;
};

} // namespace pdactl
