#include "core/Texts.h"
#include "core/messages/Answers.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace pdasim {

namespace {

void checkSentPacket(const ParsedMessage& message, std::vector<std::string>& violations) {
    const Request packet{message, {}};
    const std::int64_t total = packet.number("Ex_TotalPkt");
    const std::int64_t current = packet.number("Ex_CurPkt");
    if (current < 0 || current >= total) {
        violations.push_back("Ex_CurPkt is " + std::to_string(current) + " of " + std::to_string(total));
    }
    const std::string& text = packet["Ex_HexVal"];
    const std::size_t size = lengthInCharacters(text);
    const bool isLast = current == total - 1;
    if (isLast ? size < 1 || size > kPacketSize : size != kPacketSize) {
        violations.push_back("packet " + std::to_string(current) + " of " + std::to_string(total) + " has " +
                             std::to_string(size) + " characters");
    }
    const std::string check = hexCheck(text);
    if (packet["Ex_HexCheck"] != check) {
        violations.push_back("Ex_HexCheck is " + quoted(packet["Ex_HexCheck"]) + " instead of " +
                             quoted(check));
    }
}

Reply answerSentPacket(const Request& request, TerminalState& state) {
    SentFile& file = state.files.sent[request.number("Ex_CmdEx")];
    const std::int32_t current = request.number("Ex_CurPkt");
    const std::int32_t total = request.number("Ex_TotalPkt");
    const bool isAnother = file.totalPackets != total || file.info != request["Ex_InfoEx"];
    if (isAnother || (current == 0 && file.isComplete())) {
        file = {request["Ex_InfoEx"], total, {}};
    }
    file.packets[current] = request["Ex_HexVal"];
    return accepted();
}

Reply answerPacketRequest(const Request& request, TerminalState& state) {
    const auto file = state.files.offered.find(request.number("Ex_CmdEx"));
    if (file == state.files.offered.end()) {
        return Reply().withResult(code::UnknownFile);
    }
    const std::string& text = file->second;
    const std::int64_t total =
        std::max<std::int64_t>(1, static_cast<std::int64_t>((text.size() + kPacketSize - 1) / kPacketSize));
    const std::int64_t current = request.number("Ex_CurPkt");
    if (current < 0 || current >= total) {
        return Reply().withResult(code::UnknownPacket);
    }
    const std::string packet = text.substr(static_cast<std::size_t>(current) * kPacketSize, kPacketSize);
    return Reply()
        .withResult(code::Accepted)
        .with("Ex_TotalPkt", std::to_string(total))
        .with("Ex_CurPkt", std::to_string(current))
        .with("Ex_HexVal", packet)
        .with("Ex_HexCheck", hexCheck(packet));
}

} // namespace

// clang-format off
std::vector<MessageRow> fileRows() {
    return {
        {"8015", "file packet sent",
         {"Ex_PdaSn", number("Ex_CmdEx"), "Ex_InfoEx", number("Ex_TotalPkt"), number("Ex_CurPkt"), "Ex_HexVal",
          "Ex_HexCheck"},
         answerSentPacket, checkSentPacket},
        {"8016", "file packet requested", {"Ex_PdaSn", number("Ex_CmdEx"), "Ex_InfEx", number("Ex_CurPkt")},
         answerPacketRequest},
    };
}
// clang-format on

} // namespace pdasim
