#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace pdasim {

/**
 * Puts together again what a host's bus has cut up. A message is whole as soon as it has as many characters
 * as it says at its beginning: no zero-length packet ends one.
 */
class MessageAssembler {
public:
    /** Pieces come in packets of such a size; a shorter one ends a message, whatever it says. */
    explicit MessageAssembler(std::size_t packetSize) : m_packetSize(packetSize) {}

    /** The message that the piece has made whole; nothing while more has to come. */
    std::optional<std::string> add(std::string_view piece);

    /** How much has come of a message that is not whole yet. */
    std::size_t pending() const { return m_gathered.size(); }
    /** Whatever has been gathered. */
    std::string take();

private:
    bool isWhole(std::string_view piece) const;

    std::size_t m_packetSize;
    std::string m_gathered;
};

} // namespace pdasim
