#pragma once

#include "PdactlRun.h"

namespace pdalink::test {

/// pdactl doctor, asked by any user.
class DoctorFixture : public PdactlTest {
protected:
    /// From now on doctor is asked by a user who has no rights and is in this group; needs root.
    void becomeNobody(gid_t group = 65534);

    ProgramResult doctor(const Words& options = {});

    /// The findings of one check.
    std::vector<QJsonObject> findings(const std::string& check);
    /// The only one.
    QJsonObject finding(const std::string& check);
    void finds(const std::string& check, const std::string& health, const std::string& text,
               const std::string& command = "");
    /// Runs the command of a finding as somebody would who may use sudo.
    void fix(const std::string& check);

    /// Has doctor use a library that is elsewhere.
    void setLibraryDirectory(const std::string& directory) { m_libraryDirectory = directory; }

private:
    std::string m_libraryDirectory;
    std::string m_user; ///< words of shell in front of the program
};

} // namespace pdalink::test
