#include "LogLines.h"
#include "Outcomes.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace pdactl::log::test {

namespace {

/// Every entry's bytes after redaction.
std::string redactedLog(const std::string& log) {
    return bytesOf(redactedEntries(log));
}

/// One line of the library's after redaction.
std::string redacted(const std::string& text) {
    std::vector<Entry> entries{{stamp(0) + "MESSAGE  : ", text, "\n", 0, Level::Message}};
    redact(entries);
    return entries[0].text;
}

struct Case {
    std::string text;
    std::string expected;
};

TEST(Redaction, MasksValuesAndNothingElse) {
    const std::vector<Case> cases{
        {"<Ex_PdaSn>1</Ex_PdaSn><Ex_Key>AB</Ex_Key><Ex_HexCheck>00ff</Ex_HexCheck>",
         "<Ex_PdaSn>1</Ex_PdaSn><Ex_Key>***</Ex_Key><Ex_HexCheck>00ff</Ex_HexCheck>"},
        {"<Ex_Pwd></Ex_Pwd><Ex_Rnd>1</Ex_Rnd>", "<Ex_Pwd></Ex_Pwd><Ex_Rnd>***</Ex_Rnd>"},
        {R"({"pKey":"A\"B\\","pdaNumber":"1","CheckVal" : "C"})",
         R"({"pKey":"***","pdaNumber":"1","CheckVal" : "***"})"},
        {R"({"\u0070Key":"AB","a":"b"})", R"({"\u0070Key":"***","a":"b"})"},
        {R"({"pInfoEx":"{\"pKey\":\"AB\",\"x\":\"y\"}","a":"b"})",
         R"({"pInfoEx":"{\"pKey\":\"***\",\"x\":\"y\"}","a":"b"})"},
        {R"({"a":"<Ex_Key>AB<\/Ex_Key>","b":"c"})", R"({"a":"<Ex_Key>***<\/Ex_Key>","b":"c"})"},
        {R"({"pInfoEx":"{\"pKey\":\"A\\\\\",\"x\":\"y\"}","a":"b"})",
         R"({"pInfoEx":"{\"pKey\":\"***\",\"x\":\"y\"}","a":"b"})"},
        {R"({"pInfoEx":"see \"a\"","pKey":"AB","b":"\\","c":"d"})",
         R"({"pInfoEx":"see \"a\"","pKey":"***","b":"\\","c":"d"})"},
        {R"({"pKey":12,"a":1})", R"({"pKey":***,"a":1})"},
        {R"({"pKey":["A",{"B":"}"}],"a":1})", R"({"pKey":***,"a":1})"},
        {R"({"pKey":"AB)", R"({"pKey":"***)"},
        {R"({"pKey":AB CD,"a":1})", R"({"pKey":***)"},
        {R"({pKey:'AB',a:'b'})", R"({pKey:'***',a:'b'})"},
        {"<Ex_Key>AB", "<Ex_Key>***"},
        {"AB</Ex_Key><Ex_Tid>1</Ex_Tid>", "***</Ex_Key><Ex_Tid>1</Ex_Tid>"},
        {"<Ex_Key>AB</Ex_Key><ExLabel>CD</Ex_Key><Ex_Tid>1</Ex_Tid>",
         "<Ex_Key>***</Ex_Key><ExLabel>***</Ex_Key><Ex_Tid>1</Ex_Tid>"},
        {"file is too short:0102", "file is too short:***"},
        {"file is too short:", "file is too short:"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(redacted(text), expected);
        EXPECT_EQ(redacted(expected), expected);
    }
}

TEST(Redaction, LeavesEverythingElseByteForByte) {
    LogText log;
    log.getInfo().info("garbage \xff\x80");
    log.info("Vid/Pid: 1209/0001  logpath:/opt/pKey/log/PDA.log").info(" VID/PID: 1209 0001\n");
    log.request(
        R"({"pLabels":"1","Label":"2","pKe":"3","transCode":"600099","pInfoEx":"\u0041\\ \"q\" </Ex_Tid>"})");
    log.read(message("9005", tag("Ex_Label", "a\nb") + tag("Ex_Labels", "1") + tag("Ex_HexCheck", "00ff") +
                                 tag("Ex_AuthRet", "1;2;") + tag("Ex_LockParam", "9")));
    log.step("info msg:transCode:600099 do not have function").raw("no line end at the end");
    EXPECT_EQ(redactedLog(log.text()), log.text());
}

TEST(Redaction, MasksWhatAnImitationHasBrokenOff) {
    const std::string secret = "AB\n" + stamp(1) + "INFO     : CD\n" + stamp(2) + "INFO     : EF";
    const std::string rest = "8012" + kEnvelopeMiddle + tag("Ex_Key", secret) + tag("Ex_Tid", "1");
    LogText log;
    log.read("000500" + rest).step("next");
    EXPECT_EQ(redactedLog(log.text()), stamp(0) + "INFO     : HID Read XML: 0005008012" + kEnvelopeMiddle +
                                           "<Ex_Key>***\n" + stamp(1) + "INFO     : ***\n" + stamp(2) +
                                           "INFO     : ***</Ex_Key>" + tag("Ex_Tid", "1") + "\n" + stamp(0) +
                                           "MESSAGE  : next\n");
}

TEST(Redaction, MasksARequestThatAnImitationHasBrokenOff) {
    LogText log;
    log.step("inJson4:{\"pKey\":\"AB\n" + stamp(1) + "INFO     : CD\n" + stamp(2) +
             "INFO     : EF\"} inLen:0");
    log.getInfo();
    LogText rest;
    rest.getInfo();
    EXPECT_EQ(redactedLog(log.text()), stamp(0) + "MESSAGE  : inJson4:{\"pKey\":\"***\n" + stamp(1) +
                                           "INFO     : ***\n" + stamp(2) + "INFO     : ***\n" + rest.text());
}

TEST(Redaction, ACutMessageDoesNotMaskTheNextOne) {
    LogText log;
    log.read("0005008009" + kEnvelopeMiddle + "<Ex_APwd>12").getInfo();
    log.read(message("8009", tag("Ex_Road", "1") + tag("Ex_APwd", "34")));
    LogText expected;
    expected.read("0005008009" + kEnvelopeMiddle + "<Ex_APwd>***").getInfo();
    const std::string masked = redactedLog(log.text());
    EXPECT_EQ(masked.substr(0, expected.text().size()), expected.text());
    EXPECT_NE(masked.find(tag("Ex_Road", "1") + tag("Ex_APwd", "***")), std::string::npos);
}

TEST(Redaction, MasksTheRestOfAStringAtTheBeginningOfALog) {
    LogText log;
    log.raw("CDEF\",\"CheckVal\":\"12\",\"a\":\"b\"} inLen:80\n").step("next");
    EXPECT_EQ(redactedLog(log.text()).substr(0, 45),
              "***\",\"CheckVal\":\"***\",\"a\":\"b\"} inLen:80\n" + stamp(0).substr(0, 5));
}

/// Whoever cuts a log by its size cuts it anywhere.
TEST(Redaction, MasksAValueWhereverTheBeginningOfALogIsCut) {
    const std::string name = R"("pEncKey":")";
    for (const std::string value :
         {R"(SECRET)", R"(SECRET<SECRET)", R"(SECRET\",SECRET)", R"(SECRET\\)", "SECRET\nSECRET"}) {
        const std::string member = name + value + "\"";
        for (std::size_t cut = 0; cut < name.size() + 6; ++cut) {
            for (const std::string end : {R"(,"a":"b"})", "}", R"(,"n":[1]})"}) {
                LogText log;
                log.raw(member.substr(cut) + end + " inLen:80\n").step("next");
                EXPECT_EQ(redactedLog(log.text()).find("SECRET"), std::string::npos) << log.text();
                LogText response;
                response.raw(member.substr(cut) + end + " outLen:80 ret:0\n").step("next");
                EXPECT_EQ(redactedLog(response.text()).find("SECRET"), std::string::npos) << response.text();
            }
        }
    }
}

TEST(Redaction, MasksANumberAtTheBeginningOfALog) {
    LogText log;
    log.raw("1234} inLen:80\n").step("next");
    EXPECT_EQ(redactedLog(log.text()).find("1234"), std::string::npos);
}

TEST(Redaction, KeepsTheElementsOfAMessageAtTheBeginningOfALog) {
    LogText log;
    log.raw("5</Ex_Tid><Ex_Label>\"a\",\"b\"</Ex_Label>\n").step("next");
    LogText expected;
    expected.raw("***<Ex_Label>\"a\",\"b\"</Ex_Label>\n").step("next");
    EXPECT_EQ(redactedLog(log.text()), expected.text());
}

TEST(Redaction, MasksWhatIsNeitherJsonNorAMessageAtTheBeginningOfALog) {
    for (const char* rest : {"616263646566", "d>SECRET", "SECRET <"}) {
        LogText log;
        log.raw(std::string(rest) + "\n").step("next");
        EXPECT_EQ(redactedLog(log.text()), "***\n" + LogText().step("next").text());
    }
}

} // namespace

} // namespace pdactl::log::test
