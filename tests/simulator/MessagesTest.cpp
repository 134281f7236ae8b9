#include "BareClient.h"

#include "core/Message.h"
#include "core/MessageChecker.h"
#include "core/MessageTable.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using pdasim::MessageChecker;
using pdasim::Sender;
using pdasim::test::request;
using pdasim::test::requestWithSequence;
using Texts = std::vector<std::string>;

/// A valid information request whose bytes at an offset are replaced.
std::string damaged(std::size_t offset, const std::string& bytes) {
    std::string text = request("8001", 1);
    text.replace(offset, bytes.size(), bytes);
    return text;
}

Texts violationsOf(const std::string& message) {
    return MessageChecker().check(message).violations;
}

TEST(Message, IsComposedAsTheProtocolLaysItOut) {
    EXPECT_EQ(pdasim::composeMessage("8001", {{"Ex_A", "x"}, {"Ex_B", ""}}),
              "0000778001QEV   000000000000000000000000        05<Ex_A>x</Ex_A><Ex_B></Ex_B>");
}

TEST(Message, CountsUtf16UnitsOfUtf8AndBytesOfAnythingElse) {
    EXPECT_EQ(pdasim::lengthInCharacters("abc"), 3U);
    EXPECT_EQ(pdasim::lengthInCharacters("\xC3\xA4\xE6\x96\x87"), 2U);
    EXPECT_EQ(pdasim::lengthInCharacters("\xF0\x9F\x94\x92"), 2U);
    EXPECT_EQ(pdasim::lengthInCharacters("a\xFF\xC3\xA4"), 4U);
    EXPECT_EQ(pdasim::lengthInCharacters("\xC0\x80"), 2U);
    EXPECT_EQ(pdasim::lengthInCharacters("\xED\xA0\x80"), 3U);
    EXPECT_EQ(pdasim::lengthInCharacters("\xE6\x96"), 2U);
}

TEST(Message, IsShownPrintable) {
    EXPECT_EQ(pdasim::printable("a\n\\\xFF"), "a\\x0A\\x5C\\xFF");
}

TEST(MessageChecker, AcceptsAnInitialisationWithAnyValues) {
    MessageChecker checker;
    EXPECT_EQ(checker.check(request("8002", 1, "<Ex_PdaSn></Ex_PdaSn><Ex_Factory>F</Ex_Factory>")).violations,
              Texts());
    const auto nested = checker.check(
        request("8002", 2, "<Ex_PdaSn></Ex_PdaSn>x</Ex_PdaSn><Ex_Factory><Ex_PdaSn></Ex_Factory>"));
    EXPECT_EQ(nested.violations, Texts());
    ASSERT_EQ(nested.message.tags.size(), 2U);
    EXPECT_EQ(nested.message.tags[0].value, "</Ex_PdaSn>x");
    EXPECT_EQ(nested.message.tags[1].value, "<Ex_PdaSn>");
}

/// A valid information request with another time, and the length that it has then.
std::string withTime(const std::string& time) {
    std::string message = request("8001", 1);
    message.replace(61, 14, time);
    return message.replace(0, 6, "00" + pdasim::sequenceText(static_cast<int>(message.size())));
}

TEST(MessageChecker, ObjectsToWhatBreaksTheRulesOfAllMessages) {
    struct Case {
        std::string message;
        std::string violation;
    };
    const std::string inCharacters = "<Ex_PdaSn>\xE6\x96\x87</Ex_PdaSn><Ex_Factory></Ex_Factory>";
    const std::string inBytes = request("8002", 1, inCharacters).replace(0, 6, "000161");
    const std::vector<Case> cases = {
        {request("8002", 1, inCharacters), ""},
        {inBytes, "length field is \"000161\", the message has 000159 characters"},
        {damaged(0, "000113"), "length field is \"000113\", the message has 000112 characters"},
        {damaged(0, "   112"), "length field is \"   112\", the message has 000112 characters"},
        {damaged(10, "QEV 1 "), R"(header at offset 10 holds "QEV 1 " instead of "QEV   ")"},
        {damaged(39, "1"), "header at offset 16 holds \"000000000000000000000001\" instead of "
                           "\"000000000000000000000000\""},
        {damaged(40, "x"), R"(header at offset 40 holds "x       " instead of "        ")"},
        {damaged(48, "06"), R"(header at offset 48 holds "06" instead of "05")"},
        {request("8999", 1), ""},
        {request("7017", 1), ""},
        {"hello", "message of 5 bytes is shorter than its header: \"hello\""},
        {request("8001", 1, "x"), "expected the end, found \"x\""},
        {request("8002", 1, "<Ex_PdaSn></Ex_PdaSn>"),
         "expected the tag <Ex_PdaSn> and then <Ex_Factory>, found \"<Ex_PdaSn></Ex_PdaSn>\""},
        {damaged(50, "<Ex_SeqNo>0001</Ex_SeqNo><Ex_TrTime>20260102030405</Ex_TrTime>"),
         "expected the tag <Ex_TrTime>, found \"<Ex_SeqNo>0001</Ex_SeqNo><Ex_TrTime>20260102030405"
         "</Ex_TrTime>\""},
        {damaged(61, "2026-1-2030405"), "Ex_TrTime is \"2026-1-2030405\" instead of 14 digits"},
        {withTime("2026010203040"), "Ex_TrTime is \"2026010203040\" instead of 14 digits"},
        {withTime("202601020304050"), "Ex_TrTime is \"202601020304050\" instead of 14 digits"},
        {withTime(""), "Ex_TrTime is \"\" instead of 14 digits"},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(violationsOf(each.message), each.violation.empty() ? Texts() : Texts{each.violation});
    }
}

TEST(MessageChecker, ObjectsToSequenceNumbersThatAreNotWrittenAsAHostWritesThem) {
    for (const std::string bad : {"1", "001", "00001", "00x1", "", "+001", "99999999999", " 001"}) {
        EXPECT_EQ(violationsOf(requestWithSequence("8001", bad)).size(), 1U) << bad;
    }
    for (const std::string good : {"0000", "0001", "9999", "10000", "2147483647", "-001", "-2147483648"}) {
        EXPECT_EQ(violationsOf(requestWithSequence("8001", good)), Texts()) << good;
    }
}

TEST(MessageChecker, WantsEachSequenceNumberToFollowTheLast) {
    MessageChecker checker;
    EXPECT_EQ(checker.check(request("8001", 41)).violations, Texts());
    EXPECT_EQ(checker.check(request("8001", 42)).violations, Texts());
    EXPECT_EQ(checker.check(request("8001", 44)).violations, Texts{"Ex_SeqNo is 0044 after 42"});
    EXPECT_EQ(checker.check(request("8001", 44)).violations, Texts{"Ex_SeqNo is 0044 after 44"});
    EXPECT_EQ(checker.check(request("8001", 1)).violations, Texts{"Ex_SeqNo is 0001 after 44"});
    EXPECT_EQ(checker.check(request("8001", 2)).violations, Texts());
}

TEST(MessageChecker, LetsTheSequenceNumberWrapAround) {
    MessageChecker checker;
    EXPECT_EQ(checker.check(requestWithSequence("8001", "2147483647")).violations, Texts());
    EXPECT_EQ(checker.check(requestWithSequence("8001", "-2147483648")).violations, Texts());
    EXPECT_EQ(checker.check(requestWithSequence("8001", "-2147483647")).violations, Texts());
}

TEST(MessageChecker, AllowsAGapOrANewStartWhereNumbersMayHaveBeenUsedUp) {
    MessageChecker checker;
    EXPECT_EQ(checker.check(request("8001", 5)).violations, Texts());
    checker.allowSequenceGap();
    EXPECT_EQ(checker.check(request("8001", 9)).violations, Texts());
    checker.allowSequenceGap();
    EXPECT_EQ(checker.check(request("8001", 1)).violations, Texts());
    checker.allowSequenceGap();
    EXPECT_EQ(checker.check(request("8001", 1)).violations, Texts());
    EXPECT_EQ(checker.check(request("8001", 2)).violations, Texts());
    checker.allowSequenceGap();
    EXPECT_EQ(checker.check(request("8001", 2)).violations, Texts{"Ex_SeqNo is 0002 after 2"});
    EXPECT_EQ(checker.check(request("8001", 9)).violations, Texts{"Ex_SeqNo is 0009 after 2"});
}

std::string shown(const std::string& message) {
    return pdasim::describeMessage(message, Sender::Host);
}

TEST(Traffic, NamesAMessageByItsSenderAndItsTags) {
    const auto name = [](const std::string& text) { return text.substr(5, text.find(" (") - 5); };
    const std::string scan = request("9001", 1,
                                     "<Ex_SrcSeqNo>-</Ex_SrcSeqNo><Ex_PdaSn>-</Ex_PdaSn>"
                                     "<Ex_RetCode>000000</Ex_RetCode><Ex_ScanState>1</Ex_ScanState>");
    const std::string notice = request("9001", 1,
                                       "<Ex_SrcSeqNo>-</Ex_SrcSeqNo><Ex_RetCode>000000</Ex_RetCode>"
                                       "<Ex_PdaSn>-</Ex_PdaSn>");
    EXPECT_EQ(name(shown(scan)), "scanned label acknowledged");
    EXPECT_EQ(name(shown(notice)), "user notice acknowledged");
    EXPECT_EQ(name(shown(request("9001", 1))), "scanned label acknowledged");
    EXPECT_EQ(name(shown(request("9002", 1))), "login result");
    EXPECT_EQ(name(pdasim::describeMessage(notice, Sender::Terminal)), "scanned label");
    EXPECT_EQ(name(pdasim::describeMessage(request("9003", 1), Sender::Terminal)), "user notice");
    EXPECT_EQ(name(pdasim::describeMessage(request("8005", 1), Sender::Terminal)), "scan list");
}

TEST(Traffic, ShowsAMessageDecoded) {
    EXPECT_EQ(
        shown(request("8002", 7, "<Ex_PdaSn>\xFF</Ex_PdaSn><Ex_Factory></Ex_Factory>")),
        "8002 initialisation (159 bytes) Ex_TrTime=20260102030405 Ex_SeqNo=0007 Ex_PdaSn=\\xFF Ex_Factory=");
    EXPECT_EQ(shown(request("8999", 7)),
              "8999 unknown message (112 bytes) Ex_TrTime=20260102030405 Ex_SeqNo=0007");
    EXPECT_EQ(shown("hello"), "5 bytes: hello");
    EXPECT_EQ(shown(request("8001", 7) + "<x"), "114 bytes: " + request("8001", 7) + "<x");
}

} // namespace
