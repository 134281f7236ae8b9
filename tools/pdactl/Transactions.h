#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace pdactl {

/// What a value is, and how it is sent.
enum class Kind {
    Text,
    Needed, ///< a text that must not be empty
    Secret, ///< the same, and never on a command line
    Integer,
    Total,    ///< an integer: how many labels the next parameter lists
    Items,    ///< a list, sent with the number of its values before it
    Gbk,      ///< a text that is sent in this encoding
    FileText, ///< sent in packets
    Answer,   ///< to a login: six digits
    NotSent,
};

/// The terminal's number unless it is given.
constexpr const char* kPresetPda = "00000001";

/// One member of a request, or one parameter of a call.
struct Parameter {
    const char* name;   ///< in JSON
    const char* tag;    ///< in the message to the terminal
    const char* option; ///< of the command, without its dashes; in capitals for an argument without a name
    const char* help;
    Kind kind = Kind::Text;
    const char* preset = nullptr; ///< taken when the option is not given

    bool isInteger() const { return kind == Kind::Integer || kind == Kind::Total; }
    bool isSecret() const { return kind == Kind::Secret; }
    bool mayBeEmpty() const { return kind != Kind::Needed && kind != Kind::Secret; }
};

/// Values of parameters, by their names in JSON.
using Values = std::map<std::string, std::string>;

/// Which results the library's member has.
enum class Results {
    Usual,  ///< 0 reply, 2 none, -1 not sent
    Teller, ///< 1 reply, -1 none or not sent
    Send,   ///< of a file: as usual, and 5 and 6 when it is too short or was refused
    Fetch,  ///< of a file: as usual
};

/// How the log shows that a member which the host called directly has come to its end.
enum class End {
    Next,     ///< only by the next exchange: it may wait twice, or send several messages
    Reply,    ///< by a reply, or by a timeout
    Written,  ///< by its message being written
    Begin,    ///< it writes no more than its first line
    LastLine, ///< by a line of its own
};

/// A member of the library, and the command that stands for it.
struct Transaction {
    std::string code;                 ///< of the request that calls it; empty for none
    std::string type;                 ///< of the messages that it sends; empty for none
    std::string member;               ///< its name in the library and in the log
    std::vector<const char*> command; ///< its words; empty for none
    const char* help = "";
    const char* example = "";            ///< what an example has after the command
    std::vector<Parameter> parameters{}; ///< in the order in which they are sent
    std::vector<const char*> outputs{};  ///< in JSON, or in the order of the member's parameters
    Results results = Results::Usual;
    End end = End::Next;
    bool isHandler = false; ///< of a message that the terminal started

    /// What people call it by.
    const std::string& name() const { return code.empty() ? member : code; }
};

/// All members; those with several commands more than once.
const std::vector<Transaction>& allTransactions();

/// Null when there is none.
const Transaction* findCode(std::string_view code);
const Transaction* findMember(std::string_view member);
/// Null too when several members send this type.
const Transaction* findType(std::string_view type);

/// Whether these are the four digits of a message that the terminal starts.
bool isTerminalType(std::string_view type);

/// The name in lower case when it is one of a tag or JSON member whose value nobody may see who is not meant
/// to; empty otherwise. Names that a host gives to its own values are judged like those of the protocol.
std::string secretName(std::string_view name);

} // namespace pdactl
