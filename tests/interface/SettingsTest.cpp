#include "util/Settings.h"
#include "PrivateDirectory.h"
#include "util/LockConfig.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

namespace {

using namespace pdalink::test;

const std::string kIds = "VID=1209\nPID=0001\n";

/// Whether the whole reply is waited for with this ini.
bool waitsWith(const std::string& ini) {
    writeIni(ini);
    EXPECT_TRUE(LoadLockConfig());
    return pdalink::waitForWholeReply;
}

TEST(ReplySetting, IsOnWithItsExactLineOnly) {
    EXPECT_FALSE(pdalink::waitForWholeReply) << "at first";
    for (const std::string& line :
         {std::string("REPLY=whole\n"), std::string("REPLY=whole\r\n"), std::string("  REPLY  =   whole  \n"),
          std::string("REPLY=\nREPLY=whole\n"), std::string("REPLY=whole\nREPLY\n")}) {
        SCOPED_TRACE(line);
        EXPECT_TRUE(waitsWith(kIds + line));
        EXPECT_TRUE(waitsWith(line + kIds)) << "in front of the ids";
        EXPECT_EQ((g_Vid + g_Pid).toStdString(), "12090001");
    }
    EXPECT_TRUE(waitsWith(kIds + "REPLY=whole"));
    EXPECT_TRUE(waitsWith(kIds + "REPLY=whole\r"));
    for (const std::string& line :
         {std::string(), std::string("REPLY=\n"), std::string("REPLY\n"), std::string("REPLY=Whole\n"),
          std::string("REPLY=whole reply\n"), std::string("REPLY=whole=\n"), std::string("REPLY=wholes\n"),
          std::string("REPLY=\twhole\n"), std::string("reply=whole\n"), std::string("# REPLY=whole\n"),
          std::string("MY_REPLY=whole\n"), std::string("REPLYS=whole\n"), std::string("whole=REPLY\n"),
          std::string("REPLY=whole\nREPLY=\n"), "REPLY=" + std::string(100000, 'x') + "\n",
          "REPLY" + std::string(100000, 'x') + "=whole\n"}) {
        EXPECT_FALSE(waitsWith(kIds + line)) << line.substr(0, 100);
    }
}

TEST(ReplySetting, StaysWithoutAnIni) {
    EXPECT_TRUE(waitsWith(kIds + "REPLY=whole\n"));
    removeIni();
    EXPECT_FALSE(LoadLockConfig());
    EXPECT_TRUE(pdalink::waitForWholeReply);
}

TEST(ReplySetting, DoesNotConcernTheConfigurationReader) {
    const std::string path = scratchDirectory() + "/other.ini";
    writeFile(path, "REPLY=whole\nVID=1\n");
    CParamConfig ids{};
    EXPECT_TRUE(CGetConfigVal().GetprofileConfig(path.c_str(), &ids));
    EXPECT_STREQ(ids.Vid, "1");
    EXPECT_FALSE(pdalink::waitForWholeReply);
}

TEST(ReplySetting, IsOffInThePackagedIniUntilItsMarkIsTaken) {
    std::string ini = readFile(PDALINK_PACKAGED_INI);
    EXPECT_FALSE(waitsWith(ini));
    const std::size_t mark = ini.find("#REPLY=whole\n");
    ASSERT_NE(mark, std::string::npos);
    EXPECT_TRUE(waitsWith(ini.erase(mark, 1)));
}

TEST(ReplySettingDeathTest, DoesNotWeakenTheLengthGuards) {
    writeIni("REPLY=whole VID " + std::string(300, 'x') + "\n");
    EXPECT_EXIT(LoadLockConfig(), testing::KilledBySignal(SIGABRT), "PDAConfigure.ini");
}

} // namespace
