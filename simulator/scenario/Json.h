#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim {

/** A text that is no JSON, or not the JSON that was expected, with the line where that shows. */
class JsonError : public std::runtime_error {
public:
    JsonError(int line, const std::string& reason) : std::runtime_error(reason), m_line(line) {}

    int line() const { return m_line; }

private:
    int m_line;
};

/** A JSON value that remembers the line on which it stood; its members keep their order. */
class Json {
public:
    enum class Kind { Null, Boolean, Integer, Real, Text, Array, Object };
    struct Member;

    Json() = default;

    /** Throws JsonError; duplicate members are an error too, as are more than a hundred nested brackets. */
    static Json parse(std::string_view text);

    static Json text(std::string value);
    static Json integer(std::int64_t value);
    static Json real(double value);
    static Json boolean(bool value);
    static Json array();
    /** Every value becomes a text. */
    static Json array(const std::vector<std::string>& texts);
    static Json object();

    Kind kind() const { return m_kind; }
    int line() const { return m_line; }
    void setLine(int line) { m_line = line; }

    bool asBoolean() const { return m_number != 0; }
    std::int64_t asInteger() const { return m_number; }
    double asReal() const { return m_kind == Kind::Integer ? static_cast<double>(m_number) : m_real; }
    const std::string& asText() const { return m_text; }
    const std::vector<Json>& elements() const { return m_elements; }
    const std::vector<Member>& members() const { return m_members; }
    /** Null when there is no such member. */
    const Json* find(std::string_view name) const;
    std::vector<std::string> texts() const;

    void append(Json element);
    /** Gives an object one member more. */
    Json& with(std::string name, Json value);
    Json& with(std::string name, const std::string& value) { return with(std::move(name), text(value)); }

    /** On one line. Text that is no UTF-8 is written with its odd bytes as \xNN. */
    std::string write() const;
    std::string writePretty() const;

private:
    Kind m_kind = Kind::Null;
    int m_line = 0;
    std::int64_t m_number = 0;
    double m_real = 0;
    std::string m_text;
    std::vector<Json> m_elements;
    std::vector<Member> m_members;
};

struct Json::Member {
    std::string name;
    Json value;
};

} // namespace pdasim
