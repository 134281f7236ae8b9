#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace pdasim {

/** A file that the host sends, as far as its packets have come. */
struct SentFile {
    std::string info;
    std::int32_t totalPackets = 0;
    /** The packets' text by number. */
    std::map<std::int32_t, std::string> packets;

    bool isComplete() const { return packets.size() == static_cast<std::size_t>(totalPackets); }
    /** All packets so far in one. */
    std::string text() const {
        std::string all;
        for (const auto& packet : packets) {
            all.append(packet.second);
        }
        return all;
    }
};

/** What the terminal holds by command number: text of hexadecimal digits. */
struct Files {
    std::map<std::int32_t, SentFile> sent;
    std::map<std::int32_t, std::string> offered;
};

} // namespace pdasim
