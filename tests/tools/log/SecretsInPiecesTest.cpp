#include "LogLines.h"
#include "Outcomes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace pdactl::log::test {

namespace {

/// Consists of characters that are nowhere else in a log or a page, so that no part of it can hide.
const std::string kSecret = "^~^~^~";
/// One of digits, as the contents of a file are.
const std::string kDigits = "fcfcfcfcfcfc";

bool showsSecret(const std::string& text) {
    return text.find_first_of("^~") != std::string::npos || text.find("fc") != std::string::npos;
}

std::string everyOutputOf(const std::string& log) {
    return everyOutput(exchangesOf(readEntries(log)));
}

using Pieces = std::array<std::string, 3>;

/// What may be in a log: what a terminal said, in the pieces in which it was read.
struct Logged {
    std::string how;
    std::function<std::string(const Pieces&)> log;
};

void PrintTo(const Logged& logged, std::ostream* stream) {
    *stream << logged.how;
}

/// The lines of a piece that the library takes for a message.
LogText& pieceRead(LogText& log, const std::string& piece, const std::string& expected) {
    log.after(100).read(piece);
    if (!piece.empty()) {
        const std::string type = piece.size() > 6 ? piece.substr(6, 4) : std::string();
        log.step("Xml Type:" + type + " len:" + std::to_string(type.size()));
        if (type != expected) {
            log.step("Read XML:" + piece + " ---Wrong Command --Delete");
        }
    }
    return log;
}

std::string inOneCall(const Pieces& pieces) {
    LogText log;
    log.request(R"({"transCode":"600013"})").step("[GetKeyVerificationValue] begin");
    log.written(message("8013", ""));
    for (const std::string& piece : pieces) {
        pieceRead(log, piece, "8013");
    }
    return log.response(R"({"pRetCode":"000060","transCode":"600013"})", 2).text();
}

std::string inThreeCalls(const Pieces& pieces) {
    LogText log;
    for (const std::string& piece : pieces) {
        pieceRead(log.step("[GetLockInfo] begin").written(message("7016", "")), piece, "7016");
        log.warning("reply shorter than its length field says");
    }
    return log.text();
}

/// Whatever a terminal starts is shown with the handler that the host calls.
std::string toHandlers(const Pieces& pieces) {
    LogText log;
    for (const std::string& piece : pieces) {
        log.after(1000).read(piece).step("[ReceiveLoginData] begin");
    }
    return log.text();
}

const std::vector<Logged> kWays{
    {"InOneCall", inOneCall},
    {"InThreeCalls", inThreeCalls},
    {"ToHandlers", toHandlers},
    {"WithoutTheFirstPiece",
     [](const Pieces& all) {
         return inThreeCalls({"", all[1], all[2]});
     }},
    {"WithoutTheSecondPiece",
     [](const Pieces& all) {
         return inThreeCalls({all[0], "", all[2]});
     }},
    // Reports were lost, so that the rest is taken for its continuation.
    {"WithALossInside",
     [](const Pieces& all) {
         return inThreeCalls({all[0] + all[2], "", ""});
     }},
    {"AtTheBeginningOfALog", [](const Pieces& all) { return all[1] + "\n" + LogText().read(all[2]).text(); }},
};

/// What terminals say that is nobody's business.
std::vector<std::string> messages() {
    return {
        message("8013", tag("Ex_Tid", "1") + tag("Ex_Pwd", kSecret) + tag("Ex_RetCode", "000000")),
        message("9002", tag("Ex_AFigData", kSecret) + tag("Ex_Rnd", kSecret) + tag("Ex_Name", "A")),
        message("8016", tag("Ex_CurPkt", "1") + tag("Ex_HexVal", kDigits) + tag("Ex_HexCheck", "00ff")),
        message("7019", "<LockList>" + tag("Ex_LockId", "1") + tag("Ex_LockRnd", kSecret) + "</LockList>"),
    };
}

// The Nth: all of them take minutes under the sanitizers.
constexpr std::size_t kEveryPair = PDALINK_IS_SANITIZED ? 5 : 1;

/// Calls back with every pair of cuts in a text.
void forEveryPairOfCuts(const std::string& text, const std::function<void(const Pieces&)>& test) {
    for (std::size_t first = 0; first <= text.size(); ++first) {
        for (std::size_t second = first; second <= text.size(); second += kEveryPair) {
            test({text.substr(0, first), text.substr(first, second - first), text.substr(second)});
        }
    }
}

void expectNoSecretWhereverCut(const std::string& whole, const Logged& logged) {
    forEveryPairOfCuts(whole, [&](const Pieces& pieces) {
        const std::string log = logged.log(pieces);
        ASSERT_FALSE(showsSecret(redactedLog(log))) << logged.how << ":\n" << log << "\n" << redactedLog(log);
    });
}

class MessagesLogged : public testing::TestWithParam<Logged> {};

TEST_P(MessagesLogged, ShowNothingOfASecretWhereverTheyAreCut) {
    for (const std::string& whole : messages()) {
        expectNoSecretWhereverCut(whole, GetParam());
    }
}

INSTANTIATE_TEST_SUITE_P(, MessagesLogged, testing::ValuesIn(kWays),
                         [](const testing::TestParamInfo<Logged>& logged) { return logged.param.how; });

TEST(SecretsInPieces, AreInNoEntryEvenIfTheyLookLikeElements) {
    const std::string value = kSecret + "<" + kSecret + ">" + tag("Ex_Tid", kSecret);
    expectNoSecretWhereverCut(message("7012", tag("Ex_PublicKey", value)), kWays[0]);
    expectNoSecretWhereverCut(message("7012", tag("Ex_PublicKey", value)), kWays[1]);
}

TEST(SecretsInPieces, AreInNoOutputWhereverAMessageIsCut) {
    std::string log;
    forEveryPairOfCuts(messages()[1], [&](const Pieces& pieces) { log += redactedLog(toHandlers(pieces)); });
    EXPECT_FALSE(showsSecret(everyOutputOf(log)));
}

/// A host's text may hold lines that look like entries.
TEST(SecretsInPieces, AreInNoOutputWhereverARequestIsBrokenOff) {
    const std::string json = R"({"a":"1","pKey":")" + kSecret + R"(","transCode":"600012"})";
    forEveryPairOfCuts(json, [&](const Pieces& pieces) {
        LogText log;
        log.step("inJson4:" + pieces[0]).info(pieces[1]).info(pieces[2] + " inLen:99").getInfo();
        ASSERT_FALSE(showsSecret(redactedLog(log.text()))) << log.text() << "\n" << redactedLog(log.text());
    });
}

TEST(SecretsInPieces, AreFoundByTheseTestsWhenNothingIsMasked) {
    for (const std::string& whole : messages()) {
        const std::size_t middle = whole.find_first_of("^f") + 2;
        for (const Logged& logged : kWays) {
            const Pieces pieces{whole.substr(0, middle), whole.substr(middle, 2), whole.substr(middle + 2)};
            EXPECT_TRUE(showsSecret(logged.log(pieces))) << logged.how << ": " << whole;
        }
    }
    EXPECT_TRUE(showsSecret(everyOutputOf(toHandlers({messages()[0], "", ""}))));
    EXPECT_FALSE(showsSecret(everyOutputOf(LogText().getInfo().text())));
}

/// What is read while a log grows comes in parts.
TEST(SecretsInPieces, AreMaskedWhenTheEntriesComeOneByOne) {
    const std::string whole = messages()[0];
    forEveryPairOfCuts(whole, [&](const Pieces& pieces) {
        Redactor redactor;
        std::string shown;
        for (const Entry& entry : readEntries(inThreeCalls(pieces))) {
            std::vector<Entry> one{entry};
            redactor.redact(one);
            shown += bytesOf(one);
        }
        ASSERT_FALSE(showsSecret(shown)) << shown;
    });
}

} // namespace

} // namespace pdactl::log::test
