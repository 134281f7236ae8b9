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

TEST(ReplySetting, IsOffAtFirst) {
    EXPECT_FALSE(pdalink::waitForWholeReply);
}

TEST(ReplySetting, IsOnWithItsExactLineOnly) {
    struct Line {
        const char* text;
        bool waits;
    };
    for (const Line& line : {Line{"", false},
                             Line{"REPLY=whole\n", true},
                             Line{"REPLY=whole\r\n", true},
                             Line{"  REPLY  =   whole  \n", true},
                             Line{" REPLY = whole \r\n", true},
                             Line{"REPLY=\n", false},
                             Line{"REPLY\n", false},
                             Line{"REPLY=Whole\n", false},
                             Line{"REPLY=whole reply\n", false},
                             Line{"REPLY=whole=\n", false},
                             Line{"REPLY=wholes\n", false},
                             Line{"REPLY=\twhole\n", false},
                             Line{"REPLY=1\n", false},
                             Line{"reply=whole\n", false},
                             Line{"# REPLY=whole\n", false},
                             Line{"MY_REPLY=whole\n", false},
                             Line{"REPLYS=whole\n", false},
                             Line{"whole=REPLY\n", false},
                             Line{"REPLY=\nREPLY=whole\n", true},
                             Line{"REPLY=whole\nREPLY=\n", false},
                             Line{"REPLY=whole\nREPLY\n", true}}) {
        SCOPED_TRACE(line.text);
        EXPECT_EQ(waitsWith(kIds + line.text), line.waits);
        EXPECT_EQ(waitsWith(line.text + kIds), line.waits) << "in front of the ids";
        EXPECT_EQ((g_Vid + g_Pid).toStdString(), "12090001");
    }
}

TEST(ReplySetting, CountsInTheLastLineWithoutALineEnd) {
    EXPECT_TRUE(waitsWith(kIds + "REPLY=whole"));
    EXPECT_TRUE(waitsWith(kIds + "REPLY=whole\r"));
}

TEST(ReplySetting, MayBeLongerThanAnId) {
    EXPECT_FALSE(waitsWith(kIds + "REPLY=" + std::string(100000, 'x') + "\n"));
    EXPECT_FALSE(waitsWith(kIds + "REPLY" + std::string(100000, 'x') + "=whole\n"));
}

TEST(ReplySetting, IsReadAnewAtEveryLoadingAndStaysWithoutAnIni) {
    EXPECT_TRUE(waitsWith(kIds + "REPLY=whole\n"));
    EXPECT_FALSE(waitsWith(kIds));
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
