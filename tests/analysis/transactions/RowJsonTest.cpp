#include "RowFixture.h"

#include <cerrno>
#include <map>

namespace {

using pdasim::Fault;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

/// A member with its value, as JSON.
using Members = std::vector<std::pair<std::string, std::string>>;

std::string quoted(const std::string& text) {
    std::string json = "\"";
    for (const char each : text) {
        json += each == '"' || each == '\\' ? std::string("\\") + each : std::string(1, each);
    }
    return json + '"';
}

std::string object(const Members& members) {
    std::string json;
    for (const auto& [key, value] : members) {
        json += (json.empty() ? "{" : ",") + quoted(key) + ":" + value;
    }
    return json + "}";
}

/// The transactions as hosts reach them by their codes.
class RowJson : public RowTest {
protected:
    static Members members(const std::vector<Value>& inputs) {
        Members all{{"transCode", quoted(row().code)}};
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            const int* const number = std::get_if<int>(&inputs[i]);
            all.emplace_back(row().inputs[i].key, number != nullptr
                                                      ? std::to_string(*number)
                                                      : quoted(std::get<std::string>(inputs[i])));
        }
        return all;
    }
    static Members sampleMembers() { return members(Arguments(row()).inputs()); }

    /// The response with these outputs: sorted by key, numbers without quotes and 0 unless filled.
    static std::string response(const std::vector<std::string>& outputs) {
        std::map<std::string, std::string> sorted{{"transCode", quoted(row().code)}};
        for (std::size_t i = 0; i < outputs.size(); ++i) {
            const OutputParameter& output = row().outputs[i];
            const bool isNumber = output.kind == Kind::LabelCount || output.kind == Kind::LabelStride;
            const std::string text = outputs[i].substr(0, outputs[i].find('\0'));
            sorted[output.key] = !isNumber ? quoted(text) : text.empty() ? "0" : text;
        }
        return object(Members(sorted.begin(), sorted.end()));
    }

    void expectRefused(const Members& request) {
        newLines();
        EXPECT_EQ(ask(object(request)), (JsonAnswer{-1, "{}"})) << object(request);
        EXPECT_THAT(newLines(),
                    ElementsAre(StartsWith("1 inJson4:"),
                                std::string("1 info msg:transCode:") + row().code + " param name error",
                                "1 outJson:{} outLen:2 ret:-1"));
        EXPECT_THAT(terminal().received(), IsEmpty());
        EXPECT_EQ(m_SeqNo, 0);
        EXPECT_EQ(m_PerformTasksYN, 0);
    }
};

TEST_P(RowJson, IsSentAndAnsweredWithItsMembers) {
    answerRow(sampleReply(row()));
    const Outcome expected = replied(sampleReply(row()));
    EXPECT_EQ(ask(object(sampleMembers())), (JsonAnswer{expected.result, response(expected.outputs)}));
    EXPECT_EQ(newMaskedMessage(),
              maskedMessage(row().type, "0001", bodyOf(row(), Arguments(row()).inputs())));
    EXPECT_EQ(m_PerformTasksYN, expected.taskFlag);
}

TEST_P(RowJson, MayHaveItsMembersInAnyOrderAndOthersBesides) {
    Members request = sampleMembers();
    request.emplace_back("unknown", "[1]");
    answerRow(sampleReply(row()));
    const Outcome expected = replied(sampleReply(row()));
    EXPECT_EQ(ask(object(Members(request.rbegin(), request.rend()))),
              (JsonAnswer{expected.result, response(expected.outputs)}));
    EXPECT_EQ(newBody(), bodyOf(row(), Arguments(row()).inputs()));
}

TEST_P(RowJson, KeepsTextsOnTheirWay) {
    Arguments arguments(row());
    for (std::size_t i = 0; i < arguments.inputs().size(); ++i) {
        if (auto* const text = std::get_if<std::string>(&arguments.inputs()[i])) {
            *text = "\"%s\\<" + std::to_string(i);
        }
    }
    ReplyFields fields = sampleReply(row());
    for (Field& field : fields.fields) {
        field.second = field.first == "Ex_RetCode" ? field.second : "\"%n\\>" + field.second;
    }
    answerRow(fields);
    const Outcome expected = replied(fields);
    EXPECT_EQ(ask(object(members(arguments.inputs()))),
              (JsonAnswer{expected.result, response(expected.outputs)}));
    EXPECT_EQ(newBody(), bodyOf(row(), arguments.inputs()));
}

TEST_P(RowJson, HasItsMembersWithoutAUsableReplyToo) {
    answerWrongly();
    EXPECT_EQ(ask(object(sampleMembers())),
              (JsonAnswer{row().family->notReplied, response(outputsWithoutReply(row()))}));
    EXPECT_EQ(m_PerformTasksYN, row().family->flagAtEnd);
}

TEST_P(RowJson, HasItsMembersWithoutAWriteToo) {
    terminal().addFault(row().type, Fault().refuseWrite(EIO));
    EXPECT_EQ(ask(object(sampleMembers())), (JsonAnswer{-1, response(Arguments::untouched(row()))}));
    EXPECT_EQ(m_PerformTasksYN, 1);
}

TEST_P(RowJson, IsRefusedWithoutOneOfItsInputs) {
    for (std::size_t i = 1; i <= row().inputs.size(); ++i) {
        Members request = sampleMembers();
        request[i].first += "x";
        expectRefused(request);
        request.erase(request.begin() + static_cast<std::ptrdiff_t>(i));
        expectRefused(request);
    }
}

TEST_P(RowJson, IsRefusedWithAnInputOfTheWrongType) {
    for (std::size_t i = 1; i <= row().inputs.size(); ++i) {
        const bool isNumber = std::holds_alternative<int>(row().inputs[i - 1].sample);
        std::vector<std::string> wrong{"null", "true", "[]", "{}", "1.0"};
        if (isNumber) {
            wrong.insert(wrong.end(), {"\"1\"", "2147483648", "-2147483649", "1e0"});
        } else {
            wrong.emplace_back("1");
        }
        for (const std::string& value : wrong) {
            Members request = sampleMembers();
            request[i].second = value;
            expectRefused(request);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, RowJson, testing::ValuesIn(jsonRows()), NameOfMember());

} // namespace
