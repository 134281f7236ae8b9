#pragma once

#include "HidNodes.h"
#include "IniFile.h"

#include <string>
#include <vector>

namespace pdactl {

enum class Health { Ok, Warning, Problem };

/// One thing that was looked at.
struct Finding {
    Health health = Health::Ok;
    std::string check; ///< one word, for scripts
    std::string text;
    std::string command; ///< that fixes it or shows more; empty when nothing is wrong
};

/// "ok", "warning" or "problem".
const char* nameOf(Health health);

/// Looks at everything between a host and its terminal, by itself: some of it makes the library's process
/// exit.
class Doctor {
public:
    /// In the order in which a host would meet it.
    std::vector<Finding> examine();

    /// True when it makes sense after that to call the library, which would not make this process exit.
    bool canAskTerminal() const { return m_isSafe && m_isUsable; }

private:
    bool knowsIds() const;
    void checkLibrary();
    void checkIni();
    void checkLog();
    void checkLogFile(const std::string& directory);
    void checkOrphans();
    void checkNode();
    void warnOfSeveral(const std::vector<HidNode>& nodes);
    void checkPermissions();
    void checkUsers();

    void ok(const std::string& check, const std::string& text);
    void warn(const std::string& check, const std::string& text, const std::string& command);
    void problem(const std::string& check, const std::string& text, const std::string& command);

    std::vector<Finding> m_findings;
    IniFile m_ini;
    std::string m_node;
    bool m_isSafe = true;
    bool m_isUsable = false;
};

} // namespace pdactl
