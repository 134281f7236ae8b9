#include "Session.h"

#include "FailingMemory.h"
#include "Surroundings.h"

#include "analysis/PDAXMLAnalysis.h"
#include "device/HIDDevice.h"
#include "interface/pdalink.h"
#include "tests/analysis/Tag.h"
#include "util/LockConfig.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <array>
#include <random>
#include <utility>

using namespace std::chrono_literals;
using pdalink::test::node;
namespace virtual_time = pdalink::test::virtual_time;

namespace {

/// Bytes for a response, and for an output: it may hold more than its own message, left over from a file.
constexpr std::size_t kResponseRoom = std::size_t{128} * 1024;
std::size_t roomFor(const Step& step) {
    return step.fault == "toolong" ? 32000 : 16000;
}

const Family kFileFamily{0, 2, 1, 0};

const Row& rowOfFile(const std::string& member) {
    using Analysis = CPDAXMLAnalysis;
    static const Row sending{"ReadFileDataToPDA",
                             "600015",
                             "8015",
                             &kFileFamily,
                             calling(&Analysis::ReadFileDataToPDA),
                             {{"pdaNumber", "Ex_PdaSn", "7"},
                              {"pCmdEx", "Ex_CmdEx", 1},
                              {"pInfoEx", "Ex_InfoEx", "i"},
                              {"pFilePath", "", "0123456789"}},
                             {{"Ex_RetCode", "pRetCode", Kind::Copied, {}}}};
    static const Row fetching{
        "ReceiveDataSaveToFile",
        "600016",
        "8016",
        &kFileFamily,
        calling(&Analysis::ReceiveDataSaveToFile),
        {{"pdaNumber", "Ex_PdaSn", "7"}, {"pCmdEx", "Ex_CmdEx", 1}, {"pInfEx", "Ex_InfEx", "i"}},
        {{"Ex_HexVal", "pFilePath", Kind::Copied, {}}, {"Ex_RetCode", "pRetCode", Kind::Copied, {}}}};
    return member == sending.member ? sending : fetching;
}

std::string drawText(std::minstd_rand& random, const Step& step) {
    if (step.fault == "toolong") {
        std::string text;
        text.assign(static_cast<std::size_t>(step.amount), 'x');
        return text;
    }
    static const std::vector<std::string> texts{"",         "0", "00000007", "T-42",   "B01;B02;",
                                                "袋号；12", "é", "LOCK-1",   "no lock"};
    return texts[random() % texts.size()];
}

/// Of the files that the terminal offers one is short, one has two packets and one is not there.
std::vector<Value> drawInputs(const Row& row, const Step& step) {
    static constexpr int lengths[] = {0, 9, 10, 11, 2999, 3000, 3001, 6000, 9001, 15001};
    std::minstd_rand random(step.seed);
    std::vector<Value> inputs;
    for (const Input& input : row.inputs) {
        const bool isNumber = std::holds_alternative<int>(input.sample);
        const bool isFile = input.key == "pCmdEx";
        if (step.seed == 0) {
            const bool isTooLong = step.fault == "toolong" && !isNumber;
            inputs.push_back(isTooLong ? Value(drawText(random, step)) : input.sample);
            continue;
        }
        const int number = static_cast<int>(random() % 5) - 1;
        if (isNumber) {
            inputs.emplace_back(isFile ? 1 + (number + 1) % 3 : number * 715827882);
        } else if (input.key == "pFilePath") {
            inputs.emplace_back(
                std::string(static_cast<std::size_t>(lengths[random() % std::size(lengths)]), 'f'));
        } else {
            inputs.emplace_back(random() % 2 == 0 ? std::get<std::string>(input.sample)
                                                  : drawText(random, step));
        }
    }
    return inputs;
}

/// Lists for the opening of locks. Returns what the message says of them.
std::string drawOpening(std::vector<Value>& inputs, std::uint32_t seed) {
    std::minstd_rand random(seed);
    const auto count = random() % 4;
    std::vector<std::string> lists(6);
    std::string groups;
    for (unsigned int i = 0; i < count; ++i) {
        const std::string action = random() % 2 == 0 ? "00" : "01";
        const std::string values[] = {
            "", "LOCK-" + std::to_string(1 + random() % 3), action, "11" + std::to_string(i), "a", "王"};
        groups += "<LockList>" + tag("Ex_LockId", values[1]) + tag("Ex_Action", action) +
                  tag("Ex_OTCCode", action == "00" ? values[3] : "") + tag("Ex_UserA", values[4]) +
                  tag("Ex_UserB", values[5]) + "</LockList>";
        for (std::size_t list = 1; list < lists.size(); ++list) {
            lists[list] += values[list] + ";";
        }
    }
    lists[0] = std::to_string(count);
    std::copy(lists.begin(), lists.end(), inputs.begin());
    return groups;
}

std::string jsonOf(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

QJsonValue jsonOf(const Value& value) {
    const int* const number = std::get_if<int>(&value);
    return number != nullptr ? QJsonValue(*number)
                             : QJsonValue(QString::fromStdString(std::get<std::string>(value)));
}

std::string requestOf(const Row& row, const std::vector<Value>& inputs) {
    QJsonObject request{{"transCode", row.code.c_str()}};
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        request.insert(row.inputs[i].key.c_str(), jsonOf(inputs[i]));
    }
    return jsonOf(request);
}

std::string responseOf(const Row& row, const std::vector<std::string>& outputs) {
    QJsonObject response{{"transCode", row.code.c_str()}};
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        const QString text = QString::fromUtf8(outputs[i].c_str()); // up to its NUL
        const Output& output = row.outputs[i];
        response.insert(output.key.c_str(), output.isNumber() ? QJsonValue(text.toInt()) : QJsonValue(text));
    }
    return jsonOf(response);
}

/// Has the library meet the step's fault of memory, and nothing else.
template <typename Call>
auto meeting(const Step& step, const Call& call) {
    Surroundings::takeMemory(step, 0);
    auto result = call();
    pdalink::test::refuseMemory(nullptr);
    return result;
}

/// The response is the only output.
Answer callInJson(const Step& step, const Row& row, const std::vector<Value>& inputs) {
    const std::string request = requestOf(row, inputs);
    static std::array<char, kResponseRoom> response; // filling it anew would take as long as some calls
    int length = 0;
    const int result = meeting(step, [&] {
        return CPDAXMLAnalysis().PDA_CommonCall(request.c_str(), static_cast<int>(request.size()),
                                                response.data(), &length);
    });
    return {result, {std::string(response.data(), static_cast<std::size_t>(length))}};
}

Answer callDirectly(const Step& step, const Row& row, const std::vector<Value>& inputs, std::size_t room) {
    Arguments arguments(row, room);
    arguments.inputs() = inputs;
    CPDAXMLAnalysis analyser;
    const int result = meeting(step, [&] { return row.call(analyser, arguments); });
    return {result, arguments.written()};
}

/// Of outputs that are those of the call: that is checked.
Outcome outcomeOf(const Row& row, const std::string& result, const std::vector<std::string>& outputs) {
    Outcome outcome;
    std::string code;
    std::string others;
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        const std::string& tag = row.outputs[i].tag;
        const bool isCode = tag == "Ex_RetCode" || row.noData == static_cast<int>(i);
        const bool isNewEachTime = tag == "Ex_SrcSeqNo" || tag == "Ex_Tid";
        const std::string text = outputs[i].substr(0, outputs[i].find('\0'));
        (isCode ? code : others) += isNewEachTime && !text.empty() ? "new" : text;
    }
    const std::string shown = !code.empty()                                        ? code
                              : others.find_first_not_of('0') != std::string::npos ? "values"
                                                                                   : "empty";
    const std::string all = row.outputs.empty() ? result : result + (result.empty() ? "" : " ") + shown;
    std::snprintf(outcome.shown.data(), outcome.shown.size(), "%s", all.c_str());
    outcome.values = std::hash<std::string>{}(others);
    return outcome;
}

void pass(Time time) {
    virtual_time::waitUntil(virtual_time::now() + time, nullptr);
}

} // namespace

void Session::run(const Step& step) {
    const Time latest = virtual_time::now() + 1h;
    virtual_time::reseed(step.seed);
    virtual_time::abortAfter(latest);
    m_device.take(step);
    if (step.action == "plug") {
        node().plug();
    } else if (step.action == "unplug") {
        m_device.unplug();
    } else {
        const Surroundings surroundings(step);
        call(step);
        // What a fault may have torn is seen when the next line follows it. Reading the log after each call
        // would take longer than the call.
        const bool wereHit = std::exchange(m_wereHit, surroundings.areHit());
        if (wereHit || m_wereHit || step.seed == 0) {
            m_outcome.loggedLines = surroundings.loggedLines();
        }
    }
    pass(1ms);
    m_model.passToNow();
    m_model.checkState();
    pass(std::chrono::milliseconds(step.gap));
    m_model.passToNow();
    if (step.gap >= 50 && !m_model.isRunning() && m_device.isQuiet() && step.fault != "slowopen") {
        expectEqual<int>("whether the node is still open", node().isOpen(), false);
        expectEqual("g_fd", g_fd.load(), -1);
    }
}

bool Session::mustWork(const Step& step) const {
    const std::string& fault = step.fault;
    const bool isHarmless = fault == "none" || fault == "diskfull" || fault == "nologs" ||
                            fault == "rotation" || (fault == "noini" && !g_Vid.isEmpty());
    return isHarmless && m_device.isQuiet() && node().isPlugged() && !m_model.isFlagUp() &&
           !(m_model.isRunning() && node().isHungUp());
}

void Session::call(const Step& step) {
    m_model.begin(step);
    if (step.fault == "openerror" || step.fault == "slowopen") {
        g_hidRun = false; // so that it is opened
        m_model.stop();
    }
    if (step.fault == "message") {
        m_device.announce(pdasim::userNotice("nobody"), std::chrono::milliseconds(step.amount));
    }
    for (const Handler& handler : allHandlers()) {
        if (handler.member == step.action) {
            return handOver(step, handler);
        }
    }
    if (step.action == "GetRandomNumber" || step.action == "GetLoginData") {
        return readStore(step.action);
    }
    const bool isFile = step.action == "ReadFileDataToPDA" || step.action == "ReceiveDataSaveToFile";
    const Row& row = isFile ? rowOfFile(step.action) : rowOf(step.action);
    std::vector<Value> inputs = drawInputs(row, step);
    const std::string groups = step.action == "ReqOpenLock" ? drawOpening(inputs, step.seed) : "";
    checkAnswer(step, row, inputs, groups);
}

void Session::checkAnswer(const Step& step, const Row& row, const std::vector<Value>& inputs,
                          const std::string& groups) {
    const bool works = mustWork(step);
    const bool isJson = step.json != 0 && !row.code.empty();
    const bool hasNoMemory = isJson && m_model.isOutOfMemory();
    const auto [result, outputs] =
        isJson ? callInJson(step, row, inputs) : callDirectly(step, row, inputs, roomFor(step));
    Answer expected = hasNoMemory          ? Answer{1, Arguments::untouched(row)}
                      : row.type == "8015" ? m_model.sendFile(row, inputs)
                      : row.type == "8016" ? m_model.fetchFile(row, inputs)
                                           : m_model.exchange(row, inputs, groups);
    m_model.checkEnd();
    m_outcome = outcomeOf(row, isJson ? "" : std::to_string(result), expected.outputs);
    if (isJson && m_model.isOutOfMemory()) { // for the response neither
        m_outcome.shown = {"untouched"};
        expected = {1, {""}};
    } else if (isJson) {
        expected.outputs = {responseOf(row, expected.outputs)};
    }
    expectEqual("result", result, expected.result);
    m_device.addToHash(result);
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        expectEqual(isJson ? "response" : "output " + row.outputs[i].tag, outputs[i], expected.outputs[i]);
        m_device.addToHash(outputs[i]);
    }
    if (works && result != row.family->replied && result != 5) {
        throw Mismatch("nothing has gone wrong, but the result is " + std::to_string(result));
    }
}

/// A message that the terminal starts: the host takes it and hands it over.
void Session::handOver(const Step& step, const Handler& handler) {
    std::minstd_rand random(step.seed);
    pdasim::Announcement announcement = handler.announcement();
    for (const char* name : handler.tags) {
        announcement.with(name, step.seed == 0 ? "value" : drawText(random, Step()));
    }
    const bool works = mustWork(step) && m_model.isRunning();
    m_device.announce(announcement, 0ms);
    m_outcome = {{"nothing"}};
    if (step.fault == "untaken") {
        return pass(200ms);
    }
    std::string text = meeting(step, [] { return g_HIDDevice.getBuffer(); }).toStdString();
    expectEqual("what was received", text, m_model.take());
    m_model.checkEnd();
    m_device.addToHash(text);
    if (works && text.empty()) {
        throw Mismatch("nothing has gone wrong, but nothing was received");
    }
    if (!text.empty()) {
        const int result = meeting(step, [&] { return (CPDAXMLAnalysis().*handler.receive)(text.data()); });
        expectEqual("result", result, m_model.handle(handler, text));
        m_model.checkEnd();
        const auto length = static_cast<std::size_t>(QString::fromStdString(text).size());
        const auto stored = std::count_if(handler.tags.begin(), handler.tags.end(), [&](const char* name) {
            return !valueIn(text, name, length).empty();
        });
        const bool isAll = static_cast<std::size_t>(stored) == handler.tags.size();
        std::snprintf(m_outcome.shown.data(), m_outcome.shown.size(), "%d %s", result,
                      isAll        ? "all"
                      : stored > 0 ? "some"
                                   : "none");
    }
}

/// The members that only hand out what was stored.
void Session::readStore(const std::string& member) {
    const bool isLogin = member == "GetLoginData";
    std::array<std::string, 7> out;
    out.fill(std::string(32000, '\0'));
    CPDAXMLAnalysis analyser;
    if (isLogin) {
        analyser.GetLoginData(out[0].data(), out[1].data(), out[2].data(), out[3].data(), out[4].data(),
                              out[5].data(), out[6].data());
        m_model.openIfClosed();
    } else {
        analyser.GetRandomNumber(out[0].data(), out[1].data());
    }
    m_model.checkEnd();
    std::vector<std::string>& kept = m_model.store(isLogin ? pda_LoginData : pda_RandomNumber);
    kept.resize(std::max(kept.size(), out.size()));
    for (std::size_t i = 0; i < (isLogin ? 7 : 2); ++i) {
        const auto characters = static_cast<std::size_t>(QString::fromStdString(kept[i]).size());
        expectEqual("stored value", out[i].substr(0, out[i].find('\0')), kept[i].substr(0, characters));
    }
    if (isLogin) {
        kept.clear();
    }
}
