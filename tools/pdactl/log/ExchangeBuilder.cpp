#include "log/Exchange.h"

#include "Text.h"
#include "log/JsonScan.h"
#include "log/Traffic.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <utility>

namespace pdactl::log {

namespace {

constexpr Time kMaxSilence = 70000;  // ms; a step that waits for whole replies takes up to 65 s
constexpr Time kMaxRefusal = 100;    // ms, in which a request is accepted or not
constexpr std::size_t kMaxOpen = 32; // hosts that share a log

/// A line that tells what comes of an exchange, or why.
struct KnownLine {
    std::string_view beginning;
    bool isNote = false;
    std::optional<Progress> progress = {};
    std::optional<Outcome> told = {};
};

/// The first that fits counts; the last fits everything.
const KnownLine& knownLine(std::string_view text) {
    static const std::array<KnownLine, 12> lines{{
        {"info msg:", true},
        {"sendLen error", true},
        {"hid device is not open", true, Progress::NotSent},
        {"port open fail", true},
        {"openHidDevice port: /"},
        {"openHidDevice port: ", true},
        {"pda return crc error", true, Progress::Silent}, // the reply counts for nothing
        {"user login info", false, Progress::Finished},
        {"file is too short:", true, {}, Outcome::TooShort},
        {"data send error. already send:", true, {}, Outcome::TransferRefused},
        {"file transfer given up: more data", true, {}, Outcome::InternalFailure},
        {"file transfer given up:", true, {}, Outcome::NoReply},
    }};
    static const KnownLine unknown{};
    const auto* const line = std::find_if(
        lines.begin(), lines.end(), [&](const KnownLine& each) { return startsWith(text, each.beginning); });
    return line != lines.end() ? *line : unknown;
}

/// "GetInfo" of "[GetInfo] begin"; empty for any other line.
std::string_view begunMember(std::string_view text) {
    constexpr std::string_view kEnd = "] begin";
    const bool isBegin =
        text.size() > kEnd.size() && text.front() == '[' && text.substr(text.size() - kEnd.size()) == kEnd;
    return isBegin ? text.substr(1, text.size() - kEnd.size() - 1) : std::string_view();
}

/// The number at the end of a response's line.
std::optional<int> resultOf(std::string_view text) {
    constexpr std::string_view kLabel = " ret:";
    const std::size_t found = std::min(text.rfind(kLabel), text.size() - kLabel.size());
    const std::string_view digits = text.substr(found + kLabel.size());
    int result = 0;
    const bool isNumber =
        std::from_chars(digits.data(), digits.data() + digits.size(), result).ec == std::errc();
    return isNumber ? std::optional(result) : std::nullopt;
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
        return addRequest(entry, payload);
    case LineKind::Response:
        return addResponse(entry, payload);
    case LineKind::Prepared:
        return addPrepared(entry);
    case LineKind::Written:
    case LineKind::WriteFailed:
        return addWritten(entry, payload, line.kind == LineKind::WriteFailed);
    case LineKind::Read:
        return addRead(entry, payload);
    case LineKind::WrongMessage:
        return addWrongMessage(entry);
    case LineKind::Other:
        return addOther(entry);
    }
}

void ExchangeBuilder::closeAll() {
    while (!m_open.empty()) {
        close(m_open.begin());
    }
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
    judge(exchange, position->progress, position->isRefused || isNone);
    if (isNone) {
        exchange.notes.emplace_back("the library gave no response: no JSON object with a member transCode");
    }
    m_finished.push_back(std::move(exchange));
    m_open.erase(position);
}

/// Closes what will not go on when something new begins.
void ExchangeBuilder::closeStale(const Entry& entry) {
    for (auto position = m_open.begin(); position != m_open.end();) {
        const Exchange& exchange = position->exchange;
        const bool isOver =
            exchange.origin == Origin::Request
                ? !position->hasBegun && entry.time - exchange.end > kMaxRefusal
                : position->progress != Progress::Begun && position->progress != Progress::Sent;
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
        chosen->progress = Progress::Finished;
        endDirectCall(*chosen);
    }
}

void ExchangeBuilder::addPrepared(const Entry& entry) {
    const std::string_view label = std::string_view(entry.text).substr(0, entry.text.find(' '));
    const bool isCode = findCode(label) != nullptr;
    const Transaction* member = isCode ? findCode(label) : findMember(label);
    Open* chosen =
        choose([&](const Open& open) { return open.exchange.member == member && member != nullptr; });
    if (chosen == nullptr) {
        chosen = &open(entry, isCode ? Origin::Request : Origin::Direct, member);
        chosen->exchange.lacksBeginning = isCode;
    }
    touch(*chosen, entry);
}

void ExchangeBuilder::addWritten(const Entry& entry, std::string_view message, bool hasFailed) {
    const std::string_view type = typeOf(message);
    const auto belongs = [&](const Open& open) {
        return open.exchange.member != nullptr && open.exchange.member->type == type;
    };
    Open* chosen = choose([&](const Open& open) {
        return belongs(open) && (open.progress == Progress::Begun || open.progress == Progress::NotSent);
    });
    chosen = chosen != nullptr ? chosen : choose(belongs);
    chosen = chosen != nullptr ? chosen : &openWritten(entry, type);
    touch(*chosen, entry);
    Exchange& exchange = chosen->exchange;
    if (exchange.sent.empty()) {
        exchange.sent = message;
    }
    ++(hasFailed ? exchange.failedWrites : exchange.messagesSent);
    const bool isLast = exchange.origin == Origin::Terminal ||
                        (exchange.member != nullptr && exchange.member->end == End::Written);
    chosen->progress = hasFailed ? Progress::NotSent : isLast ? Progress::Finished : Progress::Sent;
    if (isLast || hasFailed) {
        endDirectCall(*chosen);
    }
}

/// What begins with its message: an answer to the terminal, or a log.
ExchangeBuilder::Open& ExchangeBuilder::openWritten(const Entry& entry, std::string_view type) {
    const Transaction* member = findType(type);
    const bool isHandler = isTerminalType(type) && type != "9002";
    const bool isRequest = member != nullptr && !member->code.empty();
    const Origin origin = isHandler ? Origin::Terminal : isRequest ? Origin::Request : Origin::Direct;
    Open& fresh = open(entry, origin, member);
    fresh.exchange.type = type;
    fresh.exchange.lacksBeginning = member == nullptr || member->member != "ReceiveInventoryData";
    if (isHandler && typeOf(m_announced) == type) {
        adoptAnnounced(fresh.exchange);
    }
    return fresh;
}

void ExchangeBuilder::addRead(const Entry& entry, std::string_view message) {
    const std::string_view type = typeOf(message);
    const auto isWaiting = [](const Open& open) {
        return (open.progress == Progress::Sent || open.progress == Progress::Silent) &&
               open.exchange.origin != Origin::Terminal;
    };
    Open* chosen = message.empty() ? nullptr : choose([&](const Open& open) {
        return isWaiting(open) && open.exchange.type == type;
    });
    chosen = chosen != nullptr ? chosen : choose(isWaiting);
    if (chosen == nullptr) {
        m_announcedAt = message.empty() ? m_announcedAt : entry.time;
        m_announced = message.empty() ? m_announced : std::string(message);
        return;
    }
    touch(*chosen, entry);
    Exchange& exchange = chosen->exchange;
    const bool isReply = !message.empty() && exchange.type == type && isUsableReply(message);
    ++(message.empty() ? exchange.timeouts : exchange.messagesReceived);
    chosen->progress = isReply ? Progress::Answered : Progress::Silent;
    if (isReply) {
        exchange.received = message;
    }
    if (isReply || message.empty()) {
        endDirectCall(*chosen);
    }
}

void ExchangeBuilder::addWrongMessage(const Entry& entry) {
    constexpr std::string_view kTail = "--Delete";
    const std::size_t tail = entry.text.rfind(kTail);
    const bool isComplete = tail != kNone && tail + kTail.size() == entry.text.size();
    Open* chosen = choose([&](const Open& open) {
        return open.exchange.origin == Origin::Terminal ||
               (isComplete && open.progress != Progress::Begun && open.exchange.messagesReceived > 0);
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
        return addBegin(entry, name);
    }
    const bool isWarning = entry.level == Level::Warning;
    if (isWarning && m_hasJustEnded && !m_finished.empty() &&
        entry.time - m_finished.back().end <= kMaxRefusal) {
        m_finished.back().notes.push_back(entry.text); // of the direct call that the line before has ended
        return;
    }
    const bool isRefusal = startsWith(entry.text, "info msg:");
    Open* chosen = startsWith(entry.text, "Vid/Pid: ") ? nullptr : choose([&](const Open& open) {
        return !isRefusal || (open.exchange.origin == Origin::Request && !open.hasBegun);
    });
    if (chosen == nullptr) {
        return;
    }
    Exchange& exchange = chosen->exchange;
    const KnownLine& line = knownLine(entry.text);
    if (line.isNote || isWarning || entry.level == Level::Error) {
        exchange.notes.push_back(entry.text);
    }
    exchange.end = std::max(exchange.end, entry.time);
    exchange.told = line.told ? line.told : exchange.told;
    chosen->isRefused = chosen->isRefused || isRefusal;
    chosen->hasBegun = chosen->hasBegun || isRefusal;
    chosen->progress = line.progress.value_or(chosen->progress);
    if (line.progress == Progress::NotSent || line.progress == Progress::Finished) {
        endDirectCall(*chosen);
    }
}

/// Begins with the message that the terminal has started and that nobody has handled yet.
void ExchangeBuilder::adoptAnnounced(Exchange& exchange) {
    exchange.begin = std::min(m_announcedAt, exchange.begin);
    exchange.received = std::exchange(m_announced, {});
    exchange.messagesReceived = 1;
}

/// A member called directly leaves no line at its end: the log's last line of it has to do.
void ExchangeBuilder::endDirectCall(Open& chosen) {
    const Exchange& exchange = chosen.exchange;
    const bool maySayMore =
        exchange.origin == Origin::Request || exchange.member == nullptr || exchange.member->end == End::Next;
    if (!maySayMore) {
        close(std::find_if(m_open.begin(), m_open.end(), [&](const Open& open) { return &open == &chosen; }));
        m_hasJustEnded = true;
    }
}

} // namespace pdactl::log
