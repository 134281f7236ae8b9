#include "Fuzz.h"

#include "listen/MessageSplitter.h"

using fuzz::require;
using pdactl::MessageSplitter;

/// Any text as what a channel brings: the first byte says in pieces of which size.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const auto piece = static_cast<int>(1 + input.below(128));
    const QString text = QString::fromStdString(input.rest());
    MessageSplitter whole;
    whole.add(text, {});
    MessageSplitter pieces;
    for (int at = 0; at < text.size(); at += piece) {
        pieces.add(text.mid(at, piece), {});
    }
    require(pieces.messages == whole.messages, "messages do not depend on the pieces");
    require(pieces.isUnfinished() == whole.isUnfinished(), "nor does whether one is unfinished");
    int at = 0;
    for (const QString& message : whole.messages) {
        require(message.left(6).toInt() == message.size() && message.size() >= 50,
                "a message is as long as it says");
        const int found = text.indexOf(message, at);
        require(found >= 0, "a message is of the text, and in its order");
        at = found + message.size();
    }
    MessageSplitter::Clock::time_point later;
    for (int round = 0; whole.isUnfinished(); ++round) {
        require(round <= text.size(), "what is unfinished is given up some time");
        whole.giveUpOld(later += std::chrono::seconds(6));
    }
    return 0;
}
