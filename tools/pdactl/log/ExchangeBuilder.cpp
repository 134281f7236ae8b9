#include "log/ExchangeBuilder.h"

#include "Text.h"
#include "log/JsonScan.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace pdactl::log {

namespace {

constexpr Time kMaxSilence = 70000;  // ms; a step that waits for whole replies takes up to 65 s
constexpr Time kMaxRefusal = 100;    // ms, in which a request is accepted or not
constexpr std::size_t kMaxOpen = 32; // hosts that share a log

/// What the line says has come of a transfer; nothing for any other line.
std::optional<Outcome> toldOutcome(std::string_view text) {
    struct Told {
        std::string_view beginning;
        Outcome outcome;
    };
    constexpr std::array<Told, 4> lines{{
        {"file is too short:", Outcome::TooShort},
        {"data send error. already send:", Outcome::TransferRefused},
        {"file transfer given up: more data", Outcome::InternalFailure},
        {"file transfer given up:", Outcome::NoReply},
    }};
    const auto line = std::find_if(lines.begin(), lines.end(),
                                   [&](const Told& told) { return startsWith(text, told.beginning); });
    return line != lines.end() ? std::optional(line->outcome) : std::nullopt;
}

/// Whether the line tells why something went wrong.
bool isNoteworthy(const Entry& entry) {
    constexpr std::array<std::string_view, 8> kBeginnings{
        "info msg:",       "sendLen error",        "hid device is not open", "port open fail",
        "data send error", "pda return crc error", "file is too short",      "openHidDevice port: ",
    };
    const bool isKnown = std::any_of(kBeginnings.begin(), kBeginnings.end(), [&](std::string_view beginning) {
        return startsWith(entry.text, beginning);
    });
    const bool isFound = startsWith(entry.text, "openHidDevice port: /");
    return (isKnown && !isFound) || entry.level == Level::Warning || entry.level == Level::Error;
}

} // namespace

void ExchangeBuilder::add(const Entry& entry) {
    if (entry.head.empty()) {
        return;
    }
    const TrafficLine line = trafficLine(entry.text);
    const std::string_view payload = payloadOf(entry.text, line);
    switch (line.kind) {
    case LineKind::Request:
        addRequest(entry, payload);
        break;
    case LineKind::Response:
        addResponse(entry, payload);
        break;
    case LineKind::Prepared:
        addPrepared(entry, std::string_view(entry.text).substr(0, entry.text.find(' ')));
        break;
    case LineKind::Written:
        addWritten(entry, payload, false);
        break;
    case LineKind::WriteFailed:
        addWritten(entry, payload, true);
        break;
    case LineKind::Read:
        addRead(entry, payload);
        break;
    case LineKind::WrongMessage:
        addWrongMessage(entry);
        break;
    default:
        addOther(entry);
    }
}

void ExchangeBuilder::closeAll() {
    while (!m_open.empty()) {
        close(m_open.begin());
    }
}

std::vector<Exchange> ExchangeBuilder::takeFinished() {
    std::vector<Exchange> finished;
    finished.swap(m_finished);
    std::stable_sort(finished.begin(), finished.end(), isEarlier);
    return finished;
}

ExchangeBuilder::Open& ExchangeBuilder::open(const Entry& entry, Origin origin, const Transaction* member) {
    closeStale(entry);
    if (m_open.size() == kMaxOpen) {
        close(m_open.begin());
    }
    m_hasJustEnded = false;
    Open fresh;
    fresh.exchange.begin = entry.time;
    fresh.exchange.number = ++m_opened;
    fresh.exchange.end = entry.time;
    fresh.exchange.origin = origin;
    fresh.exchange.member = member;
    if (member != nullptr) {
        fresh.exchange.code = member->code;
        fresh.exchange.type = member->type;
    }
    m_open.push_back(std::move(fresh));
    return m_open.back();
}

void ExchangeBuilder::close(Iterator position) {
    Exchange& exchange = position->exchange;
    const bool isUnanswered = position->isWholeRequest && !position->hasBegun && !exchange.result;
    const bool isNone = isUnanswered && (exchange.code.empty() || !rootNames(exchange.request));
    judge(exchange, position->progress(), position->isRefused || isNone);
    if (isNone) {
        exchange.notes.emplace_back("the library gave no response: no JSON object with a member transCode");
    }
    m_finished.push_back(std::move(exchange));
    m_open.erase(position);
}

Progress ExchangeBuilder::Open::progress() const {
    constexpr std::array<Progress, 6> progress{Progress::Begun,  Progress::Begun,   Progress::Answered,
                                               Progress::Silent, Progress::NotSent, Progress::Finished};
    const bool isResultKnown = exchange.result || exchange.origin != Origin::Request;
    return isResultKnown ? progressOfTransfer(exchange, progress.at(static_cast<std::size_t>(stage)))
                         : Progress::Begun;
}

/// Closes what will not go on when something new begins.
void ExchangeBuilder::closeStale(const Entry& entry) {
    for (auto position = m_open.begin(); position != m_open.end();) {
        const Exchange& exchange = position->exchange;
        const bool isOver = exchange.origin == Origin::Request
                                ? !position->hasBegun && entry.time - exchange.end > kMaxRefusal
                                : position->stage != Stage::Begun && position->stage != Stage::Sent;
        const auto next = std::next(position);
        if (isOver || entry.time - exchange.end > kMaxSilence) {
            close(position);
        }
        position = next;
    }
}

/// The exchange that passes the test and was touched last; null when there is none.
template <typename Test>
ExchangeBuilder::Open* ExchangeBuilder::choose(Test test) {
    const auto found = std::find_if(m_open.rbegin(), m_open.rend(), test);
    if (found == m_open.rend()) {
        return nullptr;
    }
    const bool isOnlyOne = std::find_if(std::next(found), m_open.rend(), test) == m_open.rend();
    if (found != m_open.rbegin()) {
        for (auto later = m_open.rbegin(); later != std::next(found); ++later) {
            later->exchange.isInterleaved = true;
        }
    }
    if (!isOnlyOne && found->exchange.isInterleaved) {
        for (auto other = std::next(found); other != m_open.rend(); ++other) {
            other->exchange.isInterleaved = other->exchange.isInterleaved || test(*other);
        }
    }
    m_open.splice(m_open.end(), m_open, std::next(found).base());
    return &m_open.back();
}

void ExchangeBuilder::touch(Open& chosen, const Entry& entry) {
    chosen.hasBegun = true;
    chosen.exchange.end = std::max(chosen.exchange.end, entry.time);
}

void ExchangeBuilder::addRequest(const Entry& entry, std::string_view json) {
    const std::string code = rootMember(json, "transCode").value_or("");
    Open& fresh = open(entry, Origin::Request, findCode(code));
    fresh.exchange.code = code;
    fresh.exchange.request = json;
    fresh.isWholeRequest = json.data() + json.size() < entry.text.data() + entry.text.size();
}

void ExchangeBuilder::addResponse(const Entry& entry, std::string_view json) {
    const std::string code = rootMember(json, "transCode").value_or("");
    Open* chosen = choose([&](const Open& open) {
        const bool hasMemberBegun = open.hasBegun && !open.isRefused;
        return open.exchange.origin == Origin::Request &&
               (code.empty() ? !hasMemberBegun : open.exchange.code == code && !open.isRefused);
    });
    if (chosen == nullptr) {
        chosen = &open(entry, Origin::Request, findCode(code));
        chosen->exchange.code = code;
        chosen->exchange.lacksBeginning = true;
    }
    touch(*chosen, entry);
    chosen->exchange.response = json;
    chosen->exchange.result = resultOf(entry.text);
    close(std::prev(m_open.end()));
}

void ExchangeBuilder::addBegin(const Entry& entry, std::string_view name) {
    const Transaction* member = findMember(name);
    Open* chosen = member == nullptr || member->code.empty() ? nullptr : choose([&](const Open& open) {
        return open.exchange.origin == Origin::Request && !open.hasBegun && !open.exchange.lacksBeginning &&
               (open.exchange.member == member || open.exchange.code.empty());
    });
    if (chosen == nullptr) {
        const bool isHandler = member != nullptr && member->isHandler;
        chosen = &open(entry, isHandler ? Origin::Terminal : Origin::Direct, member);
        if (member == nullptr) {
            chosen->exchange.notes.push_back("unknown: " + std::string(name));
        }
        if (isHandler && !m_announced.empty()) {
            adoptAnnounced(chosen->exchange);
            chosen->exchange.type = typeOf(chosen->exchange.received);
        }
    }
    chosen->exchange.member = member;
    if (member != nullptr) {
        chosen->exchange.code = member->code;
        chosen->exchange.type = chosen->exchange.type.empty() ? member->type : chosen->exchange.type;
    }
    touch(*chosen, entry);
    if (member != nullptr && member->end == End::Begin) {
        chosen->stage = Stage::Over;
        endDirectCall(*chosen);
    }
}

/// Begins with the message that the terminal has started and that nobody has handled yet.
void ExchangeBuilder::adoptAnnounced(Exchange& exchange) {
    exchange.begin = std::min(m_announcedAt, exchange.begin);
    exchange.received = std::exchange(m_announced, {});
    exchange.messagesReceived = 1;
}

void ExchangeBuilder::addPrepared(const Entry& entry, std::string_view label) {
    const Transaction* byCode = findCode(label);
    const Transaction* member = byCode != nullptr ? byCode : findMember(label);
    Open* chosen =
        choose([&](const Open& open) { return open.exchange.member == member && member != nullptr; });
    if (chosen == nullptr) {
        chosen = &open(entry, byCode != nullptr ? Origin::Request : Origin::Direct, member);
        chosen->exchange.lacksBeginning = byCode != nullptr;
    }
    touch(*chosen, entry);
}

void ExchangeBuilder::addWritten(const Entry& entry, std::string_view message, bool hasFailed) {
    const std::string_view type = typeOf(message);
    const auto belongs = [&](const Open& open) {
        return open.exchange.member != nullptr && open.exchange.member->type == type;
    };
    Open* chosen = choose([&](const Open& open) {
        return belongs(open) && (open.stage == Stage::Begun || open.stage == Stage::NotSent);
    });
    chosen = chosen != nullptr ? chosen : choose(belongs);
    if (chosen == nullptr) {
        const Transaction* member = findType(type);
        const bool isHandler = isTerminalType(type) && type != "9002";
        const bool isRequest = member != nullptr && !member->code.empty();
        chosen = &open(entry,
                       isHandler   ? Origin::Terminal
                       : isRequest ? Origin::Request
                                   : Origin::Direct,
                       member);
        chosen->exchange.type = type;
        chosen->exchange.lacksBeginning = member == nullptr || member->member != "ReceiveInventoryData";
        if (isHandler && typeOf(m_announced) == type) {
            adoptAnnounced(chosen->exchange);
        }
    }
    touch(*chosen, entry);
    Exchange& exchange = chosen->exchange;
    if (exchange.sent.empty()) {
        exchange.sent = message;
    }
    ++(hasFailed ? exchange.failedWrites : exchange.messagesSent);
    chosen->stage = hasFailed ? Stage::NotSent : Stage::Sent;
    const bool isWhole = exchange.origin == Origin::Terminal ||
                         (exchange.member != nullptr && exchange.member->end == End::Written);
    if (isWhole && !hasFailed) {
        chosen->stage = Stage::Over;
    }
    if (isWhole || hasFailed) {
        endDirectCall(*chosen);
    }
}

void ExchangeBuilder::addRead(const Entry& entry, std::string_view message) {
    const std::string_view type = typeOf(message);
    const auto isWaiting = [](const Open& open) {
        return (open.stage == Stage::Sent || open.stage == Stage::Silent) &&
               open.exchange.origin != Origin::Terminal;
    };
    Open* chosen = message.empty() ? nullptr : choose([&](const Open& open) {
        return isWaiting(open) && open.exchange.type == type;
    });
    chosen = chosen != nullptr ? chosen : choose(isWaiting);
    if (chosen == nullptr) {
        if (!message.empty()) {
            m_announced = message;
            m_announcedAt = entry.time;
        }
        return;
    }
    touch(*chosen, entry);
    Exchange& exchange = chosen->exchange;
    if (message.empty()) {
        ++exchange.timeouts;
        chosen->stage = Stage::Silent;
        endDirectCall(*chosen);
        return;
    }
    ++exchange.messagesReceived;
    const bool isReply = exchange.type == type && isUsableReply(message);
    chosen->stage = isReply ? Stage::Replied : Stage::Silent;
    if (isReply) {
        exchange.received = message;
        endDirectCall(*chosen);
    }
}

void ExchangeBuilder::addWrongMessage(const Entry& entry) {
    constexpr std::string_view kTail = "--Delete";
    const bool isComplete = entry.text.size() > kTail.size() &&
                            entry.text.compare(entry.text.size() - kTail.size(), kTail.size(), kTail) == 0;
    Open* chosen = choose([&](const Open& open) {
        return open.exchange.origin == Origin::Terminal ||
               (isComplete && open.stage != Stage::Begun && open.exchange.messagesReceived > 0);
    });
    if (chosen == nullptr) {
        return;
    }
    touch(*chosen, entry);
    if (isComplete) {
        ++chosen->exchange.wrongMessages;
        chosen->exchange.notes.emplace_back("a message of another type was dropped");
        endDirectCall(*chosen);
    }
}

void ExchangeBuilder::addOther(const Entry& entry) {
    if (const std::string_view name = begunMember(entry.text); !name.empty()) {
        addBegin(entry, name);
        return;
    }
    if (entry.level == Level::Warning && addLateWarning(entry)) {
        return;
    }
    const bool isRefusal = startsWith(entry.text, "info msg:");
    Open* chosen = choose([&](const Open& open) {
        return !isRefusal || (open.exchange.origin == Origin::Request && !open.hasBegun);
    });
    if (chosen == nullptr || startsWith(entry.text, "Vid/Pid: ")) {
        return;
    }
    if (isNoteworthy(entry)) {
        chosen->exchange.notes.push_back(entry.text);
    }
    chosen->exchange.end = std::max(chosen->exchange.end, entry.time);
    chosen->isRefused = chosen->isRefused || isRefusal;
    chosen->hasBegun = chosen->hasBegun || isRefusal;
    addEnding(entry, *chosen);
}

/// What the library says right after the line with which a direct call has ended.
bool ExchangeBuilder::addLateWarning(const Entry& entry) {
    if (!m_hasJustEnded || m_finished.empty() || entry.time - m_finished.back().end > kMaxRefusal) {
        return false;
    }
    m_finished.back().notes.push_back(entry.text);
    return true;
}

/// Lines that tell what comes of an exchange.
void ExchangeBuilder::addEnding(const Entry& entry, Open& chosen) {
    if (startsWith(entry.text, "hid device is not open")) {
        chosen.stage = Stage::NotSent;
        endDirectCall(chosen);
    } else if (entry.text == "user login info") {
        chosen.stage = Stage::Over;
        endDirectCall(chosen);
    } else if (startsWith(entry.text, "pda return crc error")) {
        chosen.stage = Stage::Silent; // the reply counts for nothing
    } else if (const std::optional<Outcome> told = toldOutcome(entry.text); told) {
        chosen.exchange.told = *told;
    }
}

/// A member called directly leaves no line at its end: the log's last line of it has to do.
void ExchangeBuilder::endDirectCall(Open& chosen) {
    const Exchange& exchange = chosen.exchange;
    const bool maySayMore =
        exchange.origin == Origin::Request || exchange.member == nullptr || exchange.member->end == End::Next;
    if (!maySayMore) {
        const auto position =
            std::find_if(m_open.begin(), m_open.end(), [&](const Open& open) { return &open == &chosen; });
        close(position);
        m_hasJustEnded = true;
    }
}

std::vector<Exchange> exchangesOf(const std::vector<Entry>& entries) {
    ExchangeBuilder builder;
    for (const Entry& entry : entries) {
        builder.add(entry);
    }
    builder.closeAll();
    std::vector<Exchange> exchanges = builder.takeFinished();
    putInOrder(exchanges);
    return exchanges;
}

} // namespace pdactl::log
