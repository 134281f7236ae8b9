#include "CallInterception.h"
#include "DiscoveryFixture.h"

namespace {

using testing::HasSubstr;
using testing::Not;

int countOf(const std::string& line, const std::string& text) {
    int count = 0;
    for (std::size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) {
        ++count;
    }
    return count;
}

/// A device that is unplugged in the middle of the walk, between two others.
class DiscoveryVanishing : public DiscoveryTest {
protected:
    DiscoveryVanishing() {
        add("1209", "0003");
        m_vanishing = add("1209", "0001");
        m_sysfsName = std::filesystem::path(testBed().nodePath(m_vanishing)).filename();
    }
    ~DiscoveryVanishing() override { pdalink::test::interceptNothing(); }

    void unplugBeforeItIsOpened() {
        pdalink::test::Interception interception;
        interception.newDevice = unplugging();
        pdalink::test::intercept(interception);
    }
    void unplugBeforeItsParentIsLookedUp() {
        pdalink::test::Interception interception;
        interception.parentLookup = unplugging();
        pdalink::test::intercept(interception);
    }
    /// Udev does not know the device any more, whatever the file system still shows.
    void forgetWhenItsParentIsLookedUp() {
        pdalink::test::Interception interception;
        interception.parentLookup = [this](const std::string& path) {
            m_isGone = m_isGone || isVanishing(path);
            return isVanishing(path);
        };
        interception.newDevice = [this](const std::string& path) { return m_isGone && isVanishing(path); };
        pdalink::test::intercept(interception);
    }
    bool isGone() const { return m_isGone; }
    void plugInAgain() {
        testBed().replug(m_vanishing);
        m_isGone = false;
    }

private:
    bool isVanishing(const std::string& path) const {
        return std::filesystem::path(path).filename() == m_sysfsName;
    }
    std::function<bool(const std::string&)> unplugging() {
        return [this](const std::string& path) {
            // Once: the test bed makes the same call when it takes the device away.
            if (!m_isGone && isVanishing(path)) {
                m_isGone = true;
                testBed().unplug(m_vanishing);
            }
            return false;
        };
    }

    pdasim::TestBed::DeviceId m_vanishing = 0;
    std::string m_sysfsName;
    bool m_isGone = false;
};

TEST_F(DiscoveryVanishing, BeforeItIsOpenedIsSkipped) {
    const auto other = add("1209", "0002");
    unplugBeforeItIsOpened();
    EXPECT_EQ(find("1209", "0002"), testBed().nodePath(other));
    ASSERT_TRUE(isGone());
    EXPECT_EQ(countOf("+++++++++++++++++\n", printed()), 3);
    EXPECT_EQ(countOf(" VID/PID: ", printed()), 2);
    EXPECT_THAT(printed(), Not(HasSubstr("1209 0001")));
    EXPECT_THAT(printed(), Not(HasSubstr("Unable")));
}

TEST_F(DiscoveryVanishing, BeforeItsParentIsLookedUpIsSkipped) {
    const auto other = add("1209", "0002");
    unplugBeforeItsParentIsLookedUp();
    EXPECT_EQ(find("1209", "0002"), testBed().nodePath(other));
    ASSERT_TRUE(isGone());
    EXPECT_EQ(countOf("+++++++++++++++++\n", printed()), 3);
    EXPECT_EQ(countOf(" VID/PID: ", printed()), 2);
    EXPECT_THAT(printed(), Not(HasSubstr("Unable")));
}

TEST_F(DiscoveryVanishing, IsSkippedWhenOnlyUdevKnowsThatItIsGone) {
    const auto other = add("1209", "0002");
    forgetWhenItsParentIsLookedUp();
    EXPECT_EQ(find("1209", "0002"), testBed().nodePath(other));
    ASSERT_TRUE(isGone());
    EXPECT_THAT(printed(), Not(HasSubstr("Unable")));
}

TEST_F(DiscoveryVanishing, IsNotFoundAndDoesNotUndoAnEarlierMatch) {
    unplugBeforeItIsOpened();
    EXPECT_EQ(find(), "");
    ASSERT_TRUE(isGone());
    plugInAgain();
    unplugBeforeItsParentIsLookedUp();
    EXPECT_EQ(find(), "");
    ASSERT_TRUE(isGone());
    plugInAgain();
    EXPECT_EQ(find("1209", "0003"), "/dev/hidraw0");
    ASSERT_TRUE(isGone());
}

TEST_F(DiscoveryVanishing, LeavesNoDescriptorOpen) {
    const auto vanish = [this](bool early) {
        early ? unplugBeforeItIsOpened() : unplugBeforeItsParentIsLookedUp();
        find("1209", "0003");
        ASSERT_TRUE(isGone());
        plugInAgain();
    };
    vanish(true);
    vanish(false);
    const int before = descriptors();
    for (const bool early : {true, false, true, false}) {
        vanish(early);
    }
    EXPECT_TRUE(descriptorsBecome(before));
}

} // namespace
