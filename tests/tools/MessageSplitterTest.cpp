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
using testing::ElementsAreArray;
using testing::IsEmpty;

const QString kConstants = "QEV   " + QString(24, '0') + QString(8, ' ') + "05";

QString message(const QString& body, const QString& type = "9001") {
    const QString rest = type + kConstants + body;
    return QString("%1").arg(rest.size() + 6, 6, 10, QChar('0')) + rest;
}

/// What a text is cut into.
struct Cut {
    const char* name;
    QString text;
    std::vector<QString> messages;
    std::vector<std::string> warnings{};
};

std::string skipped(int count) {
    return "skipped " + std::to_string(count) + " characters that do not begin a message";
}

TEST(MessageSplitterTest, CutsATextInAnyPieces) {
    const QString a = message("<a>1</a>");
    const QString b = message("<b></b>");
    const QString wide = message(QString::fromUtf8("<a>\u7f16\u53f7</a>"));
    const std::vector<Cut> cuts = {
        {"messages that follow each other", a + b + message(""), {a, b, message("")}},
        {"characters of several bytes", wide + b, {wide, b}},
        {"something else around",
         "12345" + a + "</a>" + b + "\r\n",
         {a, b},
         {skipped(5), skipped(4), skipped(2)}},
        {"too short a header", "0000499001" + kConstants + a, {a}, {skipped(50)}},
        {"a type that is not four digits", "000050900x" + kConstants + a, {a}, {skipped(50)}},
        {"a header without tags after it", a.left(50) + "x" + b, {b}, {skipped(51)}},
    };
    for (const Cut& cut : cuts) {
        SCOPED_TRACE(cut.name);
        MessageSplitter whole;
        whole.add(cut.text, {});
        EXPECT_EQ(whole.warnings, cut.warnings);
        for (int size = 1; size <= cut.text.size(); ++size) {
            MessageSplitter splitter;
            for (int begin = 0; begin < cut.text.size(); begin += size) {
                splitter.add(cut.text.mid(begin, size), {});
            }
            EXPECT_THAT(splitter.messages, ElementsAreArray(cut.messages)) << size;
            EXPECT_FALSE(splitter.isUnfinished()) << size;
        }
    }
}

class UnfinishedMessageTest : public testing::Test {
protected:
    void wait(std::chrono::milliseconds time) {
        m_now += time;
        m_splitter.giveUpOld(m_now);
    }

    MessageSplitter m_splitter;
    MessageSplitter::Clock::time_point m_now = MessageSplitter::Clock::now();
};

TEST_F(UnfinishedMessageTest, IsGivenUpWhenNothingComesAnyMore) {
    m_splitter.add(message("<a>1</a>").left(55), m_now);
    wait(4900ms);
    EXPECT_TRUE(m_splitter.isUnfinished());
    m_splitter.add("/", m_now);
    wait(4900ms);
    EXPECT_TRUE(m_splitter.isUnfinished());
    wait(100ms);
    EXPECT_FALSE(m_splitter.isUnfinished());
    EXPECT_THAT(m_splitter.warnings,
                ElementsAre("gave up a message of which only 56 characters came", skipped(55)));
    m_splitter.add(message("<b></b>"), m_now);
    EXPECT_THAT(m_splitter.messages, ElementsAre(message("<b></b>")));
}

TEST_F(UnfinishedMessageTest, HidesNoMessageBehindAWrongLength) {
    QString wrong = message("<a></a>");
    wrong.replace(0, 6, "900000");
    m_splitter.add(wrong + message("<b></b>"), m_now);
    EXPECT_THAT(m_splitter.messages, IsEmpty());
    wait(5s);
    EXPECT_THAT(m_splitter.messages, ElementsAre(message("<b></b>")));
    EXPECT_FALSE(m_splitter.isUnfinished());
}

TEST(MessageSplitterWork, GrowsLinearlyWithTheNumberOfMessagesAndOfWhatDoesNotBeginOne) {
    for (const char* between : {"", "x"}) {
        const auto split = [&](std::size_t count) {
            MessageSplitter splitter;
            splitter.add((between + message("<a></a>")).repeated(static_cast<int>(count)), {});
            EXPECT_EQ(splitter.messages.size(), count);
        };
        EXPECT_LT(growthOf(split, 3000), MaxLinearGrowth);
    }
}

} // namespace
