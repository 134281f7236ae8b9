#pragma once

#include "analysis/PDAXMLAnalysis.h"

#include <ostream>
#include <string>
#include <utility>
#include <variant>
#include <vector>

// One row for each member that talks to the terminal: the protocol's table, written down a second time.

class Arguments;

/// What goes into a parameter.
using Value = std::variant<std::string, int>;

struct InputParameter {
    const char* key; ///< member of the JSON request; null when there is none
    Value sample;
};

enum class Content { AsItIs, Gbk, NumberOfItems };

struct BodyTag {
    const char* name;
    std::size_t input; ///< the parameter whose value it holds
    Content content = Content::AsItIs;
};

enum class Kind {
    Copied,      ///< the value's bytes and nothing behind them
    Characters,  ///< as many of its bytes as it has characters
    Terminated,  ///< the bytes and a NUL
    WithSuccess, ///< the same, but only when the result code is "000000"
    List,        ///< each entry's value and ";", behind what is there, and a NUL
    LabelCount,
    LabelStride
};

struct OutputParameter {
    const char* key;
    Kind kind;
    const char* tag;
    std::vector<std::string> samples; ///< one; of a list one for each entry; of a number none
};

/// What a family of members has in common.
struct Family {
    int replied;    ///< result after a reply
    int notReplied; ///< result without a usable one
    char flagAtEnd; ///< task flag after either
};

struct Row {
    const char* member;
    const char* code; ///< transaction code of the JSON; null when there is none
    const char* type;
    const char* begin;     ///< first log line; null for none
    const char* sendLabel; ///< in front of " SendData pre: "; null for no such line
    const Family* family;
    int waits;  ///< 0: no reply is awaited
    int noData; ///< index of the output that gets "000060" without a reply; -1 for none
    std::vector<InputParameter> inputs;
    std::vector<BodyTag> body;
    std::vector<OutputParameter> outputs;
    int (*call)(CPDAXMLAnalysis& analyser, Arguments& arguments);
    const char* groups = "";      ///< what the sample's body holds behind its tags
    bool isBytes = false;         ///< sent as bytes: the length field counts them
    const char* resultLine = "";  ///< logged with the result code, where one is
    const char* timeOutLine = ""; ///< logged without a reply, where one is
};

extern const Family kTerminalFamily;
extern const Family kTellerFamily;
extern const Family kLockFamily;

std::vector<Row> terminalRows();
std::vector<Row> tellerRows();
std::vector<Row> lockRows();
std::vector<Row> loginRows();

const std::vector<Row>& allRows();
/// Those that wait for a reply.
std::vector<Row> answeredRows();
/// Those that the JSON reaches.
std::vector<Row> jsonRows();
/// Those that have any input.
std::vector<Row> rowsWithInputs();

void PrintTo(const Row& row, std::ostream* stream);

/// The parameters of one call: inputs that may be changed, and outputs that are filled with a character.
class Arguments {
public:
    static constexpr char kFilling = '#'; // no value of these tests ends with it

    /// With the row's samples.
    explicit Arguments(const Row& row);

    std::vector<Value>& inputs() { return m_inputs; }
    void withoutInputs() { m_hasInputs = false; }
    void withoutOutputs() { m_hasOutputs = false; }

    char* text(std::size_t input);
    int* number(std::size_t input);
    char* output(std::size_t index);
    int* outputNumber(std::size_t index);

    /// What each output holds over its filling: nothing when it was not touched. Numbers as decimal text.
    std::vector<std::string> written() const;
    /// What written() says when no output was touched.
    static std::vector<std::string> untouched(const Row& row);

private:
    static constexpr int kUntouched = -77;

    const Row* m_row;
    std::vector<Value> m_inputs;
    std::vector<std::string> m_texts;
    std::vector<int> m_numbers;
    bool m_hasInputs = true;
    bool m_hasOutputs = true;
};

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

/// The body of the request that these inputs make.
std::string bodyOf(const Row& row, const std::vector<Value>& inputs);

/// "<name>value</name>".
std::string tagged(const std::string& name, const std::string& value);
