#include "node/HidrawQueue.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

using pdasim::HidrawQueue;

TEST(HidrawQueue, GivesOneReportARead) {
    HidrawQueue queue;
    queue.push("one");
    queue.push("two");
    EXPECT_EQ(queue.read(4096).report, "one");
    EXPECT_EQ(queue.read(4096).report, "two");
    EXPECT_EQ(queue.read(4096).error, EAGAIN);
}

TEST(HidrawQueue, DropsWhatAReadHasNoRoomFor) {
    HidrawQueue queue;
    queue.push("abcdef");
    EXPECT_EQ(queue.read(4).report, "abcd");
    EXPECT_EQ(queue.read(4).error, EAGAIN);
}

TEST(HidrawQueue, Holds63ReportsAndCountsTheLostOnes) {
    HidrawQueue queue;
    for (int i = 0; i < 70; ++i) {
        EXPECT_EQ(queue.hasRoom(), i < 63);
        queue.push(std::to_string(i));
    }
    EXPECT_EQ(queue.lostReports(), 7U);
    for (int i = 0; i < 63; ++i) {
        EXPECT_EQ(queue.read(4096).report, std::to_string(i));
    }
    EXPECT_EQ(queue.read(4096).error, EAGAIN);
}

TEST(HidrawQueue, TakesWritesOf2To16384Bytes) {
    const HidrawQueue queue;
    EXPECT_EQ(queue.writeError(0), EINVAL);
    EXPECT_EQ(queue.writeError(1), EINVAL);
    EXPECT_EQ(queue.writeError(2), 0);
    EXPECT_EQ(queue.writeError(16384), 0);
    EXPECT_EQ(queue.writeError(16385), EINVAL);
}

TEST(HidrawQueue, CanBeReadEmptyAfterTheDeviceHasGone) {
    HidrawQueue queue;
    queue.push("last");
    queue.unplug();
    EXPECT_EQ(queue.writeError(64), ENODEV);
    EXPECT_EQ(queue.writeError(0), ENODEV);
    EXPECT_EQ(queue.read(4096).report, "last");
    EXPECT_EQ(queue.read(4096).error, EIO);
    EXPECT_EQ(queue.read(4096).error, EIO);
}

TEST(Reports, ArePaddedWithNul) {
    const auto reports = pdasim::cutIntoReports("abcdef", 4);
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_EQ(reports[0], "abcd");
    EXPECT_EQ(reports[1], std::string("ef\0\0", 4));
    EXPECT_EQ(pdasim::cutIntoReports("abcd", 4).size(), 1U);
    EXPECT_TRUE(pdasim::cutIntoReports("", 4).empty());
}

} // namespace
