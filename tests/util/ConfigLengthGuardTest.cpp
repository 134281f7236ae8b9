#include "tests/support/OneLine.h"
#include "tests/util/Files.h"
#include "util/cgetconfigval.h"

#include <gtest/gtest.h>

#include <csignal>
#include <vector>

namespace {

std::string padded(const std::string& text, std::size_t length) {
    return text + std::string(length - text.size(), ' ');
}

const std::string kLong(1000, 'x');

const std::vector<std::string> kAccepted{
    // Names of 255 bytes.
    padded("VID", 255) + "=1",
    padded("PID", 255) + "=1",
    std::string(252, 'x') + "VID=1",
    // Value parts of 254 bytes, a carriage return counted in.
    "VID=" + padded("1", 254),
    "PID=" + padded("1", 254),
    "MY_VID=" + std::string(254, 'x'),
    "MY_VID=" + std::string(253, 'x') + "\r",
    // Values of 15 bytes.
    "VID=123456789012345",
    "PID=   123456789012345   ",
    "VID=12345678901234\r",
    "MY_VID=12345678901234567890",
    // Lines without a key in its spelling, or without an equals sign.
    kLong + "=" + kLong,
    "VID" + kLong,
    kLong + "=vid" + kLong,
};

const std::vector<std::string> kFatal{
    padded("VID", 256) + "=1",
    padded("PID", 256) + "=1",
    std::string(253, 'x') + "VID=1",
    "# PID" + std::string(1000, '-') + "=1",
    "VID=" + padded("1", 255),
    "PID=" + padded("1", 255),
    "MY_VID=" + std::string(255, 'x'),
    "MY_VID=" + std::string(254, 'x') + "\r",
    "comment=" + std::string(252, ' ') + "PID",
    "VID=1234567890123456",
    "PID=1234567890123456",
    "VID=123456789012345\r",
    "VID=" + std::string(254, 'x'),
};

TEST(ConfigLengthGuard, StopsTheProcessWithOneLineAtLinesThatAreTooLongOnly) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("PDAConfigure.ini");
    CParamConfig config{};
    for (const std::string& line : kAccepted) {
        writeFile(path, line + "\nPID=last\n");
        EXPECT_TRUE(CGetConfigVal().GetprofileConfig(path.c_str(), &config)) << line;
        EXPECT_STREQ(config.Pid, "last") << "the lines after it count too: " << line;
    }
    for (const std::string& line : kFatal) {
        writeFile(path, line + "\nPID=last\n");
        EXPECT_EXIT(CGetConfigVal().GetprofileConfig(path.c_str(), &config), testing::KilledBySignal(SIGABRT),
                    pdalink::test::isOneLine())
            << line;
    }
}

} // namespace
