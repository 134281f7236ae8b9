#include "analysis/Dispatcher.h"

#include "analysis/Exchange.h"
#include "analysis/TransactionTable.h"
#include "util/FileLog.h"
#include "util/Guard.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <rapidjson/document.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr int kRefused = -1;

// A host provides at least 23 result values of 5000 bytes. Longer values are returned as long as the response
// stays within that.
constexpr std::size_t kLongValue = 5000;
constexpr int kResponseLimit = 115000;

// ---- request
// -------------------------------------------------------------------------------------------------

/// Memory for the parser that throws when there is none, where RapidJSON's own would go on with a null
/// pointer.
class ThrowingAllocator {
public:
    // NOLINTBEGIN(readability-convert-member-functions-to-static): the shape that RapidJSON asks for
    void* Malloc(std::size_t size) { return size == 0 ? nullptr : checked(std::malloc(size)); }
    void* Realloc(void* memory, std::size_t /*oldSize*/, std::size_t size) {
        if (size == 0) {
            Free(memory);
            return nullptr;
        }
        return checked(std::realloc(memory, size));
    }
    // NOLINTEND(readability-convert-member-functions-to-static)
    static void Free(void* memory) { std::free(memory); }

private:
    static void* checked(void* memory) {
        if (memory == nullptr) {
            throw std::bad_alloc();
        }
        return memory;
    }
};

using Document =
    rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::MemoryPoolAllocator<ThrowingAllocator>,
                               ThrowingAllocator>;
using Value = Document::ValueType;

/// The member's value if it is there and of the right type.
const Value* findMember(const Document& request, const Member& member) {
    const auto found = request.FindMember(member.key);
    if (found == request.MemberEnd()) {
        return nullptr;
    }
    const bool rightType = member.kind == Kind::Text ? found->value.IsString() : found->value.IsInt();
    return rightType ? &found->value : nullptr;
}

/// The row's inputs, or nothing when one is missing.
std::optional<Inputs> readInputs(const Row& row, const Document& request) {
    Inputs inputs;
    for (const Member& member : row.inputs) {
        const Value* value = findMember(request, member);
        if (value == nullptr) {
            return {};
        }
        if (member.kind == Kind::Text) {
            inputs.append(Input(value->GetString()));
        } else {
            const int number = value->GetInt();
            inputs.append(Input(&number));
        }
    }
    return inputs;
}

// ---- response
// ------------------------------------------------------------------------------------------------

/// One output member with the value that the transaction has given it.
struct OutputMember {
    Member member;
    std::string text;
    int number = 0;
};

/// What a request comes to: the response, the result, and why it was refused, if it was.
struct Answer {
    QByteArray response;
    int result;
    std::string refusal;
};

Answer refused(const std::string& why) {
    return {"{}", kRefused, why};
}

QByteArray compactJson(const Row& row, const std::vector<OutputMember>& values) {
    QJsonObject response{{QStringLiteral("transCode"), QLatin1String(row.code)}};
    for (const OutputMember& value : values) {
        response.insert(QLatin1String(value.member.key), value.member.kind == Kind::Text
                                                             ? QJsonValue(QString::fromStdString(value.text))
                                                             : QJsonValue(value.number));
    }
    return QJsonDocument(response).toJson(QJsonDocument::Compact);
}

/// A response that outgrows the host's buffer becomes that of a transaction which failed at its first long
/// value.
void limitResponse(const Row& row, std::vector<OutputMember>& values, Answer& answer) {
    if (answer.response.size() + 1 <= kResponseLimit) {
        return;
    }
    const auto isLong = [](const OutputMember& value) { return value.text.size() >= kLongValue; };
    const auto first = std::find_if(values.begin(), values.end(), isLong);
    if (first == values.end()) {
        return;
    }
    const std::string line = std::string("response too long, left empty from ") + first->member.key +
                             " on (" + std::to_string(first->text.size()) + " bytes)";
    g_PDA_Log.AddLog(pdalink::Warning, line.c_str());
    std::for_each(first, values.end(), [](OutputMember& value) {
        value.text.clear();
        value.number = 0;
    });
    answer.response = compactJson(row, values);
    answer.result = row.failure;
}

Answer carryOut(const Row& row, const Inputs& inputs) {
    std::vector<OutputMember> values;
    for (const Member& member : row.outputs) {
        values.push_back({member, {}, 0});
    }
    Outputs outputs;
    for (OutputMember& value : values) {
        if (value.member.kind == Kind::Text) {
            outputs.texts.append(TextOut(value.text));
        } else {
            outputs.numbers.append(&value.number);
        }
    }
    Answer answer;
    answer.result = row.run(inputs, outputs);
    answer.response = compactJson(row, values);
    limitResponse(row, values, answer);
    return answer;
}

/// Nothing when the text is no JSON object with a member "transCode": such a request gets no response at all.
std::optional<Answer> answer(const char* request) {
    if (std::strstr(request, "transCode") == nullptr) {
        return refused("can not find transCode");
    }
    Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(
        request); // iteratively: nesting must not exhaust the stack
    if (document.HasParseError() || !document.IsObject() || !document.HasMember("transCode")) {
        return {};
    }
    const Value* code = findMember(document, {"transCode", Kind::Text});
    if (code == nullptr) {
        return refused("transCode: param name error");
    }
    const std::string codeText = code->GetString();
    const Row* row = findRow(codeText);
    if (row == nullptr) {
        return refused("transCode:" + codeText + " do not have function");
    }
    const std::optional<Inputs> inputs = readInputs(*row, document);
    return inputs ? carryOut(*row, *inputs) : refused("transCode:" + codeText + " param name error");
}

// ---- the call
// ------------------------------------------------------------------------------------------------

int dispatchUnguarded(const char* inJson, int inLen, char* outJson, int* outLen) {
    logMessage(std::string("inJson4:") + (inJson != nullptr ? inJson : "") +
               " inLen:" + std::to_string(inLen));
    if (inJson == nullptr || outJson == nullptr) {
        return kRefused;
    }
    const std::optional<Answer> found = answer(inJson);
    if (!found) {
        return kRefused;
    }
    if (!found->refusal.empty()) {
        logMessage("info msg:" + found->refusal);
    }
    const QByteArray& response = found->response;
    // Composed before anything is written: without the memory for it the outputs stay untouched.
    const std::string line = "outJson:" + response.toStdString() +
                             " outLen:" + std::to_string(response.size()) +
                             " ret:" + std::to_string(found->result);
    std::memcpy(outJson, response.constData(), static_cast<std::size_t>(response.size()) + 1);
    if (outLen != nullptr) {
        *outLen = response.size();
    }
    logMessage(line);
    return found->result;
}

} // namespace

int dispatch(const char* inJson, int inLen, char* outJson, int* outLen) {
    return guarded([&] { return dispatchUnguarded(inJson, inLen, outJson, outLen); },
                   [] { return kInternalFailure; });
}
