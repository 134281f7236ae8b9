#include "analysis/Dispatcher.h"

#include "analysis/Exchange.h"
#include "analysis/Response.h"
#include "analysis/TransactionTable.h"
#include "util/FileLog.h"
#include "util/Guard.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <vector>

namespace pdalink {

namespace {

constexpr int kRefused = -1;

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
const Value* findMember(const Document& request, const char* key, bool isNumber) {
    const auto found = request.FindMember(key);
    if (found == request.MemberEnd()) {
        return nullptr;
    }
    const bool rightType = isNumber ? found->value.IsInt() : found->value.IsString();
    return rightType ? &found->value : nullptr;
}

/// The row's inputs, or nothing when one is missing.
std::optional<std::vector<Input>> readInputs(const Transaction& row, const Document& request) {
    std::vector<Input> inputs;
    for (const RequestField& field : row.inputs) {
        const Value* value = findMember(request, field.key, field.isNumber());
        if (value == nullptr) {
            return {};
        }
        inputs.push_back(value->IsString() ? Input(value->GetString()) : Input(value->GetInt()));
    }
    return inputs;
}

/// The row of a code, null for an unknown one.
const Transaction* findRow(const std::string& code) {
    const auto* const row =
        std::find_if(std::begin(kTransactions), std::end(kTransactions),
                     [&](const Transaction& each) { return each.code != nullptr && code == each.code; });
    return row != std::end(kTransactions) ? row : nullptr;
}

/// What a request comes to: the response, the result, and why it was refused, if it was.
struct Answer {
    QByteArray response;
    int result;
    std::string refusal;
};

Answer refused(const std::string& why) {
    return {"{}", kRefused, why};
}

Answer carryOut(const Transaction& row, const std::vector<Input>& inputs) {
    Response response(row);
    const int result = run({row, inputs.data(), response.outputs().data()});
    const std::string tooLong = response.limit();
    if (tooLong.empty()) {
        return {response.json(), result, {}};
    }
    g_PDA_Log.AddLog(Warning, tooLong.c_str());
    return {response.json(), row.results.failure, {}};
}

/// Nothing when the text is no JSON object with a member "transCode": such a request gets no response at all.
std::optional<Answer> answer(const char* request) {
    if (std::strstr(request, "transCode") == nullptr) {
        return refused("can not find transCode");
    }
    Document document;
    // Iteratively: nesting must not exhaust the stack.
    document.Parse<rapidjson::kParseIterativeFlag>(request);
    if (document.HasParseError() || !document.IsObject() || !document.HasMember("transCode")) {
        return {};
    }
    const Value* code = findMember(document, "transCode", false);
    if (code == nullptr) {
        return refused("transCode: param name error");
    }
    const std::string codeText = code->GetString();
    const Transaction* row = findRow(codeText);
    if (row == nullptr) {
        return refused("transCode:" + codeText + " do not have function");
    }
    const std::optional<std::vector<Input>> inputs = readInputs(*row, document);
    return inputs ? carryOut(*row, *inputs) : refused("transCode:" + codeText + " param name error");
}

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

} // namespace pdalink
