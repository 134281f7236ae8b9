#pragma once

#include "analysis/Values.h"

#include <cstddef>
#include <initializer_list>

namespace pdalink {

class Reply;

// Results of a transaction.
constexpr int kReplied = 0;
constexpr int kInternalFailure = 1;
constexpr int kNoReply = 2;
constexpr int kNotSent = -1;

/// The terminal's result code for success.
constexpr char kSuccess[] = "000000";
/// Result code for the host when the terminal gave no usable reply.
constexpr char CS_ERROR_DEV_NODATA[] = "000060";

/// A list of at most `Max` elements that a constant can hold.
template <typename Element, std::size_t Max>
class List {
public:
    constexpr List() = default;
    constexpr List(std::initializer_list<Element> elements) {
        for (const Element& element : elements) {
            append(element);
        }
    }

    constexpr void append(const Element& element) { m_elements[m_size++] = element; }

    constexpr std::size_t size() const { return m_size; }
    constexpr const Element& operator[](std::size_t index) const { return m_elements[index]; }
    constexpr const Element* begin() const { return m_elements; }
    constexpr const Element* end() const { return m_elements + m_size; }

private:
    Element m_elements[Max] = {};
    std::size_t m_size = 0;
};

/// How an input is written into its tag.
enum class Form {
    Text,
    Gbk,       ///< re-encoded, from Latin-1
    Number,    ///< an integer, in decimal digits
    ItemCount, ///< the number of the list's items
};

/// How a reply's tag becomes an output.
enum class Copy {
    Bytes,               ///< the UTF-8 form, without a NUL
    Characters,          ///< as many bytes of the UTF-8 form as the text has characters
    Terminated,          ///< the UTF-8 form and a NUL
    TerminatedOnSuccess, ///< the same, when the terminal's result code is that for success
    LabelCount,          ///< an integer: how many labels the list has
    LabelStride,         ///< an integer: where the list's first separator is
    ListedLocks,         ///< appended: the tag's value in each entry of the reply's list of locks
};

/// One input of a transaction.
struct RequestField {
    const char* key; ///< of the JSON member; null for a transaction without a code
    const char* tag; ///< null for an input that is not sent as it is
    Form form = Form::Text;

    constexpr bool isNumber() const { return form == Form::Number; }
};

/// One output of a transaction.
struct ReplyField {
    const char* tag;
    const char* key; ///< of the JSON member; null for a transaction without a code
    Copy copy = Copy::Bytes;

    constexpr bool isNumber() const { return copy == Copy::LabelCount || copy == Copy::LabelStride; }
};

/// How often the receive buffer is taken while it comes back empty.
enum class Waits { Once = 1, Twice = 2 };

/// What is written without a usable reply: "000060" into the last output, or nothing.
enum class NoReply { WritesNoData, WritesNothing };

/// What a message is made of: UTF-8 text, or bytes that are sent as they are.
enum class Content { Text, Bytes };

/// What a transaction returns, and whether it lowers the task flag in the end.
struct Results {
    int replied;
    int noReply;
    int failure;
    bool lowersFlag;
};

constexpr Results kUsualResults{kReplied, kNoReply, kInternalFailure, true};
constexpr Results kTellerResults{1, -1, -1, false};

/// Log lines about a reply; null for none.
struct ReplyLines {
    const char* type = "Xml Type:"; ///< before the reply's type
    const char* received = nullptr; ///< before the terminal's result code
    const char* timedOut = nullptr;
};

struct Call;

/// Does what a transaction does after its begin line. Returns its result.
using Steps = int(const Call& call);

/// Does what a transaction does with a reply besides copying its tags.
using Keep = void(const Call& call, const Reply& reply);

/// The usual steps: sends the request, waits for the reply, copies its tags into the outputs.
int exchange(const Call& call);

/// One transaction, as the protocol's table states it.
struct Transaction {
    const char* member;    ///< of CPDAXMLAnalysis
    const char* code;      ///< "transCode" of its JSON request; null for none
    const char* type;      ///< message type of the request and of its reply
    const char* begin;     ///< log line at the beginning; null for none
    const char* sendLabel; ///< before " SendData pre: " in the log; null for no such line
    Waits waits;
    NoReply noReply;
    List<RequestField, 12> inputs; ///< in the order sent
    List<ReplyField, 23> outputs;

    // What few transactions have.
    Steps* steps = exchange;
    Keep* keep = nullptr;
    Content content = Content::Text;
    Results results = kUsualResults;
    ReplyLines lines = {};

    /// The same row with another value in one of those columns.
    template <typename Value>
    constexpr Transaction with(Value Transaction::*column, Value value) const {
        Transaction copy = *this;
        copy.*column = value;
        return copy;
    }
};

/// A transaction that is carried out, with an input and an output for each of its row's.
struct Call {
    const Transaction& row;
    const Input* inputs;
    const Output* outputs;

    const Output& lastOutput() const { return outputs[row.outputs.size() - 1]; }
};

} // namespace pdalink
