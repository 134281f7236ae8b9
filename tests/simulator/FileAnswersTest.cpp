#include "Conversation.h"

#include "core/Texts.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using pdasim::Fault;
using pdasim::test::body;
using pdasim::test::Conversation;
using Texts = std::vector<std::string>;

/// Text of hexadecimal digits that differs from packet to packet.
std::string hexText(std::size_t size) {
    std::string text;
    for (std::size_t i = 0; text.size() < size; ++i) {
        text.append(std::to_string(i)).append("ab");
    }
    return text.substr(0, size);
}

class FileAnswers : public testing::Test {
protected:
    ~FileAnswers() override { EXPECT_EQ(host.takeViolations(), Texts()); }

    std::string send(int command, const std::string& info, int total, int current, const std::string& text) {
        return host.answer("8015", body({{"Ex_PdaSn", ""},
                                         {"Ex_CmdEx", std::to_string(command)},
                                         {"Ex_InfoEx", info},
                                         {"Ex_TotalPkt", std::to_string(total)},
                                         {"Ex_CurPkt", std::to_string(current)},
                                         {"Ex_HexVal", text},
                                         {"Ex_HexCheck", pdasim::hexCheck(text)}}));
    }

    std::string fetch(int command, int packet) {
        return host.answer("8016", body({{"Ex_PdaSn", ""},
                                         {"Ex_CmdEx", std::to_string(command)},
                                         {"Ex_InfEx", ""},
                                         {"Ex_CurPkt", std::to_string(packet)}}));
    }

    static std::string packetReply(int total, int current, const std::string& text,
                                   const std::string& check) {
        return body({{"Ex_RetCode", "000000"},
                     {"Ex_TotalPkt", std::to_string(total)},
                     {"Ex_CurPkt", std::to_string(current)},
                     {"Ex_HexVal", text},
                     {"Ex_HexCheck", check}});
    }
    static std::string packetReply(int total, int current, const std::string& text) {
        return packetReply(total, current, text, pdasim::hexCheck(text));
    }

    void offer(const std::string& text) { host.terminal.state().files.offered[7] = text; }
    void meet(const Fault& fault) { host.terminal.addFault("8016", fault); }
    const pdasim::SentFile& sent(int command) { return host.terminal.state().files.sent[command]; }

    Conversation host;
};

TEST_F(FileAnswers, PacketsAreJoinedByTheirNumbers) {
    const std::string text = hexText(3002);
    EXPECT_EQ(send(-5, "i", 2, 1, text.substr(3000)), body({{"Ex_RetCode", "000000"}}));
    EXPECT_FALSE(sent(-5).isComplete());
    EXPECT_EQ(send(-5, "i", 2, 0, text.substr(0, 3000)), body({{"Ex_RetCode", "000000"}}));
    EXPECT_TRUE(sent(-5).isComplete());
    EXPECT_EQ(sent(-5).text(), text);
    EXPECT_EQ(sent(-5).info, "i");
}

TEST_F(FileAnswers, APacketOfAnotherFileBeginsANewOne) {
    const std::string first = hexText(3000);
    (void)send(1, "i", 2, 0, first);
    (void)send(2, "i", 1, 0, "22");
    (void)send(1, "i", 3, 0, first);
    EXPECT_EQ(sent(1).packets.size(), 1U);
    EXPECT_EQ(sent(1).totalPackets, 3);
    (void)send(1, "other", 3, 1, first);
    EXPECT_EQ(sent(1).packets.size(), 1U);
    EXPECT_EQ(sent(1).info, "other");
    EXPECT_EQ(sent(2).text(), "22");
}

TEST_F(FileAnswers, TheFirstPacketOfACompleteFileBeginsItAnew) {
    (void)send(1, "i", 2, 0, hexText(3000));
    (void)send(1, "i", 2, 0, hexText(3000));
    (void)send(1, "i", 2, 1, "11");
    EXPECT_TRUE(sent(1).isComplete());
    (void)send(1, "i", 2, 0, hexText(3000));
    EXPECT_FALSE(sent(1).isComplete());
    EXPECT_EQ(sent(1).text(), hexText(3000));
}

TEST_F(FileAnswers, AFileIsOfferedInPacketsOf3000Characters) {
    const std::string text = hexText(6001);
    offer(text);
    EXPECT_EQ(fetch(7, 0), packetReply(3, 0, text.substr(0, 3000)));
    EXPECT_EQ(fetch(7, 1), packetReply(3, 1, text.substr(3000, 3000)));
    EXPECT_EQ(fetch(7, 2), packetReply(3, 2, text.substr(6000)));
    offer(text.substr(0, 3000));
    EXPECT_EQ(fetch(7, 0), packetReply(1, 0, text.substr(0, 3000)));
    offer("");
    EXPECT_EQ(fetch(7, 0), packetReply(1, 0, "", "0000"));
}

TEST_F(FileAnswers, WhatIsNotOfferedIsRefused) {
    EXPECT_EQ(fetch(7, 0), body({{"Ex_RetCode", "000003"}}));
    offer(hexText(3001));
    EXPECT_EQ(fetch(8, 0), body({{"Ex_RetCode", "000003"}}));
    EXPECT_EQ(fetch(7, 2), body({{"Ex_RetCode", "000004"}}));
    EXPECT_EQ(fetch(7, -1), body({{"Ex_RetCode", "000004"}}));
}

TEST_F(FileAnswers, ChecksCanBeWrong) {
    offer("313233343536373839");
    meet(Fault().wrongCheck());
    EXPECT_EQ(fetch(7, 0), packetReply(1, 0, "313233343536373839", "31c0"));
    EXPECT_EQ(fetch(7, 0), packetReply(1, 0, "313233343536373839", "31c3"));
    offer("00");
    meet(Fault().wrongCheck());
    EXPECT_EQ(fetch(7, 0), packetReply(1, 0, "00", "0001"));
    meet(Fault().wrongCheck());
    EXPECT_EQ(fetch(8, 0), body("Ex_RetCode=000003"));
}

TEST_F(FileAnswers, OnePacketCanComeWhicheverIsAskedFor) {
    const std::string text = hexText(6001);
    offer(text);
    meet(Fault().answerPacket(1).times(2));
    EXPECT_EQ(fetch(7, 0), packetReply(3, 1, text.substr(3000, 3000)));
    EXPECT_EQ(fetch(7, 2), packetReply(3, 1, text.substr(3000, 3000)));
    EXPECT_EQ(fetch(7, 2), packetReply(3, 2, text.substr(6000)));
}

TEST_F(FileAnswers, ARefusedPacketIsNotKept) {
    host.terminal.addFault("8015", Fault().refuse("000009"));
    EXPECT_EQ(send(1, "i", 1, 0, "11"), body({{"Ex_RetCode", "000009"}}));
    EXPECT_EQ(host.terminal.state().files.sent.size(), 0U);
    meet(Fault().refuse("000009"));
    offer("11");
    EXPECT_EQ(fetch(7, 0).substr(0, 31), "<Ex_RetCode>000009</Ex_RetCode>");
}

} // namespace
