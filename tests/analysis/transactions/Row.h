#pragma once

#include "analysis/PDAXMLAnalysis.h"

#include <functional>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

// One row for each member that talks to the terminal: the protocol's table, written down a second time.

class Arguments;

/// What goes into a parameter.
using Value = std::variant<std::string, int>;

enum class Content {
    AsItIs,
    Gbk,
    Counted ///< a list, after a tag that holds the number of its items
};

struct Input {
    std::string key; ///< member of the JSON request
    std::string tag; ///< empty when it is not sent
    Value sample;
    Content content = Content::AsItIs;
};

enum class Kind {
    Copied,      ///< the value's bytes and nothing after them
    Characters,  ///< as many of its bytes as it has characters
    Terminated,  ///< the bytes and a NUL
    WithSuccess, ///< the same, but only when the result code is "000000"
    List,        ///< each entry's value and ";", after what is there, and a NUL
    LabelCount,
    LabelStride
};

struct Output {
    std::string tag;
    std::string key; ///< member of the JSON response
    Kind kind;
    std::vector<std::string> samples; ///< one; of a list one for each entry; of a number none

    bool isNumber() const { return kind == Kind::LabelCount || kind == Kind::LabelStride; }
};

/// What a family of members has in common.
struct Family {
    int replied;    ///< result after a reply
    int notReplied; ///< result without a usable one
    int noMemory;   ///< result when memory runs out
    char flagAtEnd; ///< task flag after either
};

struct Row {
    std::string member;
    std::string code; ///< transaction code of the JSON; empty when there is none
    std::string type;
    const Family* family;
    std::function<int(CPDAXMLAnalysis& analyser, Arguments& arguments)> call;
    std::vector<Input> inputs;
    std::vector<Output> outputs;

    int waits = 1;                      ///< 0: no reply is awaited
    int noData = -1;                    ///< index of the output that gets "000060" without a reply
    std::vector<std::size_t> order{};   ///< the inputs in the order of their tags, where it is another
    std::string groups{};               ///< what the sample's body holds after its tags
    bool isBytes = false;               ///< sent as bytes: the length field counts them
    std::string begin{};                ///< first log line
    std::string sendLabel{};            ///< in front of " SendData pre: "; empty for no such line
    std::string typeLabel{"Xml Type:"}; ///< in front of the reply's type in the log
    std::string resultLine{};           ///< logged with the result code, where one is
    std::string timeOutLine{};          ///< logged without a reply, where one is
};

const std::vector<Row>& allRows();
const Row& rowOf(const std::string& member);
/// Those that meet a condition.
std::vector<Row> rowsThat(const std::function<bool(const Row&)>& condition);

inline void PrintTo(const Row& row, std::ostream* stream) {
    *stream << row.member;
}

/// The parameters of one call: inputs that may be changed, and outputs that are filled with a character.
class Arguments {
public:
    static constexpr char kFilling = '#'; // no value of these tests ends with it

    /// With the row's samples, and room for that many bytes in each output: tests fill whole arrays of them
    /// again and again.
    explicit Arguments(const Row& row, std::size_t room = 64000);

    std::vector<Value>& inputs() { return m_inputs; }
    void withoutInputs() { m_hasInputs = false; }
    void withoutOutputs() { m_hasOutputs = false; }

    /// A member's parameter: first come all inputs, then all outputs.
    template <typename Parameter>
    Parameter parameter(std::size_t index) {
        if constexpr (std::is_same_v<Parameter, int*>) {
            return number(index);
        } else {
            return text(index);
        }
    }
    char* output(std::size_t index) { return text(m_inputs.size() + index); }

    /// What each output holds over its filling: nothing when it was not touched. Numbers as decimal text.
    std::vector<std::string> written() const;
    /// What written() says when no output was touched.
    static std::vector<std::string> untouched(const Row& row);

private:
    static constexpr int kUntouched = -77;

    char* text(std::size_t index);
    int* number(std::size_t index);

    const Row* m_row;
    std::vector<Value> m_inputs;
    std::vector<std::string> m_texts;
    std::vector<int> m_numbers;
    bool m_hasInputs = true;
    bool m_hasOutputs = true;
};

template <typename... Parameters, std::size_t... Indices>
int callInOrder(int (CPDAXMLAnalysis::*member)(Parameters...), CPDAXMLAnalysis& analyser,
                Arguments& arguments, std::index_sequence<Indices...> /*indices*/) {
    return (analyser.*member)(arguments.parameter<Parameters>(Indices)...);
}

/// Calls a member with the arguments in their order.
template <typename... Parameters>
auto calling(int (CPDAXMLAnalysis::*member)(Parameters...)) {
    return [member](CPDAXMLAnalysis& analyser, Arguments& arguments) {
        return callInOrder(member, analyser, arguments, std::index_sequence_for<Parameters...>());
    };
}

using Field = std::pair<std::string, std::string>;

/// A reply of the terminal, field by field.
struct ReplyFields {
    std::vector<Field> fields;
    std::vector<std::vector<Field>> entries;

    /// The value of a field; empty when there is none.
    std::string value(const std::string& tag) const;
    void remove(const std::string& tag);
    void replace(const std::string& tag, const std::string& value);
};

/// The reply that the row's samples make.
ReplyFields sampleReply(const Row& row);
/// What a call leaves in its outputs when the terminal replies so.
std::vector<std::string> outputsOf(const Row& row, const ReplyFields& reply);
/// What a call leaves in its outputs when it gets no usable reply.
std::vector<std::string> outputsWithoutReply(const Row& row);

/// The body of the request that these inputs make, without its groups.
std::string bodyOf(const Row& row, const std::vector<Value>& inputs);
