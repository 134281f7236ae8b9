#include "ChannelFixture.h"
#include "StatedLength.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// An open channel on which a message comes, whole or not.
class IncompleteReply : public ChannelTest {
protected:
    void SetUp() override {
        openChannel();
        newLogTexts();
    }

    std::string received(const std::string& sent) {
        terminal().sendText(sent);
        return g_HIDDevice.getBuffer().toStdString();
    }
};

TEST_F(IncompleteReply, IsReturnedWithAWarningIfItIsShorterThanItsLengthField) {
    EXPECT_EQ(received(messageOf(30, 60)), messageOf(30, 60));
    EXPECT_THAT(newLogTexts(), ElementsAre("HID Read XML: " + messageOf(30, 60),
                                           "reply incomplete: 30 of 60 characters came in time"));
    received(messageOf(59, 60));
    EXPECT_THAT(newLogTexts(3), ElementsAre("reply incomplete: 59 of 60 characters came in time"));
    for (const std::string& whole :
         {messageOf(60, 60), messageOf(60, 30), std::string("000010终终终终"), // it counts characters
          std::string("00099"), std::string("+00999"), std::string(" 00999"), std::string("00099x")}) {
        received(whole);
        EXPECT_THAT(newLogTexts(3), IsEmpty()) << whole;
    }
}

} // namespace
