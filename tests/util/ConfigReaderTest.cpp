#include "tests/util/ClosedStandard.h"
#include "tests/util/Files.h"
#include "util/cgetconfigval.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>
#include <type_traits>

namespace {

class ConfigReader : public testing::Test {
protected:
    bool readText(const std::string& text) {
        const std::string path = m_directory.file("PDAConfigure.ini");
        writeFile(path, text);
        return CGetConfigVal().GetprofileConfig(path.c_str(), &m_config);
    }

    /// Vendor and product id of a text, "Vid/Pid".
    std::string idsOf(const std::string& text) {
        m_config = {};
        EXPECT_TRUE(readText(text));
        return ids();
    }

    std::string ids() const { return std::string(m_config.Vid) + "/" + m_config.Pid; }
    void presetIds(const std::string& vid, const std::string& pid) {
        m_config = {};
        vid.copy(m_config.Vid, sizeof m_config.Vid - 1);
        pid.copy(m_config.Pid, sizeof m_config.Pid - 1);
    }

    CParamConfig& config() { return m_config; }
    const TemporaryDirectory& directory() const { return m_directory; }

private:
    TemporaryDirectory m_directory;
    CParamConfig m_config{};
};

TEST_F(ConfigReader, ReadsBothIds) {
    struct File {
        const char* name;
        std::string text;
        std::string ids;
    };
    for (const File& file : {
             File{"usual", "VID=0x04d8\nPID=0x003f\n", "0x04d8/0x003f"},
             File{"without a line end", "VID=04d8\nPID=003f", "04d8/003f"},
             File{"in another order", "PID=003f\nVID=04d8\n", "04d8/003f"},
             File{"among other lines", "[usb]\n\n# comment\nspeed=9600\nVID=1\nPID=2\nlast\n", "1/2"},
             File{"blanks around name and value", "VID = 04d8\n  PID   =   003f   \n", "04d8/003f"},
             File{"inner blanks", "VID=04   d8\nPID= 0 0  3 \n", "04 d8/0 0 3"},
             File{"tabs in values", "VID=\t04\t\td8 \t\nPID=1\n", "\t04\t\td8 \t/1"},
             File{"tabs in names", "VID\t=1\n\tPID=2\n", "/"},
             File{"carriage returns", "VID=04d8\r\nPID=003f \r\n", "04d8\r/003f \r"},
             File{"the last of several", "VID=1\nPID=2\nVID=3\nPID=4\n", "3/4"},
             File{"a shorter last one", "VID=longer value\nVID=1\n", "1/"},
             File{"an empty last one", "VID=1\nVID=\nPID=2\nPID=   \n", "/"},
             File{"comments", "# VID=1\n#VID=2\n; PID=3\n//PID=4\n", "/"},
             File{"other names", "MY_VID=1\nVIDEO=2\nVID1=3\nPIDX=4\nX PID=5\nPID X=6\nVID VID=7\n", "/"},
             File{"lower case", "vid=1\nVid=2\npid=3\nPiD=4\n", "/"},
             File{"no equals sign", "VID\nVID 1\nPID:2\n" + std::string(1000, 'x') + "VID\n", "/"},
             File{"several equals signs", "VID=a=b\nPID==c\n", "a=b/=c"},
             File{"an equals sign in front", "=VID=1\nX=VID=1\nY=PID\n", "/"},
             File{"a key as the value", "VID=PID\n", "PID/"},
             File{"the other key as the value", "PID=VID\n", "/VID"},
             File{"both keys in a name", "VID PID=1\nVIDPID=2\nPIDVID=3\n", "/"},
             File{"a long line", "# " + std::string(100000, '=') + "\nVID=1\n", "1/"},
             File{"long values", "VID=123456789012345\nPID=abcdefghijklmno\n",
                  "123456789012345/abcdefghijklmno"},
         }) {
        EXPECT_EQ(idsOf(file.text), file.ids) << file.name;
    }
    EXPECT_EQ(config().Vid[15], '\0');
    EXPECT_EQ(config().Pid[15], '\0');
}

TEST_F(ConfigReader, LeavesTheFieldOfAMissingKeyAlone) {
    presetIds("before1", "before2");
    EXPECT_TRUE(readText("VID=1\n"));
    EXPECT_EQ(ids(), "1/before2");
    EXPECT_TRUE(readText("PID=2\n"));
    EXPECT_EQ(ids(), "1/2");
    EXPECT_TRUE(readText(""));
    EXPECT_EQ(ids(), "1/2");
    presetIds("123456789012345", "123456789012345");
    EXPECT_TRUE(readText("VID=1\nPID=\n"));
    EXPECT_EQ(ids(), "1/") << "a value that replaces a longer one ends where it ends";
}

TEST_F(ConfigReader, FailsWithoutARegularFileAndWithoutWaiting) {
    presetIds("before1", "before2");
    const std::string fifo = directory().file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    alarm(20); // instead of waiting for ever
    for (const std::string& path :
         {fifo, directory().path(), directory().file("missing.ini"), std::string()}) {
        EXPECT_FALSE(CGetConfigVal().GetprofileConfig(path.c_str(), &config())) << path;
    }
    alarm(0);
    EXPECT_EQ(ids(), "before1/before2");
    EXPECT_FALSE(CGetConfigVal().GetprofileConfig(nullptr, &config()));
    EXPECT_FALSE(CGetConfigVal().GetprofileConfig("/dev/null", nullptr));
}

// The thread sanitizer takes it for a race that another thread reads a number while it is given to a file.
#ifndef __SANITIZE_THREAD__
TEST_F(ConfigReader, NeverReadsThroughAStandardDescriptor) {
    const std::string path = directory().file("PDAConfigure.ini");
    writeFile(path, "VID=1\n");
    std::string stolen;
    {
        const ClosedStandard standard(kAllStandard);
        std::atomic<bool> finished{false};
        std::thread reader([&] {
            std::array<char, 100> piece{};
            while (!finished) {
                const ssize_t size = read(STDIN_FILENO, piece.data(), piece.size());
                stolen.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
            }
        });
        for (int i = 0; i < 20000; ++i) {
            CGetConfigVal().GetprofileConfig(path.c_str(), &config());
        }
        finished = true;
        reader.join();
    }
    EXPECT_EQ(stolen, "");
    EXPECT_EQ(ids(), "1/");
}
#endif

static_assert(std::is_empty_v<CGetConfigVal>);
static_assert(sizeof(CParamConfig) == 32 && offsetof(CParamConfig, Pid) == 0 &&
              offsetof(CParamConfig, Vid) == 16);

/// What CompareAndGetVal makes of a line: what it writes into a buffer of "#", or that there is no match.
std::string compared(const std::string& line, const std::string& key, std::size_t room = 8) {
    std::string buffer(room, '#');
    const bool matches = CGetConfigVal().CompareAndGetVal(line, key.c_str(), buffer.data());
    EXPECT_TRUE(matches || buffer == std::string(room, '#')) << "it is left alone";
    return matches ? buffer : "no match";
}

TEST(ConfigLine, GivesTheSqueezedValueWithoutTerminator) {
    EXPECT_EQ(compared("VID=04d8", "VID"), "04d8####");
    EXPECT_EQ(compared("  VID  =  a   b  ", "VID"), "a b#####");
    EXPECT_EQ(compared("VID=   ", "VID"), "########");
    EXPECT_EQ(compared("speed = 12", "speed"), "12######") << "any key";
    EXPECT_EQ(compared(" two   words =1", "two words"), "1#######");
    EXPECT_EQ(compared("  =1", ""), "1#######");
    for (const char* line : {"PID=04d8", "VID", "VID 1", "", "XVID=1", "VIDX=1", "vid=1", "=VID", "=1"}) {
        EXPECT_EQ(compared(line, "VID"), "no match") << line;
    }
    EXPECT_EQ(compared("a=1", ""), "no match");
    const std::string longText(100000, 'v'); // of any length
    EXPECT_EQ(compared("VID=" + longText, "VID", longText.size() + 2), longText + "##");
    EXPECT_EQ(compared(longText + "=1", longText), "1#######");
}

TEST(Squeezing, DropsBlanksAtBothEndsAndReducesInnerRunsToOne) {
    struct Text {
        const char* text;
        const char* squeezed;
    };
    for (const Text& each : {Text{"  a", "a"}, Text{"a  ", "a"}, Text{"a b", "a b"},
                             Text{"a   b  c", "a b c"}, Text{"   a   b   ", "a b"}, Text{" ", ""},
                             Text{"     ", ""}, Text{"\t a \r\n", "\t a \r\n"}, Text{" \t  \t ", "\t \t"}}) {
        std::string text = each.text + std::string("\0#", 2);
        CGetConfigVal().eraseSpace(text.data());
        EXPECT_STREQ(text.c_str(), each.squeezed);
        EXPECT_EQ(text.back(), '#') << "nothing is written after the text's end";
    }
    CGetConfigVal().eraseSpace(nullptr);
    char text[] = "\0left";
    CGetConfigVal().eraseSpace(text);
    EXPECT_EQ(std::memcmp(text, "\0left", sizeof text), 0);
}

} // namespace
