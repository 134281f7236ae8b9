#include "RowFixture.h"

#include "Documents.h"

namespace {

std::string quoted(const std::string& text) {
    std::string json = "\"";
    for (const char each : text) {
        json += each == '"' || each == '\\' ? std::string("\\") + each : std::string(1, each);
    }
    return json + '"';
}

std::string textOf(const std::vector<Field>& fields) {
    std::string tags;
    for (const Field& field : fields) {
        tags += tag(field.first, field.second);
    }
    return tags;
}

} // namespace

std::string RowTest::textOf(const ReplyFields& fields) {
    std::string tags = ::textOf(fields.fields);
    for (const std::vector<Field>& entry : fields.entries) {
        tags += tag("LockList", ::textOf(entry));
    }
    return tags;
}

void RowTest::answerRow(const ReplyFields& fields) {
    if (row().waits > 0) {
        answer(row().type, textOf(fields));
    }
}

std::string RowTest::answerWrongly() {
    std::string text = reply("8099", textOf(sampleReply(row())) + "100% %s%n\n终端");
    answerWith(row().type, text);
    return text;
}

Members RowTest::members(const std::vector<Value>& inputs) {
    Members all{{"transCode", quoted(row().code)}};
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        const int* const number = std::get_if<int>(&inputs[i]);
        all.emplace_back(row().inputs[i].key, number != nullptr ? std::to_string(*number)
                                                                : quoted(std::get<std::string>(inputs[i])));
    }
    return all;
}

std::string RowTest::object(const Members& members) {
    std::string json;
    for (const auto& [key, value] : members) {
        json += (json.empty() ? "{" : ",") + quoted(key) + ":" + value;
    }
    return json + "}";
}

void RowTest::expectInJson(const Members& request, const Outcome& expected) {
    if (row().code.empty()) {
        return;
    }
    // Sorted by key, numbers without quotes and 0 unless filled.
    std::map<std::string, std::string> response{{"transCode", quoted(row().code)}};
    for (std::size_t i = 0; i < expected.outputs.size(); ++i) {
        const std::string text = expected.outputs[i].substr(0, expected.outputs[i].find('\0'));
        const Output& output = row().outputs[i];
        response[output.key] = !output.isNumber() ? quoted(text) : text.empty() ? "0" : text;
    }
    const JsonAnswer answer = ask(object(request));
    EXPECT_EQ(answer, (JsonAnswer{expected.result, object(Members(response.begin(), response.end()))}));
    pdalink::test::collectDocument("response-" + row().code, answer.text);
    EXPECT_EQ(m_PerformTasksYN, expected.taskFlag);
}

std::vector<std::string> RowTest::linesInFrontOfSending(const std::string& message) {
    std::vector<std::string> lines;
    if (!row().begin.empty()) {
        lines.push_back("1 " + row().begin);
    }
    if (!row().sendLabel.empty()) {
        lines.push_back("4 " + row().sendLabel + " SendData pre: " + message);
    }
    return lines;
}

std::vector<std::string> RowTest::linesOfSending(const std::string& message) {
    std::vector<std::string> lines = linesInFrontOfSending(message);
    lines.push_back((row().isBytes ? "4 Write XML1: " : "4 Write XML: ") + message +
                    " sendLen:" + std::to_string(message.size()));
    return lines;
}

std::vector<std::string> RowTest::linesOfFailedSending(const std::string& message, int written) {
    std::vector<std::string> lines = linesInFrontOfSending(message);
    const std::string kind = row().isBytes ? "1" : "";
    if (written < 0) {
        lines.push_back("4 sendLen error. need to reopen device" + kind + " errno:5 info:Input/output error");
    }
    lines.push_back("4 Write XML" + kind + " error:" + message + "  sendLen:" + std::to_string(written) +
                    " bufferLen:" + std::to_string(message.size()));
    return lines;
}

std::vector<std::string> RowTest::linesWithoutReply(const std::string& message,
                                                    const std::vector<std::string>& lines) {
    std::vector<std::string> all = linesOfSending(message);
    all.insert(all.end(), lines.begin(), lines.end());
    if (!row().timeOutLine.empty()) {
        all.push_back("1 " + row().timeOutLine);
    }
    return all;
}

void RowTest::keep(bool state) {
    pda_ScanState = state;
    pda_HandoverDotState = state;
    pda_HandoverPowerState = state;
    pda_ScanLabel[0] = "kept";
    pda_ScanLabel[1999] = "kept too";
}

bool RowTest::isKept(bool state) {
    return pda_ScanState == state && pda_HandoverDotState == state && pda_HandoverPowerState == state &&
           pda_ScanLabel[0] == "kept" && pda_ScanLabel[1999] == "kept too";
}
