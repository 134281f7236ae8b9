#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim {

/// One field of a message: "<name>value</name>". The value is any bytes; the protocol knows no escaping.
struct Tag {
    std::string name;
    std::string value;
};
using Tags = std::vector<Tag>;

/// The first tag of that name; null when there is none.
const Tag* findTag(const Tags& tags, std::string_view name);
/// Gives the first tag of that name the value; a tag that is not there is appended.
void setTag(Tags& tags, std::string_view name, std::string value);
/// Takes the first tag of that name away, if there is one.
void dropTag(Tags& tags, std::string_view name);

/// Locks come in groups of tags after the others, each "<LockList>...</LockList>".
constexpr std::string_view kGroupOpening = "<LockList>";
constexpr std::string_view kGroupClosing = "</LockList>";

/// Where the fixed-width fields of the header lie, and what they hold in every message.
namespace header {
constexpr std::size_t kLengthOffset = 0;
constexpr std::size_t kLengthWidth = 6;
constexpr std::size_t kTypeOffset = 6;
constexpr std::size_t kTypeWidth = 4;
constexpr std::size_t kFactoryOffset = 10;
constexpr std::string_view kFactory = "QEV   ";
constexpr std::size_t kZerosOffset = 16;
constexpr std::string_view kZeros = "000000000000000000000000";
constexpr std::size_t kBlanksOffset = 40;
constexpr std::string_view kBlanks = "        ";
constexpr std::size_t kFixedOffset = 48;
constexpr std::string_view kFixed = "05";
constexpr std::size_t kSize = 50;
} // namespace header

/// The UTF-16 units of a text; of bytes that are not UTF-8, one for each.
std::u16string utf16Of(std::string_view bytes);

/// The number of characters that the length field has to count.
///
/// The host counts the UTF-16 units of its text, not the bytes on the wire. Both agree for ASCII; bytes that
/// are not UTF-8 can only be counted one by one.
std::size_t lengthInCharacters(std::string_view bytes);

/// "%04d", as both sides write their sequence numbers.
std::string sequenceText(int sequence);

/// A whole message: header with the length field filled in, then the tags and the groups in the order given.
std::string composeMessage(std::string_view type, const Tags& tags, const std::vector<Tags>& groups = {});

/// A message taken apart.
struct ParsedMessage {
    /// The four characters at the type's place; empty when the message is too short to have them.
    std::string type;
    /// What stood in Ex_SeqNo; empty when it could not be found.
    std::string sequence;
    /// The tags after Ex_SeqNo.
    Tags tags;
    std::vector<Tags> groups;

    /// The value of the first tag of that name; nothing when there is none.
    std::optional<std::string> value(std::string_view name) const;
};

/// The bytes as one line of printable text, for violations and traces: everything else becomes \xNN.
std::string printable(std::string_view bytes);

/// A host's message as the terminal takes it.
struct Request {
    ParsedMessage message;
    /// The terminal's clock as yyyyMMddhhmmss.
    std::string localTime;

    /// The value of a tag that every message of its kind has.
    const std::string& operator[](std::string_view name) const;
    /// The value of a tag that the terminal has made sure to be a number.
    std::int32_t number(std::string_view name) const;
};

/// What the terminal says, without the tags at the front of every message.
struct Reply {
    Tags tags;
    std::vector<Tags> groups;

    Reply& with(std::string_view name, std::string value);
    Reply& withResult(std::string_view returnCode);
};

/// The tags at the front of the reply to a request.
Tags frontOfReply(const Request& request);

} // namespace pdasim
