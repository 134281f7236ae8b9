#include "LogLines.h"
#include "Outcomes.h"
#include "SecretForms.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace pdactl::log::test {

namespace {

bool isIn(const std::string& text) {
    return text.find(kPlanted) != std::string::npos;
}

struct Masking {
    std::string text;
    std::string expected;
};

/// What a line is after redaction, and once more: a copy may be redacted again.
void expectLines(const std::vector<Masking>& cases, const std::string& before, const std::string& after) {
    for (const auto& [text, expected] : cases) {
        LogText log;
        LogText masked;
        log.step(std::string(before).append(text).append(after));
        masked.step(std::string(before).append(expected).append(after));
        EXPECT_EQ(redactedLog(log.text()), masked.text());
        EXPECT_EQ(redactedLog(masked.text()), masked.text());
    }
}

TEST(Redaction, MasksValuesInJsonAndNothingElse) {
    expectLines(
        {
            {R"({"pKey":"A\"B\\","pdaNumber":"1","CheckVal" : "C"})",
             R"({"pKey":"***","pdaNumber":"1","CheckVal" : "***"})"},
            {R"({"\u0070Key":"AB","a":"b"})", R"({"\u0070Key":"***","a":"b"})"},
            {R"({"pInfoEx":"see \"a\"","pKey":"AB","b":"\\","c":"d"})",
             R"({"pInfoEx":"see \"a\"","pKey":"***","b":"\\","c":"d"})"},
            {R"({"pKey":12,"a":1,"pRnd":""})", R"({"pKey":***,"a":1,"pRnd":""})"},
            {R"({"pKey":["A",{"B":"}"}],"a":{"pRnd":"C","b":"d"}})",
             R"({"pKey":***,"a":{"pRnd":"***","b":"d"}})"},
            {R"({"a":["x","pKey","AB",1],"b":["c"],"d":{}})",
             R"({"a":["x","pKey","***",***],"b":["***"],"d":{}})"},
            {R"({"transCode":"1","pOrgNm":"Turkey Creek","path":"/etc/keys"})",
             R"({"transCode":"1","pOrgNm":"Turkey Creek","path":"/etc/keys"})"},
            {R"({"pInfoEx":"{\"a\":\"b\",\"pKey\":\"AB\"}","a":"b"})", R"({"pInfoEx":"{***","a":"b"})"},
            {R"({"pInfoEx":"the key: 12 34","a":"b"})", R"({"pInfoEx":"the key: ***","a":"b"})"},
            {R"({"a":"<Ex_Tid>1</Ex_Tid><Ex_Key>AB</Ex_Key>","b":"c"})",
             R"({"a":"<Ex_Tid>1</Ex_Tid><Ex_Key>***","b":"c"})"},
            {R"({"a":"b","pKey":"AB)", R"({"a":"b","pKey":"***)"},
            {R"({"a":"b","pKey":AB CD,"c":1})", R"({"a":"b","pKey":***)"},
            {R"({a:'b',pKey:'AB',c:'d'})", R"({a:'b',pKey:'***)"},
            {R"({"a":"b","pKey=AB":"c"})", R"({"a":"b","pKey=***)"},
            {R"({"a":"b)", R"({"a":"b)"},
            {R"("AB","a":"b"})", "***"},
        },
        "inJson4:", " inLen:80");
}

TEST(Redaction, MasksValuesInWholeMessagesAndNothingElse) {
    const std::vector<Masking> cases{
        {"<Ex_PdaSn>1</Ex_PdaSn><Ex_Key>AB</Ex_Key><Ex_HexCheck>00ff</Ex_HexCheck>",
         "<Ex_PdaSn>1</Ex_PdaSn><Ex_Key>***</Ex_Key><Ex_HexCheck>00ff</Ex_HexCheck>"},
        {"<Ex_Pwd></Ex_Pwd><Ex_Rnd>1</Ex_Rnd>", "<Ex_Pwd></Ex_Pwd><Ex_Rnd>***</Ex_Rnd>"},
        {"<Ex_Label>a &\nc</Ex_Label><EX_KEY>AB</EX_KEY>", "<Ex_Label>a &\nc</Ex_Label><EX_KEY>***</EX_KEY>"},
        {"<LockList><Ex_LockId>1</Ex_LockId><Ex_LockRnd>2</Ex_LockRnd></LockList>",
         "<LockList><Ex_LockId>1</Ex_LockId><Ex_LockRnd>***</Ex_LockRnd></LockList>"},
        {R"(<Ex_InfoEx>{"a":"b","pKey":"AB"}</Ex_InfoEx><Ex_Tid>1</Ex_Tid>)",
         R"(<Ex_InfoEx>{"a":"b","pKey":"***</Ex_InfoEx><Ex_Tid>1</Ex_Tid>)"},
        {"<Ex_Tid>1</Ex_Tid>AB</Ex_Key>", "<Ex_Tid>1</Ex_Tid>***"},
    };
    for (const auto& [tags, expected] : cases) {
        const std::string whole = message("8012", tags);
        const std::string masked = whole.substr(0, whole.size() - tags.size()) + expected;
        expectLines({{whole, masked}}, "HID Read XML: ", "");
        expectLines({{whole, masked}}, "Write XML: ", " sendLen:80");
    }
}

TEST(Redaction, ShowsOfADamagedMessageWhatPrecedesTheDamage) {
    const std::string header = "0005008012" + kEnvelopeMiddle;
    const std::string kept = header + "<Ex_PdaSn>1</Ex_PdaSn><Ex_Key>***</Ex_Key>";
    const std::string begun = header + "<Ex_PdaSn>1</Ex_PdaSn><Ex_Key>AB</Ex_Key>";
    expectLines(
        {
            {begun, kept},
            {begun + "<Ex_Tid>1</Ex_T", kept + "***"},
            {begun + "<Ex_Tid>1<Ex_Rnd>2</Ex_Rnd></Ex_Tid>", kept + "***"},
            {begun + "<Ex_Rnd>12<Ex_Tid>1</Ex_Tid>", kept + "<Ex_Rnd>***"},
            {begun + "12</Ex_Rnd>", kept + "***"},
            {header.substr(0, 49), "***"},
            {header, "***"},
            {header + "</Ex_Key>", "***"},
            {"12</Ex_Key><Ex_Tid>1</Ex_Tid>", "***"},
        },
        "HID Read XML: ", "");
}

TEST(Redaction, MasksTextOfUnknownKindFromItsFirstSecretOn) {
    expectLines(
        {
            {"pKey=AB CD", "pKey=***"},
            {R"(a {"b":"c","pKey":"AB","d":1} e)", R"(a {"b":"c","pKey":"***)"},
            {R"(a {\"pKey\":\"AB\"})", R"(a {***)"},
            {"1 <Ex_Key>AB</Ex_Key>", "1 <Ex_Key>***"},
            {"AB</Ex_Key> 1", "***"},
            {R"(AB\u003c\/Ex_Key> 1)", "***"},
            {"file is too short:0102", "file is too short:***"},
            {"file is too short:", "file is too short:"},
            {"Xml Type:12ab len:4", "Xml Type:*** len:4"},
        },
        "", "");
}

TEST(Redaction, LeavesEverythingElseByteForByte) {
    LogText log;
    log.getInfo().info("garbage \xff\x80").step("[GetKeyVerificationValue] begin").step("[KeyInit] begin");
    log.info("Vid/Pid: 1209/0001  logpath:/opt/pKey/log/PDA.log").info(" VID/PID: 1209 0001\n");
    log.request(
        R"({"pLabels":"1","Label":"2","pKe":"3","transCode":"600099","pInfoEx":"\u0041\\ \"q\" </Ex_Tid>"})");
    log.read(message("9005", tag("Ex_Label", "a\n<b> c") + tag("Ex_Labels", "1") +
                                 tag("Ex_HexCheck", "00ff") + tag("Ex_AuthRet", "1;2;") +
                                 tag("Ex_LockParam", "9")));
    log.read("").step("Read XML:-").step("Read XML: time out ").error("Read XML: ---Wrong Command --Delete");
    log.step("info msg:transCode:600099 do not have function").raw("no line end at the end");
    EXPECT_EQ(redactedLog(log.text()), log.text());
}

TEST(Redaction, MasksWhatAnImitationHasBrokenOff) {
    const std::string header = "0005008012" + kEnvelopeMiddle;
    const auto rest = [](const std::string& second, const std::string& end) {
        return "\n" + stamp(1) + "INFO     : " + second + "\n" + stamp(2) + "INFO     : " + end;
    };
    for (const Masking& broken :
         std::vector<Masking>{{"HID Read XML: " + header + "<Ex_Key>AB" + rest("CD", "EF</Ex_Key>"),
                               "HID Read XML: " + header + "<Ex_Key>***" + rest("***", "***")},
                              {R"(inJson4:{"pKey":"AB)" + rest("CD", R"(EF"} inLen:0)"),
                               R"(inJson4:{"pKey":"***)" + rest("***", "***")},
                              {"<Ex_Key>" + rest("CD", "EF</Ex_Key>"), "<Ex_Key>" + rest("***", "***")}}) {
        LogText log;
        LogText masked;
        log.step(broken.text).step("next").getInfo();
        masked.step(broken.expected).step("next").getInfo();
        EXPECT_EQ(redactedLog(log.text()), masked.text());
    }
    LogText log;
    log.read("0005008009" + kEnvelopeMiddle + "<Ex_APwd>12").getInfo().step("a</b>");
    EXPECT_NE(redactedLog(log.text()).find("a</b>"), std::string::npos) << "belongs to another entry";
}

TEST(Redaction, MasksWhateverALogBeginsWithInTheMiddle) {
    for (const char* rest : {"616263646566", "d>SECRET", R"(CD","a":"b"} inLen:80)", "1234} outLen:8 ret:0",
                             "5</Ex_Tid><Ex_Label>a</Ex_Label>", "SECRET\nSECRET</Ex_Key>"}) {
        LogText log;
        log.raw(std::string(rest) + "\n").step("next");
        EXPECT_EQ(redactedLog(log.text()), "***\n" + LogText().step("next").text());
    }
}

// The Nth: all of them take minutes under the sanitizers.
constexpr std::size_t kEveryForm = PDALINK_IS_SANITIZED ? 5 : 1;

TEST(Secrets, AreInNoOutputInWhateverFormTheyWereLogged) {
    std::size_t count = 0;
    for (const std::string& name : plantedNames()) {
        for (const SecretForm& form : secretForms(name)) {
            if (++count % kEveryForm != 0) {
                continue;
            }
            ASSERT_TRUE(isIn(form.log)) << form.form;
            const std::vector<Entry> entries = redactedEntries(form.log);
            const std::vector<Exchange> found = exchangesOf(entries);
            EXPECT_FALSE(isIn(bytesOf(entries))) << name << ": " << form.form << "\n" << bytesOf(entries);
            EXPECT_FALSE(isIn(everyOutput(found))) << name << ": " << form.form;
            ASSERT_FALSE(found.empty()) << form.form;
            EXPECT_EQ(found.back().outcome, Outcome::Done) << "took its neighbour with it: " << form.form;
        }
    }
    EXPECT_GT(count, 10000U);
}

TEST(Secrets, AreMaskedOnceAndForAll) {
    for (const char* name : {"Ex_Key", "pKey", "CheckVal"}) {
        for (const SecretForm& form : secretForms(name)) {
            const std::string once = redactedLog(form.log);
            EXPECT_EQ(redactedLog(once), once) << name << ": " << form.form;
        }
    }
}

TEST(Secrets, AreFoundByTheseTestsWhenNothingIsMasked) {
    std::size_t shown = 0;
    for (const SecretForm& form : secretForms("Ex_Key")) {
        shown += isIn(everyOutput(exchangesOf(readEntries(form.log)))) ? 1 : 0;
    }
    EXPECT_GT(shown, secretForms("Ex_Key").size() / 3);
}

} // namespace

} // namespace pdactl::log::test
