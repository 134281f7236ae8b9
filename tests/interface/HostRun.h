#pragma once

#include "PrivateDirectory.h"
#include "ProgramRun.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace pdalink::test {

extern const std::string kLibrary; ///< the library's file name

/// Where the running test has its directories.
std::string testDirectory();

/// A directory of the running test, for the library, a host, an ini or several of them.
class HostDirectory {
public:
    explicit HostDirectory(const std::string& name);

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

    HostDirectory& withLibrary();
    HostDirectory& withIni(const std::string& vid, const std::string& pid = "1");
    HostDirectory& with(const std::string& original, const std::string& name);

    /// The log that a library here has written.
    std::vector<LogLine> log() const;
    /// The ids in the log's first line, "Vid/Pid: vid/pid"; empty without a log.
    std::string loggedIds() const;

private:
    std::string m_path;
};

/// How a host ended and what it wrote.
struct Outcome : ProgramResult {
    std::vector<std::string> lines() const;
    /// What follows `prefix` in the first line of the output that begins with it; fails the test without one.
    std::string valueOf(const std::string& prefix) const;
    std::ptrdiff_t count(const std::string& line) const;
};

/// Runs a host in a current directory.
Outcome runIn(const std::string& directory, const std::vector<std::string>& command,
              const std::map<std::string, std::string>& environment = {});

} // namespace pdalink::test
