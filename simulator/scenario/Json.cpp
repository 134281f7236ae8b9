#include "scenario/Json.h"

#include "core/Message.h"
#include "scenario/JsonBuilder.h"

#include <rapidjson/error/en.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <utility>

namespace pdasim {

namespace {

bool isUtf8(const std::string& text) {
    rapidjson::StringStream input(text.c_str());
    while (input.Tell() < text.size()) {
        unsigned codepoint = 0;
        if (!rapidjson::UTF8<>::Decode(input, &codepoint)) {
            return false;
        }
    }
    return true;
}

template <typename Writer>
void writeText(Writer& writer, const std::string& text) {
    const std::string shown = isUtf8(text) ? text : printable(text);
    writer.String(shown.data(), static_cast<rapidjson::SizeType>(shown.size()));
}

template <typename Writer>
void writeValue(Writer& writer, const Json& value) {
    switch (value.kind()) {
    case Json::Kind::Null:
        writer.Null();
        break;
    case Json::Kind::Boolean:
        writer.Bool(value.asBoolean());
        break;
    case Json::Kind::Integer:
        writer.Int64(value.asInteger());
        break;
    case Json::Kind::Real:
        writer.Double(value.asReal());
        break;
    case Json::Kind::Text:
        writeText(writer, value.asText());
        break;
    case Json::Kind::Array:
        writer.StartArray();
        for (const Json& element : value.elements()) {
            writeValue(writer, element);
        }
        writer.EndArray();
        break;
    case Json::Kind::Object:
        writer.StartObject();
        for (const Json::Member& member : value.members()) {
            writeText(writer, member.name);
            writeValue(writer, member.value);
        }
        writer.EndObject();
        break;
    }
}

} // namespace

Json Json::parse(std::string_view text) {
    // RapidJSON takes it for the end.
    if (text.find('\0') != std::string_view::npos) {
        throw JsonError(1, "a NUL byte is in the text");
    }
    LineCountingStream input(text);
    JsonBuilder builder(input);
    rapidjson::Reader reader;
    constexpr unsigned Flags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
    const rapidjson::ParseResult result = reader.Parse<Flags>(input, builder);
    if (result.IsError()) {
        throw JsonError(input.line(), builder.reason().empty()
                                          ? std::string(rapidjson::GetParseError_En(result.Code()))
                                          : builder.reason());
    }
    return builder.takeRoot();
}

Json Json::text(std::string value) {
    Json json;
    json.m_kind = Kind::Text;
    json.m_text = std::move(value);
    return json;
}

Json Json::integer(std::int64_t value) {
    Json json;
    json.m_kind = Kind::Integer;
    json.m_number = value;
    return json;
}

Json Json::real(double value) {
    Json json;
    json.m_kind = Kind::Real;
    json.m_real = value;
    return json;
}

Json Json::boolean(bool value) {
    Json json;
    json.m_kind = Kind::Boolean;
    json.m_number = value ? 1 : 0;
    return json;
}

Json Json::array() {
    Json json;
    json.m_kind = Kind::Array;
    return json;
}

Json Json::array(const std::vector<std::string>& texts) {
    Json json = array();
    for (const std::string& each : texts) {
        json.append(text(each));
    }
    return json;
}

Json Json::object() {
    Json json;
    json.m_kind = Kind::Object;
    return json;
}

const Json* Json::find(std::string_view name) const {
    const auto found = std::find_if(m_members.begin(), m_members.end(),
                                    [name](const Member& member) { return member.name == name; });
    return found == m_members.end() ? nullptr : &found->value;
}

std::vector<std::string> Json::texts() const {
    std::vector<std::string> texts;
    for (const Json& element : m_elements) {
        texts.push_back(element.asText());
    }
    return texts;
}

void Json::append(Json element) {
    m_elements.push_back(std::move(element));
}

Json& Json::with(std::string name, Json value) {
    m_members.push_back({std::move(name), std::move(value)});
    return *this;
}

std::string Json::write() const {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writeValue(writer, *this);
    return {buffer.GetString(), buffer.GetSize()};
}

std::string Json::writePretty() const {
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    writer.SetIndent(' ', 2);
    writeValue(writer, *this);
    return {buffer.GetString(), buffer.GetSize()};
}

} // namespace pdasim
