#include "FileFixture.h"

#include <algorithm>
#include <array>
#include <cstdio>

using pdasim::Fault;

void PrintTo(const Transfer& transfer, std::ostream* stream) {
    constexpr std::size_t shown = 200;
    *stream << "result " << transfer.result << ", retCode \"" << transfer.retCode << "\", "
            << transfer.data.size() << " bytes of data \"" << transfer.data.substr(0, shown) << '"';
}

std::string FileTest::digits(std::size_t count) {
    std::string text;
    text.reserve(count);
    unsigned int state = 1;
    while (text.size() < count) {
        state = state * 1103515245U + 12345U;
        text += "0123456789abcdef"[state >> 28U];
    }
    return text;
}

std::string FileTest::check(const std::string& text) {
    std::vector<unsigned int> bytes(static_cast<std::size_t>(QString::fromStdString(text).size()) / 2, 0);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const std::string pair = text.substr(2 * i, 2);
        if (pair.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
            break;
        }
        bytes[i] = static_cast<unsigned int>(std::stoul(pair, nullptr, 16));
    }
    unsigned int crc = 0;
    for (const unsigned int byte : bytes) {
        for (unsigned int bit = 0x80; bit != 0; bit >>= 1U) {
            const bool isOut = ((crc & 0x8000U) != 0) != ((byte & bit) != 0);
            crc = ((crc << 1U) & 0xFFFFU) ^ (isOut ? 0x1021U : 0U);
        }
    }
    std::array<char, 8> hex{};
    (void)std::snprintf(hex.data(), hex.size(), "%04x", crc);
    return hex.data();
}

std::vector<std::string> FileTest::packetsOf(const std::string& text) {
    std::vector<std::string> packets;
    for (std::size_t start = 0; start < text.size(); start += kPacketSize) {
        packets.push_back(text.substr(start, kPacketSize));
    }
    return packets;
}

std::string FileTest::sendBody(const std::string& packet, int total, int current) {
    return tag("Ex_PdaSn", "00000007") + tag("Ex_CmdEx", "3") + tag("Ex_InfoEx", "about it") +
           tag("Ex_TotalPkt", std::to_string(total)) + tag("Ex_CurPkt", std::to_string(current)) +
           tag("Ex_HexVal", packet) + tag("Ex_HexCheck", check(packet));
}

std::string FileTest::fetchBody(int current) {
    return tag("Ex_PdaSn", "00000007") + tag("Ex_CmdEx", "3") + tag("Ex_InfEx", "about it") +
           tag("Ex_CurPkt", std::to_string(current));
}

Transfer FileTest::send(const std::string& text) {
    HostText data(text);
    HostText pdaNumber("00000007");
    HostText info("about it");
    int command = 3;
    OutputBuffer retCode;
    const int result = analyser().ReadFileDataToPDA(pdaNumber, &command, info, data, retCode.data());
    return {result, retCode.written(), ""};
}

Transfer FileTest::fetch() {
    HostText pdaNumber("00000007");
    HostText info("about it");
    int command = 3;
    OutputBuffer data;
    OutputBuffer retCode;
    const int result =
        analyser().ReceiveDataSaveToFile(pdaNumber, &command, info, data.data(), retCode.data());
    return {result, retCode.written(), data.written()};
}

void FileTest::accept(std::size_t times) {
    terminal().addFault("8015", Fault().rawReply(reply("8015", tag("Ex_RetCode", "000000"))).times(times));
}

void FileTest::refuse(const std::string& code) {
    answer("8015", tag("Ex_RetCode", code));
}

std::string FileTest::packet(const std::string& total, const std::string& current, const std::string& text,
                             const std::string& check) {
    return tag("Ex_RetCode", "000000") + tag("Ex_TotalPkt", total) + tag("Ex_CurPkt", current) +
           tag("Ex_HexVal", text) + tag("Ex_HexCheck", check);
}

std::string FileTest::packet(int total, int current, const std::string& text) {
    return packet(std::to_string(total), std::to_string(current), text, check(text));
}

void FileTest::offer(const std::string& tags, std::size_t times) {
    terminal().addFault("8016", Fault().rawReply(reply("8016", tags)).times(times));
}

std::vector<std::string> FileTest::newBodies() {
    const std::string before = "</Ex_SeqNo>";
    const std::vector<std::string> received = terminal().received();
    std::vector<std::string> bodies;
    for (; m_bodiesSeen < received.size(); ++m_bodiesSeen) {
        const std::string& message = received[m_bodiesSeen];
        const std::size_t end = message.find(before);
        bodies.push_back(end == std::string::npos ? message : message.substr(end + before.size()));
    }
    return bodies;
}

std::vector<int> FileTest::newPacketNumbers() {
    const std::string opening = "<Ex_CurPkt>";
    std::vector<int> numbers;
    for (const std::string& body : newBodies()) {
        const std::size_t start = body.find(opening);
        numbers.push_back(start == std::string::npos ? -1 : std::stoi(body.substr(start + opening.size())));
    }
    return numbers;
}

std::size_t FileTest::warnings() {
    std::string all;
    for (const char* copy : {".5", ".4", ".3", ".2", ".1", ""}) {
        all += pdalink::test::readFile(pdalink::test::logPath() + copy);
    }
    const std::vector<pdalink::test::LogLine> lines = pdalink::test::parseLog(all);
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(), [](const pdalink::test::LogLine& line) { return line.level == 3; }));
}
