#include "listen/MessageSplitter.h"

#include "WorkGrowth.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

namespace {

using namespace std::chrono_literals;
using pdactl::MessageSplitter;
using pdalink::test::growthOf;
using pdalink::test::MaxLinearGrowth;
using testing::ElementsAre;
using testing::IsEmpty;

const QString kConstants = "QEV   " + QString(24, '0') + QString(8, ' ') + "05";

QString message(const QString& body, const QString& type = "9001") {
    const QString rest = type + kConstants + body;
    return QString("%1").arg(rest.size() + 6, 6, 10, QChar('0')) + rest;
}

class MessageSplitterTest : public testing::Test {
protected:
    void add(const QString& text) { m_splitter.add(text, m_now); }
    void wait(std::chrono::milliseconds time) {
        m_now += time;
        m_splitter.giveUpOld(m_now);
    }
    std::vector<QString> taken() {
        std::vector<QString> all;
        while (const std::optional<QString> next = m_splitter.next()) {
            all.push_back(*next);
        }
        return all;
    }
    bool isUnfinished() const { return m_splitter.isUnfinished(); }
    std::vector<std::string> warnings() { return m_splitter.takeWarnings(); }

private:
    MessageSplitter m_splitter;
    MessageSplitter::Clock::time_point m_now = MessageSplitter::Clock::now();
};

TEST_F(MessageSplitterTest, CutsMessagesThatFollowEachOther) {
    add(message("<a>1</a>") + message("<b></b>") + message(""));
    EXPECT_THAT(taken(), ElementsAre(message("<a>1</a>"), message("<b></b>"), message("")));
    EXPECT_FALSE(isUnfinished());
    EXPECT_THAT(warnings(), IsEmpty());
}

TEST_F(MessageSplitterTest, TakesTextInAnyPieces) {
    const QString text = message("<a>1</a>") + message("<b></b>");
    for (int size = 1; size < text.size(); ++size) {
        for (int begin = 0; begin < text.size(); begin += size) {
            add(text.mid(begin, size));
        }
        EXPECT_THAT(taken(), ElementsAre(message("<a>1</a>"), message("<b></b>"))) << size;
        EXPECT_FALSE(isUnfinished());
        EXPECT_THAT(warnings(), IsEmpty());
    }
}

TEST_F(MessageSplitterTest, CountsCharactersNotBytes) {
    const QString text = message(QString::fromUtf8("<a>\u7f16\u53f7</a>"));
    add(text + message("<b></b>"));
    EXPECT_THAT(taken(), ElementsAre(text, message("<b></b>")));
}

TEST_F(MessageSplitterTest, SkipsWhatDoesNotBeginAMessage) {
    add("12345" + message("<a></a>") + "</a>" + message("<b></b>") + "\r\n");
    EXPECT_THAT(taken(), ElementsAre(message("<a></a>"), message("<b></b>")));
    EXPECT_THAT(warnings(), ElementsAre("skipped 5 characters that do not begin a message",
                                        "skipped 4 characters that do not begin a message",
                                        "skipped 2 characters that do not begin a message"));
    EXPECT_FALSE(isUnfinished());
}

TEST_F(MessageSplitterTest, SkipsAHeaderThatIsTooShortForOne) {
    add("0000499001" + kConstants + message("<a></a>"));
    EXPECT_THAT(taken(), ElementsAre(message("<a></a>")));
    EXPECT_THAT(warnings(), ElementsAre("skipped 50 characters that do not begin a message"));
}

TEST_F(MessageSplitterTest, SkipsATypeThatIsNotFourDigits) {
    add("000050900x" + kConstants + message("<a></a>"));
    EXPECT_THAT(taken(), ElementsAre(message("<a></a>")));
    EXPECT_THAT(warnings(), ElementsAre("skipped 50 characters that do not begin a message"));
}

TEST_F(MessageSplitterTest, SkipsAHeaderWithoutTagsAfterIt) {
    const QString header = message("<a></a>").left(50);
    add(header);
    EXPECT_TRUE(isUnfinished());
    add("x" + message("<b></b>"));
    EXPECT_THAT(taken(), ElementsAre(message("<b></b>")));
    EXPECT_THAT(warnings(), ElementsAre("skipped 51 characters that do not begin a message"));
}

TEST_F(MessageSplitterTest, GivesUpWhenNothingComesAnyMore) {
    add(message("<a>1</a>").left(55));
    wait(4900ms);
    EXPECT_TRUE(isUnfinished());
    add("/");
    wait(4900ms);
    EXPECT_TRUE(isUnfinished());
    wait(100ms);
    EXPECT_FALSE(isUnfinished());
    EXPECT_THAT(warnings(), ElementsAre("gave up a message of which only 56 characters came",
                                        "skipped 55 characters that do not begin a message"));
    add(message("<b></b>"));
    EXPECT_THAT(taken(), ElementsAre(message("<b></b>")));
}

TEST_F(MessageSplitterTest, FindsMessagesAfterOneWithAWrongLength) {
    QString wrong = message("<a></a>");
    wrong.replace(0, 6, "900000");
    add(wrong + message("<b></b>"));
    EXPECT_THAT(taken(), IsEmpty());
    wait(5s);
    EXPECT_THAT(taken(), ElementsAre(message("<b></b>")));
    EXPECT_FALSE(isUnfinished());
}

TEST(MessageSplitterWork, GrowsLinearlyWithTheNumberOfMessages) {
    const auto split = [](std::size_t count) {
        MessageSplitter splitter;
        splitter.add(message("<a></a>").repeated(static_cast<int>(count)), {});
        EXPECT_EQ(splitter.whole(), count);
    };
    EXPECT_LT(growthOf(split, 3000), MaxLinearGrowth);
}

TEST(MessageSplitterWork, GrowsLinearlyWithWhatDoesNotBeginAMessage) {
    const auto split = [](std::size_t count) {
        MessageSplitter splitter;
        splitter.add(("x" + message("<a></a>")).repeated(static_cast<int>(count)), {});
        EXPECT_EQ(splitter.takeWarnings().size(), count);
    };
    EXPECT_LT(growthOf(split, 3000), MaxLinearGrowth);
}

} // namespace
