#include "usb/HostSide.h"

#include "core/Message.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace pdasim {

namespace {

/// What the length field says; nothing when it holds no number.
std::optional<std::size_t> announcedLength(std::string_view bytes) {
    const std::string_view field = bytes.substr(header::kLengthOffset, header::kLengthWidth);
    std::size_t length = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), length);
    const bool isNumber = error == std::errc() && end == field.data() + field.size();
    return isNumber && field.size() == header::kLengthWidth ? std::optional(length) : std::nullopt;
}

/// Without the beginning of a character whose end is still to come.
std::string_view withoutCutCharacter(std::string_view bytes) {
    std::size_t end = bytes.size();
    for (std::size_t back = 1; back <= 3 && back <= bytes.size(); ++back) {
        const auto byte = static_cast<unsigned char>(bytes[bytes.size() - back]);
        if ((byte & 0xC0U) == 0x80U) {
            continue;
        }
        const std::size_t size = byte >= 0xF0U ? 4 : byte >= 0xE0U ? 3 : byte >= 0xC0U ? 2 : 1;
        if (size > back) {
            end -= back;
        }
        break;
    }
    return bytes.substr(0, end);
}

using namespace std::chrono_literals;

/// After that long without its rest a message counts as ended: the host has sent less than it said.
constexpr auto kPatience = 1s;

} // namespace

std::optional<std::string> MessageAssembler::add(std::string_view piece) {
    m_gathered.append(piece);
    if (m_gathered.empty() || !isWhole(piece)) {
        return std::nullopt;
    }
    return take();
}

bool MessageAssembler::isWhole(std::string_view piece) const {
    if (piece.size() % m_packetSize != 0) {
        return true;
    }
    const auto announced = announcedLength(m_gathered);
    return !announced || lengthInCharacters(withoutCutCharacter(m_gathered)) >= *announced;
}

std::string MessageAssembler::take() {
    return std::exchange(m_gathered, {});
}

HostSide::HostSide(ServingLoop& loop, std::size_t reportSize, std::size_t packetSize, Openings openings)
    : m_loop(loop), m_reportSize(reportSize), m_openings(openings), m_assembler(packetSize) {
}

NodeOwner::WriteResult HostSide::take(std::string_view piece) {
    const std::size_t before = m_assembler.pending();
    const auto message = m_assembler.add(piece);
    m_loop.cancel(this);
    if (!message) {
        if (m_assembler.pending() > 0) {
            m_loop.schedule(this, ServingLoop::Clock::now() + kPatience,
                            [this] { (void)handOver(m_assembler.take()); });
        }
        return {0, piece.size()};
    }
    const NodeOwner::WriteResult result = handOver(*message);
    return {result.error, result.accepted - std::min(before, result.accepted)};
}

NodeOwner::WriteResult HostSide::handOver(const std::string& message) {
    if (m_openings == Openings::Unseen) {
        // Any message may be the first one of another program.
        m_owner->hostOpened();
    }
    return m_owner->hostWrote(message);
}

void HostSide::setListening(bool listening) {
    if (listening == m_listening) {
        return;
    }
    m_listening = listening;
    if (listening) {
        m_owner->hostOpened();
    } else {
        m_reports.clear();
    }
}

void HostSide::queue(const std::vector<std::string>& reports) {
    if (m_listening) {
        m_reports.insert(m_reports.end(), reports.begin(), reports.end());
    }
}

void HostSide::reset() {
    m_loop.cancel(this);
    (void)m_assembler.take();
    setListening(false);
}

} // namespace pdasim
