#pragma once

#include "Clocks.h"
#include "tests/analysis/TransactionFixture.h"

#include <string>
#include <vector>

/// How a transfer ended. Outputs that were not touched are empty.
struct Transfer {
    int result;
    std::string retCode;
    std::string data;

    bool operator==(const Transfer& other) const {
        return result == other.result && retCode == other.retCode && data == other.data;
    }
};
void PrintTo(const Transfer& transfer, std::ostream* stream);

/// Transfers of files in both directions, with replies that each fit into one report.
class FileTest : public TransactionTest {
protected:
    static constexpr std::size_t kPacketSize = 3000;

    /// As many hexadecimal digits, different ones in every packet.
    static std::string digits(std::size_t count);
    /// The check of a packet, worked out anew: the CRC of half as many bytes as it has characters, those
    /// missing from the first pair on that is not two digits being 0.
    static std::string check(const std::string& text);
    static std::vector<std::string> packetsOf(const std::string& text);

    /// What follows Ex_SeqNo in the request that carries one packet, and in the one that asks for one.
    static std::string sendBody(const std::string& packet, int total, int current);
    static std::string fetchBody(int current);

    Transfer send(const std::string& text);
    Transfer fetch();

    /// What the terminal says to the next packet that is sent to it.
    void accept(std::size_t times = 1);
    void refuse(const std::string& code);
    /// The tags of a packet as the terminal sends it; of one that is in order.
    static std::string packet(const std::string& total, const std::string& current, const std::string& text,
                              const std::string& check);
    static std::string packet(int total, int current, const std::string& text);
    /// What it answers when the next packet is asked for.
    void offer(const std::string& tags, std::size_t times = 1);
    void offer(int total, int current, const std::string& text) { offer(packet(total, current, text)); }

    /// What follows Ex_SeqNo in each message since the last call of this.
    std::vector<std::string> newBodies();
    /// The packet numbers in them.
    std::vector<int> newPacketNumbers();
    /// How many lines the library has written about what it refused or dropped.
    static std::size_t warnings();

private:
    std::size_t m_bodiesSeen = 0;
};
