#include "LogLines.h"
#include "Outcomes.h"

#include "log/Filter.h"
#include "log/JsonScan.h"
#include "log/Report.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace pdactl::log::test {

namespace {

/// Three exchanges: one done, one refused by the terminal, one that got no reply.
std::vector<Exchange> three() {
    LogText log;
    log.getInfo().after(2000).request(R"({"transCode":"600013"})").step("[GetKeyVerificationValue] begin");
    log.written(message("8013", "")).after(500).read(message("8013", tag("Ex_RetCode", "000002")));
    log.type("8013").response(R"({"pRetCode":"000002","transCode":"600013"})", 0).after(60000);
    log.step("[GetLockInfo] begin").written(message("7016", "")).after(4900).read("");
    return exchangesOf(readEntries(log.text()));
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// Which of the three are kept, or why none are.
std::string kept(Filter filter) {
    std::string names;
    const std::string failure = failureOf(BadUsage, [&] { filter.check(); });
    for (const Exchange& exchange : failure == "none" ? three() : std::vector<Exchange>()) {
        names += filter.matches(exchange) ? exchange.call() + " " : "";
    }
    return failure == "none" ? names : failure;
}

TEST(Filters, KeepWhatFits) {
    const std::string info = "GetInfo ";
    const std::string keys = "GetKeyVerificationValue ";
    const std::string lock = "GetLockInfo ";
    const auto codes = [](const std::vector<std::string>& each) { return Filter{each, {}, "", "", false}; };
    const auto results = [](const std::string& each) { return Filter{{}, {each}, "", "", false}; };
    const auto times = [](const std::string& since, const std::string& until) {
        return Filter{{}, {}, since, until, false};
    };
    const std::vector<std::pair<Filter, std::string>> cases{
        {codes({"600013"}), keys},
        {codes({"GetKeyVerificationValue"}), keys},
        {codes({"8013"}), keys},
        {codes({"600002", "7016"}), info + lock},
        {codes({"600020"}), "'600020' is not a transaction"},
        {results("done"), info},
        {results("terminal-refused"), keys},
        {results("000002"), keys},
        {results("0"), info + keys},
        {results("no-reply"), lock},
        {results("-1"), ""},
        {results("good"), "Give one of done, request-refused"},
        {results("1234"), "'1234' is not a result"},
        {times("2026-01-02T03:05", ""), lock},
        {times("", "2026-01-02 03:04:05"), info},
        {times("2026-01-02", "2026-01-02"), info + keys + lock},
        {times("today", ""), "'today' is not a time"},
        {times("2026-01-03", "2026-01-02"), "later than --until"},
        {times("2026-01-02T03:05", "2026-01-02T03:04"), "later than --until"},
        {Filter{{}, {}, "", "", true}, keys + lock},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const std::string found = kept(cases[i].first);
        const bool isFailure = cases[i].second.find_first_of("'-") != std::string::npos;
        EXPECT_TRUE(isFailure ? contains(found, cases[i].second) : found == cases[i].second)
            << "case " << i << ": " << found;
    }
}

TEST(Tables, HaveALineForEachExchange) {
    const std::vector<Exchange> exchanges = three();
    EXPECT_EQ(tableRow(exchanges[0], false),
              "2026-01-02 03:04:05.000  600002  GetInfo                           done              "
              "000000    0.111 s     -\n");
    EXPECT_EQ(tableRow(exchanges[2], false),
              "2026-01-02 03:05:07.611  -       GetLockInfo                       no-reply          "
              "-         4.900 s     60.000 s    1 timeout\n");
    const std::string full = tableRow(exchanges[0], true);
    EXPECT_TRUE(contains(full, "\n    request   {\"transCode\":\"600002\"}\n    to PDA    000"));
    EXPECT_TRUE(contains(full, "<Ex_EIMI>860123456789012</Ex_EIMI>"));
    EXPECT_TRUE(contains(full, "\n    response  {\"pRetCode\":\"000000\",\"transCode\":\"600002\"}\n"));
    Report report;
    EXPECT_EQ(tableFoot(report), "0 exchanges, 0 failed\n");
    report.exchanges = {three()[2]};
    EXPECT_EQ(tableFoot(report), "1 exchange, 1 failed\n");
}

TEST(Tables, KeepTheTerminalEmulatorSafe) {
    Exchange exchange = three()[0];
    exchange.received = "a\x1b[2Jb\nc\x9b\xc2\x9b\x7f\xff";
    exchange.notes = {"\x1b]0;title\a"};
    const std::string row = tableRow(exchange, true);
    for (const char control : {'\x1b', '\a', '\x7f', '\x9b'}) {
        EXPECT_EQ(std::count(row.begin(), row.end(), control), 0);
    }
    EXPECT_EQ(std::count(row.begin(), row.end(), '\n'), 5);
}

TEST(Latencies, AreSortedByKind) {
    std::vector<Exchange> exchanges;
    exchanges.push_back(three()[2]);
    for (int i = 1; i <= 100; ++i) {
        Exchange exchange = three()[0];
        exchange.end = exchange.begin + 101 - i;
        exchange.outcome = i == 7 ? Outcome::NoReply : Outcome::Done;
        exchanges.push_back(exchange);
    }
    const std::vector<Latency> kinds = latencies(exchanges);
    ASSERT_EQ(kinds.size(), 2U);
    EXPECT_EQ(kinds[0].code, "600002");
    EXPECT_EQ(kinds[0].count, 100U);
    EXPECT_EQ(kinds[0].failures, 1U);
    EXPECT_EQ(kinds[0].least, 1);
    EXPECT_EQ(kinds[0].median, 50);
    EXPECT_EQ(kinds[0].ninetyFifth, 95);
    EXPECT_EQ(kinds[0].most, 100);
    EXPECT_EQ(kinds[1].call, "GetLockInfo");
    EXPECT_EQ(kinds[1].median, 4900);
}

TEST(Pages, EscapeEverythingAndNeedNothingFromElsewhere) {
    Report report;
    report.exchanges = three();
    const std::string evil = "</code><script>alert('1')</script>\"&<b>%1";
    for (Exchange& exchange : report.exchanges) {
        exchange.request = exchange.sent = exchange.received = exchange.response = evil;
        exchange.resultCode = exchange.code = exchange.type = evil;
        exchange.member = nullptr;
        exchange.notes = {evil};
    }
    report.files = {evil};
    report.gaps = {evil};
    const std::string page = htmlPage(report);
    for (const char* markup : {"<script", "<b>", "http:", "https:", "src=", "href=", "url(", "@import",
                               "<link", "<iframe", "<img"}) {
        EXPECT_FALSE(contains(page, markup)) << markup;
    }
    EXPECT_TRUE(contains(page, "&lt;script&gt;alert(&#39;1&#39;)&lt;/script&gt;&quot;&amp;&lt;b&gt;%1"));
    EXPECT_TRUE(contains(page, "default-src 'none'; style-src 'unsafe-inline'"));
    EXPECT_TRUE(contains(page, "prefers-color-scheme: dark"));
}

TEST(Pages, StaySmallInTheirPictures) {
    Report report;
    EXPECT_TRUE(contains(htmlPage(report), "There is no exchange to show."));
    EXPECT_FALSE(contains(htmlPage(report), "<svg"));
    report.exchanges.assign(20000, three()[1]);
    for (std::size_t i = 0; i < report.exchanges.size(); ++i) {
        report.exchanges[i].begin += static_cast<Time>(i) * 100;
        report.exchanges[i].end = report.exchanges[i].begin + 50;
    }
    const std::string page = htmlPage(report);
    const std::string picture = page.substr(page.find("<svg"), page.find("</svg>") - page.find("<svg"));
    EXPECT_LT(picture.size(), 400000U);
    EXPECT_TRUE(contains(picture, " more"));
}

TEST(Json, IsValidWhateverTheTextsHold) {
    Exchange exchange;
    exchange.request = "a\"\\\n\x01\xff\xc3\xbc";
    EXPECT_TRUE(contains(jsonOf(exchange), "\"a\\\"\\\\\\n\\u0001\xef\xbf\xbd\xc3\xbc\""));
    exchange.request = "\xed\xa0\x80\xf4\x90\x80\x80\xc0\x80";
    EXPECT_FALSE(contains(jsonOf(exchange), "\xed"));
}

TEST(Json, IsReadAsFarAsItIsWhole) {
    using Names = std::vector<std::string>;
    EXPECT_EQ(rootNames(R"( {"a":{"b":"1"},"\u0062":[1,"]"],"a":7} )"), Names({"a", "b", "a"}));
    EXPECT_EQ(rootNames("{}"), Names());
    for (const char* broken :
         {"", "[]", "{", R"({"a":'x'})", R"({"a":1)", R"({"a":1,})", R"({"a":1}})", R"({"a"})"}) {
        EXPECT_FALSE(rootNames(broken)) << broken;
    }
    const std::string json = R"({"a":{"b":"1"},"c":[1,"]"],"b":"2\u0041\ud83d\udd12","d":7,"b":"3"})";
    EXPECT_EQ(rootMember(json, "b"), "2A🔒");
    EXPECT_EQ(rootMember(json, "d"), "7");
    EXPECT_FALSE(rootMember(json, "e"));
    EXPECT_EQ(rootMember(R"({"b":"1",)", "b"), "1");
    for (const char* broken : {"", "{", "{\"b", "{\"b\"", "{\"b\":", "[\"b\"]", "{\"a\":[[[[", "\"b\":1"}) {
        EXPECT_FALSE(rootMember(broken, "b")) << broken;
    }
    EXPECT_FALSE(rootMember("{\"a\":" + std::string(1000000, '['), "b"));
}

} // namespace

} // namespace pdactl::log::test
