#pragma once

#include "Outcome.h"
#include "Signals.h"

#include <pdalink/analysis/PDAXMLAnalysis.h>

#include <QCoreApplication>

#include <cstddef>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

namespace pdactl {

/// The library's file, under the name by which it was loaded.
std::string libraryFile();
/// Where the library looks for its PDAConfigure.ini and writes its log.
std::string libraryDirectory();
std::string iniFile();
std::string logDirectory();

/// Takes the library's lines for Qt's debug output, of which it writes some even when it is unloaded.
void silenceLibrary();

/// This program as a host of the library: calls it so that none of its own lines get onto standard output.
///
/// With `verbose` those lines appear on standard error. Holds the application object whose events the library
/// processes while it waits.
class Host {
public:
    explicit Host(const Settings& settings);

    /// Runs something that calls the library, and that people call by this name. Throws when the ini or a
    /// device would make the process exit. Should the library end it all the same, its last lines say so.
    void call(const std::string& name, const std::function<void(CPDAXMLAnalysis& library)>& calls) const;

    /// The last lines for whoever waits for documents; the standard output of --json unless it is set.
    std::function<std::vector<LastLine>(const QJsonObject& failure)> lastLines;

private:
    Settings m_settings;
    int m_argumentCount = 1;
    char m_name[7] = "pdactl";
    char* m_arguments[2] = {m_name, nullptr};
    QCoreApplication m_application;
};

/// Room for any value of a reply, which has 16 Mi characters at most, of three bytes each.
constexpr std::size_t kReplyRoom = std::size_t{64} * 1024 * 1024;

/// Zeroed memory for an output of any length: address space only, until it is written.
using Room = std::unique_ptr<char, decltype(&std::free)>;
Room reserve(std::size_t size = kReplyRoom);

} // namespace pdactl
