#include "Model.h"

#include "device/HIDDevice.h"
#include "tests/analysis/Tag.h"

#include <QString>
#include <algorithm>
#include <array>
#include <ctime>

using namespace std::chrono_literals;
namespace virtual_time = pdalink::test::virtual_time;

namespace {

constexpr Time kReadPause = 45ms;

std::string textOf(const Value& value) {
    const int* const number = std::get_if<int>(&value);
    return number != nullptr ? std::to_string(*number) : std::get<std::string>(value);
}

std::string typeIn(const std::string& text) {
    return QString::fromUtf8(text.c_str()).mid(6, 4).toStdString();
}

std::string timeStamp(Time time) {
    timespec wall{};
    clock_gettime(CLOCK_REALTIME, &wall);
    const std::time_t then = wall.tv_sec - (virtual_time::now() / 1s - time / 1s);
    tm parts{};
    gmtime_r(&then, &parts);
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y%m%d%H%M%S", &parts)};
}

std::vector<Field> fieldsIn(const Row& row, const std::string& text) {
    std::vector<Field> fields{{"Ex_RetCode", valueIn(text, "Ex_RetCode")}};
    for (const Output& output : row.outputs) {
        fields.emplace_back(output.tag, valueIn(text, output.tag));
    }
    return fields;
}

/// Of each entry of a list of locks as much is dropped at the beginning as "<LockList>" is long, whatever is
/// there.
ReplyFields fieldsOf(const Row& row, const std::string& text) {
    const std::string end = "</LockList>";
    ReplyFields reply{fieldsIn(row, text), {}};
    std::size_t begin = 0;
    for (std::size_t found = text.find(end); found != std::string::npos; found = text.find(end, begin)) {
        const QString entry = QString::fromStdString(text.substr(begin, found - begin));
        if (!entry.isEmpty()) {
            reply.entries.push_back(fieldsIn(row, entry.mid(10).toStdString()));
        }
        begin = found + end.size();
    }
    return reply;
}

/// What is there after a shorter text was copied over its beginning.
void copyOver(std::string& text, const std::string& bytes) {
    text.replace(0, bytes.size(), bytes);
}

} // namespace

std::string valueIn(const std::string& text, const std::string& tag, std::size_t limit) {
    const std::size_t opening = text.find("<" + tag + ">");
    const std::size_t closing = text.find("</" + tag + ">");
    const std::size_t begin = opening + tag.size() + 2;
    const bool exists = opening != std::string::npos && closing < limit && closing >= begin;
    return exists ? text.substr(begin, closing - begin) : "";
}

void Model::begin(const Step& step) {
    m_time = virtual_time::now();
    m_writesLeft = step.fault == "nomemory" ? step.amount - 1 : -1;
    m_isDropping = step.fault == "nomemory" && step.amount <= 1;
}

void Model::apply(const Event& event) {
    if (event.kind == Event::Opened) {
        m_isRunning = event.result == 0;
        m_readFailedUntil = Time(0);
    } else if (m_isRunning && event.result <= 0) {
        const bool isResting = event.at < m_readFailedUntil; // after an earlier error
        m_readFailedUntil = isResting ? m_readFailedUntil : event.at + kReadPause;
    } else if (m_isRunning && !m_isDropping) {
        m_buffer += event.bytes;
        m_isFlagUp = true;
    }
}

/// Up to a write, which is looked at when the model sends.
void Model::passUntil(Time time) {
    std::deque<Event>& events = m_device.events();
    while (!events.empty() && events.front().kind != Event::Wrote && events.front().at <= time &&
           (events.front().kind == Event::Opened || m_readFailedUntil <= time)) {
        apply(events.front());
        events.pop_front();
    }
    m_time = time;
}

void Model::passToNow() {
    m_isDropping = false;
    passUntil(virtual_time::now());
}

std::string Model::take() {
    for (int poll = 0; poll < 490; ++poll) {
        passUntil(m_time + 10ms);
        if (m_isFlagUp) {
            passUntil(m_time + 100ms);
            break;
        }
    }
    if (isOutOfMemory() && !m_buffer.empty()) { // it can be taken later
        return "";
    }
    m_isFlagUp = false;
    return QString::fromStdString(std::exchange(m_buffer, {})).toStdString(); // what is not text is replaced
}

std::string Model::message(const std::string& type, const std::string& body, bool isBytes) {
    std::string number = std::to_string(++m_sequence);
    number.insert(0, number.size() < 4 ? 4 - number.size() : 0, '0');
    const std::string rest = type + "QEV   " + std::string(24, '0') + std::string(8, ' ') + "05" +
                             tag("Ex_TrTime", timeStamp(m_time)) + tag("Ex_SeqNo", number) + body;
    const std::size_t size =
        isBytes ? rest.size() : static_cast<std::size_t>(QString::fromStdString(rest).size());
    const std::string length = std::to_string(size + 6);
    return std::string(6 - length.size(), '0') + length + rest;
}

/// The second that opening takes, and up to 50 ms more for an earlier receiver's end.
void Model::openIfClosed() {
    if (m_isRunning) {
        return;
    }
    const std::deque<Event>& events = m_device.events();
    const auto wrote = std::find_if(events.begin(), events.end(),
                                    [](const Event& event) { return event.kind == Event::Wrote; });
    const Time end = wrote != events.end() ? wrote->at : virtual_time::now();
    if (end < m_time + 1000ms || end > m_time + 1050ms) {
        throw Mismatch("opening took " + std::to_string((end - m_time) / 1ms) + " ms");
    }
    passUntil(end - 1us); // the sender that opens a closed node does so in the end
    m_time = end;
}

bool Model::send(const std::string& type, const std::string& body, bool isBytes) {
    if (isOutOfMemory()) {
        m_sequence += m_SeqNo != m_sequence ? 1 : 0; // a number may be used up
        return false;
    }
    const std::string expected = message(type, body, isBytes);
    m_taskFlag = 1;
    openIfClosed();
    m_buffer.clear();
    std::deque<Event>& events = m_device.events();
    if (!m_isRunning && isBytes) { // this sender opens the node, and writes whether or not it is open yet
        m_mayRun = true;
        passUntil(m_time);
        m_isRunning = m_isRunning && !events.empty();
    }
    if (!m_isRunning) {
        return false;
    }
    if (events.empty() || events.front().kind != Event::Wrote) {
        throw Mismatch("nothing was written instead of " + expected);
    }
    const Event wrote = events.front();
    events.pop_front();
    expectEqual("time of the write, in ms", wrote.at / 1ms, m_time / 1ms);
    if (!wrote.bytes.empty()) { // the device has seen it
        expectEqual("message", wrote.bytes, expected);
    }
    m_isRunning = wrote.result >= 0;
    m_isFlagUp = m_isFlagUp && m_knowsShortening;
    m_writesLeft -= wrote.bytes.empty() ? 0 : 1;
    return wrote.result == static_cast<long>(expected.size()) && !isOutOfMemory();
}

/// The result of a call whose message was not sent, or that has no memory since.
int Model::notSent(int noMemory) {
    m_taskFlag = isOutOfMemory() && noMemory == 1 ? char(0) : m_taskFlag;
    return isOutOfMemory() ? noMemory : -1;
}

Answer Model::exchange(const Row& row, const std::vector<Value>& inputs, const std::string& groups) {
    if (!send(row.type, bodyOf(row, inputs) + groups, row.isBytes)) {
        return {notSent(row.family->noMemory), Arguments::untouched(row)};
    }
    std::string text;
    for (int wait = 0; wait < row.waits && text.empty(); ++wait) {
        text = take();
    }
    m_taskFlag = row.family->flagAtEnd;
    if (row.waits == 0) {
        return {row.family->replied, {}};
    }
    if (typeIn(text) != row.type) {
        return {row.family->notReplied, outputsWithoutReply(row)};
    }
    const ReplyFields reply = fieldsOf(row, text);
    keep(row, reply);
    return {row.family->replied, outputsOf(row, reply)};
}

void Model::keep(const Row& row, const ReplyFields& reply) {
    if (row.member == "StartScan") {
        m_states[&pda_ScanState] = reply.value("Ex_RetCode") == "000000";
        store(pda_ScanLabel).clear();
    } else if (row.member == "GetScanLabelList") {
        m_states[&pda_ScanState] = reply.value("Ex_ScanState") == "1";
    } else if (row.member == "GetHandoverDotRet") {
        m_states[&pda_HandoverDotState] = reply.value("Ex_State") != "0";
    } else if (row.member == "GetHandoverPowerRet") {
        m_states[&pda_HandoverPowerState] = reply.value("Ex_State") != "0";
    }
}

Answer Model::sendFile(const Row& row, const std::vector<Value>& inputs) {
    constexpr std::size_t size = pdasim::kPacketSize;
    const std::string data = textOf(inputs[3]);
    Answer answer{isOutOfMemory() ? row.family->noMemory : 5, Arguments::untouched(row)};
    m_taskFlag = 0;
    const std::size_t packets = data.size() < 10 ? 0 : (data.size() + size - 1) / size;
    std::size_t current = 0;
    int refusals = 0;
    for (std::size_t pass = 0; pass < packets; ++pass) {
        const std::string packet = data.substr(current * size, size);
        if (!send(row.type, bodyOf(row, inputs) + tag("Ex_TotalPkt", std::to_string(packets)) +
                                tag("Ex_CurPkt", std::to_string(current)) + tag("Ex_HexVal", packet) +
                                tag("Ex_HexCheck", pdasim::hexCheck(packet)))) {
            return {notSent(row.family->noMemory), answer.outputs};
        }
        const std::string text = take();
        m_taskFlag = 0;
        if (typeIn(text) != row.type) {
            copyOver(answer.outputs[0], "000060");
            return {2, answer.outputs};
        }
        const std::string code = valueIn(text, "Ex_RetCode");
        refusals = code == "000000" ? 0 : refusals + 1;
        current = code == "000000" ? current + 1 : current - (current > 0 ? 1 : 0);
        if (refusals > 2) {
            return {6, answer.outputs};
        }
        copyOver(answer.outputs[0], code);
        answer.result = 0;
    }
    return answer;
}

namespace {

/// The packets of a file that have come so far.
struct Packets {
    std::map<int, std::string> texts;
    int next = 0;
    int idle = 0; ///< replies in a row that brought nothing new

    /// What a reply brings. Returns whether it was a packet.
    bool take(const std::string& text) {
        next = pdasim::leadingNumber(valueIn(text, "Ex_CurPkt"));
        const std::string packet = valueIn(text, "Ex_HexVal");
        const bool isGood = valueIn(text, "Ex_HexCheck") == pdasim::hexCheck(packet);
        idle = isGood && texts.count(next) == 0 ? 0 : idle + 1;
        if (isGood) {
            texts[next++] = packet;
        }
        return isGood;
    }
    std::string joined() const {
        std::string all;
        std::for_each(texts.begin(), texts.end(), [&](const auto& each) { all += each.second; });
        return all;
    }
};

} // namespace

Answer Model::fetchFile(const Row& row, const std::vector<Value>& inputs) {
    const std::vector<std::string> untouched = Arguments::untouched(row);
    Packets packets;
    int budget = 3;
    for (int attempts = 1; attempts <= 3 && packets.idle < 100; ++attempts) {
        if (!send(row.type, bodyOf(row, inputs) + tag("Ex_CurPkt", std::to_string(packets.next)))) {
            return {notSent(row.family->noMemory), untouched};
        }
        std::string text;
        for (; budget > 0 && text.empty(); budget -= text.empty() ? 1 : 0) {
            text = take();
        }
        if (typeIn(text) != row.type) {
            continue;
        }
        const std::string code = valueIn(text, "Ex_RetCode");
        const bool isPacket = code == "000000" && packets.take(text);
        if (code != "000000" ||
            (isPacket && packets.next == pdasim::leadingNumber(valueIn(text, "Ex_TotalPkt")))) {
            m_taskFlag = 0;
            return {0, {code == "000000" ? packets.joined() : "", code}};
        }
        m_taskFlag = isPacket ? char(0) : m_taskFlag;
        attempts = isPacket ? 0 : std::min(attempts, 2); // a wrong check alone ends nothing
    }
    m_taskFlag = 0;
    return {2, untouched};
}

/// The fields count as far as the message's length in characters reaches into its bytes.
int Model::handle(const Handler& handler, const std::string& text) {
    const auto length = static_cast<std::size_t>(QString::fromStdString(text).size());
    std::vector<std::string>& kept = store(handler.store);
    std::size_t first = 0;
    if (handler.store == pda_ScanLabel) { // the first free pair
        while (first < kept.size() && !kept[first].empty()) {
            first += 2;
        }
    }
    kept.resize(std::max(kept.size(), first + handler.tags.size()));
    for (std::size_t i = 0; i < handler.tags.size(); ++i) {
        kept[first + i] = valueIn(text, handler.tags[i], length);
    }
    if (handler.lowered != nullptr) {
        m_states[handler.lowered] = false;
    }
    m_buffer.clear();
    if (handler.acknowledgementType != nullptr &&
        !send(handler.acknowledgementType, handler.acknowledgement)) {
        return notSent(1);
    }
    m_taskFlag = 0;
    return 0;
}

/// Slots that are not there are empty.
std::vector<std::string>& Model::store(const QString* kept) {
    m_changedStores.push_back(kept);
    return m_stores[kept];
}

void Model::checkEnd() const {
    expectEqual("end of the call, in us", virtual_time::now() / 1us, m_time / 1us);
    const std::deque<Event>& events = m_device.events();
    if (!events.empty() && events.front().kind == Event::Wrote) {
        throw Mismatch("one message too many: " + events.front().bytes);
    }
}

void Model::checkState() {
    using pdalink::test::node;
    m_isRunning = std::exchange(m_mayRun, false) ? g_hidRun.load() : m_isRunning;
    expectEqual<int>("g_hidRun", g_hidRun, m_isRunning);
    expectEqual<int>("g_isBufferCome", g_isBufferCome, m_isFlagUp);
    expectEqual<int>("m_PerformTasksYN", m_PerformTasksYN, m_taskFlag);
    expectEqual("m_SeqNo", m_SeqNo, m_sequence);
    expectEqual<int>("whether g_fd and the node are open", !m_isRunning || (g_fd >= 0 && node().isOpen()),
                     true);
    for (const auto& [state, expected] : m_states) {
        expectEqual<int>("a state flag", *state, expected);
    }
    for (const Handler& handler : allHandlers()) {
        const auto& changed = m_changedStores;
        if (std::find(changed.begin(), changed.end(), handler.store) == changed.end()) {
            continue;
        }
        std::vector<std::string>& kept = m_stores[handler.store];
        kept.resize(handler.storeSize);
        for (std::size_t i = 0; i < kept.size(); ++i) {
            if (!handler.store[i].isEmpty() || !kept[i].empty()) {
                expectEqual(std::string("a store of ") + handler.member, handler.store[i].toStdString(),
                            kept[i]);
            }
        }
    }
    m_changedStores.clear();
    const std::vector<std::string> violations = m_device.terminal().takeViolations();
    if (!violations.empty()) {
        throw Mismatch("the terminal complains: " + violations.front());
    }
}
