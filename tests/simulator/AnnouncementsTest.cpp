#include "Conversation.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using pdasim::Acknowledgement;
using pdasim::Announced;
using pdasim::Announcement;
using pdasim::Confirmation;
using pdasim::Fault;
using pdasim::test::body;
using pdasim::test::Conversation;
using Texts = std::vector<std::string>;

const Confirmation kUser = {"l", "n", "f", "r", "p", "m"};
const std::string kUserTags = body("Ex_Login=l Ex_Name=n Ex_FigData=f Ex_Rnd=r Ex_Pwd=p Ex_MacChkVal=m");

pdasim::HandoverResult handover() {
    return {"T", {"A", "B"}, {"E"}, {Confirmation{"al", "an", "af", "ar", "ap", "am"}, {}, kUser}, "1"};
}

const std::string kHandoverTags =
    body("Ex_Time=T Ex_LabelNum=2 Ex_ErrLabel=E; Ex_ALogin=al Ex_AName=an Ex_AFigData=af "
         "Ex_ARnd=ar Ex_APwd=ap Ex_AMacChkVal=am Ex_BLogin= Ex_BName= Ex_BFigData= Ex_BRnd= "
         "Ex_BPwd= Ex_BMacChkVal= Ex_CLogin=l Ex_CName=n Ex_CFigData=f Ex_CRnd=r Ex_CPwd=p "
         "Ex_CMacChkVal=m");

class Announcing : public testing::Test {
protected:
    Announcing() { host.terminal.state().assignedNumber = "P1"; }

    std::string announce(const Announcement& announcement) {
        return host.terminal.announce(announcement, Conversation::Now);
    }

    /// What is left of a message after Ex_PdaSn, after a check of everything in front of it.
    std::string announced(const Announcement& announcement, const std::string& type, int number) {
        const std::string text = announce(announcement);
        const std::string front = "<Ex_TrTime>20260304050607</Ex_TrTime><Ex_SeqNo>" +
                                  pdasim::sequenceText(number) + "</Ex_SeqNo><Ex_PdaSn>P1</Ex_PdaSn>";
        EXPECT_EQ(std::stoul(text.substr(0, 6)), text.size());
        EXPECT_EQ(text.substr(6, 44), type + "QEV   000000000000000000000000        05");
        EXPECT_EQ(text.substr(50, front.size()), front);
        return text.substr(50 + front.size());
    }

    /// Sends a response that keeps to its kind; what the terminal has against it.
    Texts acknowledge(Announced kind, const std::string& sequence = "-", const std::string& number = "-") {
        const std::string source = " Ex_SrcSeqNo=" + sequence;
        const std::string serial = " Ex_PdaSn=" + number;
        const std::string code = " Ex_RetCode=000000";
        const std::map<Announced, std::pair<std::string, std::string>> responses = {
            {Announced::ScannedLabel, {"9001", source + serial + code + " Ex_ScanState=1"}},
            {Announced::UserNotice, {"9001", source + code + serial}},
            {Announced::LoginRecord, {"9002", serial + code}},
            {Announced::InventoryRecord, {"9004", source + code}},
            {Announced::DotHandover, {"9005", source + code}},
            {Announced::PowerHandover, {"9006", source + serial + code}},
        };
        const auto& [type, tags] = responses.at(kind);
        (void)host.answer(type, body(tags));
        return host.takeViolations();
    }

    const Acknowledgement& last() const { return host.terminal.acknowledgements().back(); }

    Conversation host;
};

TEST_F(Announcing, EachMessageHasTheTagsOfItsKindAndANumberOfItsOwn) {
    EXPECT_EQ(announced(pdasim::scannedLabel("A1"), "9001", 1), body({{"Ex_Label", "A1"}}));
    EXPECT_EQ(announced(pdasim::loginRecord(kUser), "9002", 2), kUserTags);
    EXPECT_EQ(announced(pdasim::userNotice("ann"), "9003", 3), body({{"Ex_UserNm", "ann"}}));
    EXPECT_EQ(announced(pdasim::inventoryRecord({"T", {"A", "B"}, {"C"}, "1", kUser, "2"}), "9004", 4),
              body("Ex_Total=2 Ex_Label=A;B; Ex_ErrLabel=C;") + kUserTags);
    EXPECT_EQ(announced(pdasim::dotHandoverRecord("R", handover()), "9005", 5),
              body({{"Ex_Road", "R"}}) + kHandoverTags);
    EXPECT_EQ(announced(pdasim::powerHandoverRecord("B", handover()), "9006", 6),
              body({{"Ex_BatchNb", "B"}}) + kHandoverTags);
}

TEST_F(Announcing, ATerminalWithoutANumberGivesItsIdentity) {
    host.terminal.state().assignedNumber.clear();
    EXPECT_NE(announce(pdasim::userNotice("ann")).find("<Ex_PdaSn>860123456789012</Ex_PdaSn>"),
              std::string::npos);
}

TEST_F(Announcing, TagsCanBeAnything) {
    const std::string text =
        announce(pdasim::scannedLabel("A1").with("Ex_Label", "\xFF<").with("Ex_New", "n"));
    EXPECT_EQ(text.substr(112), "<Ex_PdaSn>P1</Ex_PdaSn><Ex_Label>\xFF<</Ex_Label><Ex_New>n</Ex_New>");
}

TEST_F(Announcing, AScannedLabelJoinsTheTerminalsList) {
    (void)announce(pdasim::scannedLabel("A1"));
    (void)announce(pdasim::scannedLabel("A2"));
    (void)announce(pdasim::userNotice("ann"));
    EXPECT_EQ(host.terminal.state().scan.labels, (Texts{"A1", "A2"}));
}

TEST_F(Announcing, EachKindIsAcknowledgedInItsOwnWay) {
    const std::vector<std::pair<Announcement, std::string>> all = {
        {pdasim::scannedLabel("A1"), "9001"},         {pdasim::loginRecord(kUser), "9002"},
        {pdasim::userNotice("ann"), "9001"},          {pdasim::inventoryRecord({}), "9004"},
        {pdasim::dotHandoverRecord("R", {}), "9005"}, {pdasim::powerHandoverRecord("B", {}), "9006"},
    };
    for (const auto& message : all) {
        (void)announce(message.first);
    }
    for (std::size_t i = all.size(); i-- > 0;) {
        EXPECT_EQ(acknowledge(all[i].first.kind), Texts());
        EXPECT_EQ(last().kind, all[i].first.kind);
        EXPECT_EQ(last().type, all[i].second);
        EXPECT_EQ(last().answers, pdasim::sequenceText(static_cast<int>(i) + 1));
    }
    EXPECT_EQ(host.terminal.acknowledgements().size(), all.size());
}

TEST_F(Announcing, TheOldestOfItsKindIsAcknowledgedFirst) {
    (void)announce(pdasim::scannedLabel("A1"));
    (void)announce(pdasim::scannedLabel("A2"));
    EXPECT_EQ(acknowledge(Announced::ScannedLabel), Texts());
    EXPECT_EQ(last().answers, "0001");
    EXPECT_EQ(acknowledge(Announced::ScannedLabel), Texts());
    EXPECT_EQ(last().answers, "0002");
    EXPECT_EQ(acknowledge(Announced::ScannedLabel), Texts());
    EXPECT_EQ(last().answers, "");
}

TEST_F(Announcing, WhatTheTerminalSentMayNotComeBack) {
    const std::string own =
        "message 1 of type 9001: Ex_SrcSeqNo holds the value \"0001\" of the message that is "
        "acknowledged";
    (void)announce(pdasim::scannedLabel("A1"));
    EXPECT_EQ(acknowledge(Announced::ScannedLabel, "0001"), Texts{own});
    const std::vector<Announcement> withSerial = {pdasim::scannedLabel("A1"), pdasim::userNotice("ann"),
                                                  pdasim::powerHandoverRecord("B", {})};
    for (const Announcement& announcement : withSerial) {
        (void)announce(announcement);
        const Texts violations = acknowledge(announcement.kind, "-", "P1");
        ASSERT_EQ(violations.size(), 1U);
        EXPECT_NE(violations[0].find("Ex_PdaSn holds the value \"P1\""), std::string::npos);
    }
    for (const Announced kind : {Announced::InventoryRecord, Announced::DotHandover}) {
        const Announcement record = kind == Announced::InventoryRecord ? pdasim::inventoryRecord({})
                                                                       : pdasim::dotHandoverRecord("R", {});
        const std::string text = announce(record);
        EXPECT_EQ(acknowledge(kind, text.substr(97, 4)).size(), 1U);
    }
}

TEST_F(Announcing, ALoginVerdictNamesTheTerminal) {
    (void)announce(pdasim::loginRecord(kUser));
    EXPECT_EQ(acknowledge(Announced::LoginRecord, "", "P1"), Texts());
    EXPECT_EQ(last().answers, "0001");
    ASSERT_EQ(last().tags.size(), 2U);
    EXPECT_EQ(last().tags[0].value, "P1");
}

TEST_F(Announcing, AnAcknowledgementThatDidNotArriveIsNone) {
    (void)announce(pdasim::inventoryRecord({}));
    host.terminal.addFault("9004", Fault().refuseWrite(EIO));
    host.terminal.addFault("9004", Fault().shortWrite(10));
    EXPECT_EQ(acknowledge(Announced::InventoryRecord), Texts());
    EXPECT_EQ(acknowledge(Announced::InventoryRecord), Texts());
    EXPECT_TRUE(host.terminal.acknowledgements().empty());
    EXPECT_EQ(acknowledge(Announced::InventoryRecord), Texts());
    EXPECT_EQ(last().answers, "0001");
}

TEST_F(Announcing, AMalformedAcknowledgementIsAViolationAndNone) {
    (void)announce(pdasim::inventoryRecord({}));
    (void)host.answer("9004", body("Ex_RetCode=000000"));
    EXPECT_EQ(host.takeViolations().size(), 1U);
    EXPECT_TRUE(host.terminal.acknowledgements().empty());
}

} // namespace
