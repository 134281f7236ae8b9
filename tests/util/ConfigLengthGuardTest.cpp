#include "tests/util/TemporaryDirectory.h"
#include "util/cgetconfigval.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace {

/// Lines that are too long end the process; those just within the limits are read.
class ConfigLengthGuard : public testing::Test {
protected:
    void expectAccepted(const std::string& line) {
        CParamConfig config{};
        EXPECT_TRUE(read(line, config));
        EXPECT_STREQ(config.Pid, "last") << "the lines after it count too";
    }

    void expectStopped(const std::string& line) {
        CParamConfig config{};
        EXPECT_EXIT(read(line, config), testing::KilledBySignal(SIGABRT), testing::MatchesRegex("[^\n]+\n"));
    }

    bool read(const std::string& line, CParamConfig& config) {
        const std::string path = m_directory.file("PDAConfigure.ini");
        writeFile(path, line + "\nPID=last\n");
        return CGetConfigVal().GetprofileConfig(path.c_str(), &config);
    }

private:
    TemporaryDirectory m_directory;
};

std::string padded(const std::string& text, std::size_t length) {
    return text + std::string(length - text.size(), ' ');
}

TEST_F(ConfigLengthGuard, AllowsNamesOf255Bytes) {
    expectAccepted(padded("VID", 255) + "=1");
    expectAccepted(padded("PID", 255) + "=1");
    expectAccepted(std::string(252, 'x') + "VID=1");
}

TEST_F(ConfigLengthGuard, StopsAtNamesOf256Bytes) {
    expectStopped(padded("VID", 256) + "=1");
    expectStopped(padded("PID", 256) + "=1");
}

TEST_F(ConfigLengthGuard, StopsAtLongNamesThatOnlyContainAKey) {
    expectStopped(std::string(253, 'x') + "VID=1");
    expectStopped("# PID" + std::string(1000, '-') + "=1");
}

TEST_F(ConfigLengthGuard, AllowsValuePartsOf254Bytes) {
    expectAccepted("VID=" + padded("1", 254));
    expectAccepted("PID=" + padded("1", 254));
    expectAccepted("MY_VID=" + std::string(254, 'x'));
}

TEST_F(ConfigLengthGuard, StopsAtValuePartsOf255Bytes) {
    expectStopped("VID=" + padded("1", 255));
    expectStopped("PID=" + padded("1", 255));
}

TEST_F(ConfigLengthGuard, StopsAtLongValuePartsOfOtherNamesToo) {
    expectStopped("MY_VID=" + std::string(255, 'x'));
    expectStopped("comment=" + std::string(252, ' ') + "PID");
}

TEST_F(ConfigLengthGuard, AllowsValuesOf15Bytes) {
    expectAccepted("VID=123456789012345");
    expectAccepted("PID=   123456789012345   ");
    expectAccepted("MY_VID=12345678901234567890");
}

TEST_F(ConfigLengthGuard, StopsAtValuesOf16Bytes) {
    expectStopped("VID=1234567890123456");
    expectStopped("PID=1234567890123456");
    expectStopped("VID=" + std::string(254, 'x'));
}

TEST_F(ConfigLengthGuard, CountsTheCarriageReturn) {
    expectAccepted("VID=12345678901234\r");
    expectStopped("VID=123456789012345\r");
    expectAccepted("MY_VID=" + std::string(253, 'x') + "\r");
    expectStopped("MY_VID=" + std::string(254, 'x') + "\r");
}

TEST_F(ConfigLengthGuard, DoesNotConcernLinesWithoutAKeyOrEqualsSign) {
    expectAccepted(std::string(1000, 'x') + "=" + std::string(1000, 'x'));
    expectAccepted("VID" + std::string(1000, 'x'));
    expectAccepted(std::string(1000, 'x') + "=vid" + std::string(1000, 'x'));
}

} // namespace
