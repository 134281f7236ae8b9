#include "analysis/ResultStores.h"
#include "tests/analysis/DispatcherFixture.h"

namespace {

/// Requests that reach no transaction. There is no device here: a transaction would show.
class DispatcherRefusal : public DispatcherTest {
protected:
    void TearDown() override { EXPECT_EQ(m_SeqNo, 0) << "no message was built"; }
};

const std::string kNoTransCode = "can not find transCode";
const std::string kNoText = "transCode: param name error";

std::string unknown(const std::string& code) {
    return "transCode:" + code + " do not have function";
}

std::string incomplete(const std::string& code) {
    return "transCode:" + code + " param name error";
}

TEST_F(DispatcherRefusal, OfTextWithoutTheWord) {
    for (const char* request : {"", "{}", "no JSON", "{", R"({"transcode":"600002"})",
                                R"({"TRANSCODE":"600002"})", R"({"trans":"Code"})", "[1,2]", "\xFF\xFE"}) {
        expectRefused(request, kNoTransCode);
    }
}

TEST_F(DispatcherRefusal, OfTextWhoseWordIsWrittenWithEscapesOnly) {
    expectRefused(R"({"trans\u0043ode":"600002"})", kNoTransCode);
}

TEST_F(DispatcherRefusal, OfTextThatIsNoJson) {
    for (const char* request :
         {"transCode", R"({"transCode")", R"({"transCode":)", R"({"transCode":"600002")",
          R"({"transCode":600002)", R"({transCode:"600002"})", "{'transCode':'600002'}", R"("transCode)",
          R"({"transCode"})"}) {
        expectUnanswered(request);
    }
}

TEST_F(DispatcherRefusal, OfCommentsAndTrailingCommas) {
    for (const char* request :
         {R"({"transCode":"700000",})", R"(/* */{"transCode":"700000"})", R"({"transCode":"700000"}//)",
          R"({"transCode":/**/"700000"})", R"({"transCode":"700000","x":[1,]})"}) {
        expectUnanswered(request);
    }
}

TEST_F(DispatcherRefusal, OfGarbageBehindTheObject) {
    for (const char* request : {R"({"transCode":"700000"}x)", R"({"transCode":"700000"}{})",
                                R"({"transCode":"700000"},)", R"({"transCode":"700000"}})"}) {
        expectUnanswered(request);
    }
}

TEST_F(DispatcherRefusal, OfWhatOtherParsersAccept) {
    for (const char* request :
         {R"({"transCode":"700000","x":NaN})", R"({"transCode":"700000","x":Infinity})",
          R"({"transCode":"700000","x":01})", R"({"transCode":"700000","x":+1})",
          R"({"transCode":"700000","x":.5})", R"({"transCode":"700000","x":1e999})",
          R"({"transCode":"700000","x":"\x"})", R"({"transCode":"700000","x":"\ud800"})",
          "{\"transCode\":\"700000\",\"x\":\"\n\"}", "\xEF\xBB\xBF\xEF\xBB\xBF{\"transCode\":\"700000\"}"}) {
        expectUnanswered(request);
    }
}

TEST_F(DispatcherRefusal, OfTheWordInANestedObjectOnly) {
    for (const char* request :
         {R"({"a":{"transCode":"600002"}})", R"({"a":[{"transCode":"600002"}]})", R"({"a":"transCode"})",
          R"({"transCodes":"600002"})", R"({"xtransCode":"600002"})", R"({"transCode ":"600002"})",
          R"({"transCode\u0000":"600002"})"}) {
        expectUnanswered(request);
    }
}

TEST_F(DispatcherRefusal, OfARootThatIsNoObject) {
    for (const char* request : {R"(["transCode"])", R"([{"transCode":"600002"}])", R"("transCode")",
                                R"("transCode 600002")", R"(["transCode","600002"])"}) {
        expectUnanswered(request);
    }
}

TEST_F(DispatcherRefusal, OfATransCodeThatIsNoText) {
    for (const char* value : {"600002", "600002.0", "-1", "null", "true", "false", "{}", "[]",
                              R"(["600002"])", R"({"transCode":"600002"})"}) {
        expectRefused(std::string(R"({"transCode":)") + value + "}", kNoText);
    }
}

TEST_F(DispatcherRefusal, OfUnknownCodes) {
    for (const char* code : {"", "0", "600000", "600020", "60000", "6000021", "600002 ", " 600002", "700000",
                             "%s%n", "transCode", "６００００２"}) {
        expectRefused(std::string(R"({"transCode":")") + code + "\"}", unknown(code));
    }
}

TEST_F(DispatcherRefusal, OfUnknownCodesWithAllMembersOfAKnownOne) {
    expectRefused(R"({"transCode":"600020","pdaNumber":"1","pFactory":"2"})", unknown("600020"));
}

TEST_F(DispatcherRefusal, NamesACodeOfAnyLength) {
    const std::string code(200000, '6');
    expectRefused(R"({"transCode":")" + code + R"("})", unknown(code));
}

TEST_F(DispatcherRefusal, NamesTheCodeWithoutItsEscapes) {
    const std::string request = R"({"transCode":"7\u0030\"\u5f20"})";
    expectRefused(request, unknown("70\"张"));
}

TEST_F(DispatcherRefusal, ReadsTheCodeUpToAnEmbeddedNul) {
    expectRefused(R"({"transCode":"700000\u0000rest"})", unknown("700000"));
    expectRefused(R"({"transCode":"\u0000600002"})", unknown(""));
}

TEST_F(DispatcherRefusal, CountsTheFirstOfTwoCodes) {
    expectRefused(R"({"transCode":"700000","transCode":"600002"})", unknown("700000"));
    expectRefused(R"({"transCode":1,"transCode":"600002"})", kNoText);
}

TEST_F(DispatcherRefusal, OfAMissingMember) {
    for (const char* members :
         {"", R"(,"pFactory":"2")", R"(,"pdaNumber":"1")", R"(,"pdanumber":"1","pFactory":"2")",
          R"(,"pdaNumber":"1","PFactory":"2")", R"(,"x":{"pdaNumber":"1","pFactory":"2"})"}) {
        expectRefused(std::string(R"({"transCode":"600001")") + members + "}", incomplete("600001"));
    }
}

TEST_F(DispatcherRefusal, OfAMemberOfTheWrongType) {
    for (const char* value : {"1", "1.5", "null", "true", "{}", "[]", R"(["1"])"}) {
        expectRefused(std::string(R"({"transCode":"600001","pdaNumber":)") + value + R"(,"pFactory":"2"})",
                      incomplete("600001"));
        expectRefused(std::string(R"({"transCode":"600001","pdaNumber":"1","pFactory":)") + value + "}",
                      incomplete("600001"));
    }
}

TEST_F(DispatcherRefusal, OfAnIntegerMemberThatIsNoInteger) {
    for (const char* value : {R"("1")", "1.0", "1.5", "1e0", "2147483648", "-2147483649",
                              "99999999999999999999", "null", "true", "[1]", "{}"}) {
        expectRefused(
            std::string(
                R"({"transCode":"600006","pdaNumber":"1","pTaskID":"2","pLabelList":"3;","pTotal":)") +
                value + "}",
            incomplete("600006"));
    }
}

TEST_F(DispatcherRefusal, CountsTheFirstOfTwoMembers) {
    expectRefused(R"({"transCode":"600001","pdaNumber":1,"pdaNumber":"1","pFactory":"2"})",
                  incomplete("600001"));
}

TEST_F(DispatcherRefusal, LogsARequestWithFormatCharactersAsItIs) {
    expectRefused(R"({"transCode":"%d%s%n","%s":"100%"})", unknown("%d%s%n"));
}

TEST_F(DispatcherRefusal, LogsARequestOfSeveralLinesAsItIs) {
    expectRefused("{\n  \"transCode\": \"700000\"\r\n}", unknown("700000"));
}

TEST_F(DispatcherRefusal, AcceptsBlanksAroundEverything) {
    expectRefused(" \t\r\n{ \"transCode\" : \"700000\" } \n", unknown("700000"));
}

TEST_F(DispatcherRefusal, IgnoresOtherMembersWhateverTheyAre) {
    expectRefused(R"({"a":null,"b":[1,-2.5e3,{"transCode":1}],"":{},"transCode":"700000","z":true})",
                  unknown("700000"));
}

TEST_F(DispatcherRefusal, RecognisesAnEscapedKeyIfTheWordStandsElsewhere) {
    expectRefused(R"({"trans\u0043ode":"700000","x":"transCode"})", unknown("700000"));
}

} // namespace
