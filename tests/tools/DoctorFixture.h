#pragma once

#include "PdactlRun.h"

namespace pdalink::test {

/** pdactl doctor on a machine whose udev rules are the test's own; a good one is there. */
class DoctorFixture : public PdactlTest {
protected:
    DoctorFixture();

    /** "/etc" or "/usr/lib". */
    void writeRule(const std::string& place, const std::string& name, const std::string& text);
    void removeRules();
    /** Where those directories are. */
    const std::string& udevRoot() const { return m_root; }

    /** From now on doctor is asked by a user who has no rights and is in this group; needs root. */
    void becomeNobody(gid_t group = 65534);

    ProgramResult doctor(const Words& options = {});

    /** The findings of one check. */
    std::vector<QJsonObject> findings(const std::string& check);
    /** The only one. */
    QJsonObject finding(const std::string& check);
    void finds(const std::string& check, const std::string& health, const std::string& text,
               const std::string& command = "");
    /** Runs the command of a finding as somebody would who may use sudo. */
    void mend(const std::string& check);

    /** Has doctor use a library that is elsewhere. */
    void setLibraryDirectory(const std::string& directory) { m_libraryDirectory = directory; }

private:
    std::string m_root;
    std::string m_libraryDirectory;
    std::string m_user; ///< words of shell in front of the program
};

const std::string GoodRule = "# the terminal\n"
                             "SUBSYSTEM==\"hidraw\", ATTRS{idVendor}==\"1209\", \\\n"
                             "  ATTRS{idProduct}==\"0001\", TAG+=\"uaccess\"\n";

} // namespace pdalink::test
