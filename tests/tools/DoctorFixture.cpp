#include "DoctorFixture.h"

#include <sys/stat.h>

#include <filesystem>

namespace pdalink::test {

namespace {

namespace fs = std::filesystem;

void letEverybodyInto(const std::string& directory) {
    for (fs::path place = directory; place != "/tmp" && place.has_relative_path();
         place = place.parent_path()) {
        EXPECT_EQ(::chmod(place.c_str(), 0755), 0) << place;
    }
}

} // namespace

void DoctorFixture::becomeNobody(gid_t group) {
    for (const std::string& directory : {privateDirectory(), terminal().testBed().rootDirectory()}) {
        letEverybodyInto(directory);
    }
    m_user =
        "env -u TSAN_OPTIONS setpriv --reuid 65534 --clear-groups --regid " + std::to_string(group) + " ";
}

ProgramResult DoctorFixture::doctor(const Words& options) {
    std::string line = m_user;
    if (!m_libraryDirectory.empty()) {
        line = "LD_LIBRARY_PATH=" + test::quoted(m_libraryDirectory) + " " + line;
    }
    line += quoted(PDACTL_PROGRAM) + " doctor";
    for (const std::string& option : options) {
        line += " " + quoted(option);
    }
    return shell(line);
}

std::vector<QJsonObject> DoctorFixture::findings(const std::string& check) {
    const ProgramResult result = doctor({"--json"});
    bool isIll = false;
    std::vector<QJsonObject> found;
    for (const QJsonValue value : onlyDocument(result.output).array()) {
        const QJsonObject finding = value.toObject();
        isIll = isIll || finding.value("health").toString() == "problem";
        EXPECT_EQ(finding.contains("command"), finding.value("health").toString() != "ok");
        if (finding.value("check").toString().toStdString() == check) {
            found.push_back(finding);
        }
    }
    EXPECT_EQ(result.exitCode, isIll ? 1 : 0) << result.output << result.errors;
    return found;
}

QJsonObject DoctorFixture::finding(const std::string& check) {
    const std::vector<QJsonObject> all = findings(check);
    EXPECT_THAT(all, testing::SizeIs(1)) << check;
    return all.empty() ? QJsonObject() : all.front();
}

void DoctorFixture::finds(const std::string& check, const std::string& health, const std::string& text,
                          const std::string& command) {
    const QJsonObject found = finding(check);
    EXPECT_EQ(found.value("health").toString().toStdString(), health) << check;
    EXPECT_THAT(found.value("text").toString().toStdString(), testing::HasSubstr(text));
    EXPECT_THAT(found.value("command").toString().toStdString(), testing::HasSubstr(command));
}

void DoctorFixture::fix(const std::string& check) {
    const std::string command = finding(check).value("command").toString().toStdString();
    ASSERT_THAT(command, testing::HasSubstr(fs::path(privateDirectory()).parent_path().string()))
        << "would change something of the machine's own";
    const ProgramResult result = runShell("sudo() { \"$@\"; }; udevadm() { :; }; " + command);
    EXPECT_EQ(result.exitCode, 0) << command << "\n" << result.errors;
}

} // namespace pdalink::test
