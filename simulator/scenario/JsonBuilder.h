#pragma once

#include "scenario/Json.h"

#include <rapidjson/rapidjson.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace pdasim {

/** RapidJSON's view of a text, with the line at which its reader has arrived. */
class LineCountingStream {
public:
    using Ch = char;

    explicit LineCountingStream(std::string_view text) : m_text(text) {}

    char Peek() const { return m_position < m_text.size() ? m_text[m_position] : '\0'; }
    char Take() {
        const char taken = Peek();
        if (m_position < m_text.size()) {
            ++m_position;
            m_line += taken == '\n' ? 1 : 0;
        }
        return taken;
    }
    std::size_t Tell() const { return m_position; }
    int line() const { return m_line; }

    // What the reader's interface asks for, but only in-place parsing would use.
    char* PutBegin() { return nullptr; }
    void Put(char /*unused*/) {}
    void Flush() {}
    std::size_t PutEnd(char* /*unused*/) { return 0; }

private:
    std::string_view m_text;
    std::size_t m_position = 0;
    int m_line = 1;
};

/** Puts a Json together from what RapidJSON's reader finds. */
class JsonBuilder {
public:
    explicit JsonBuilder(const LineCountingStream& input) : m_input(input) {}

    bool Null() { return add(Json()); }
    bool Bool(bool value) { return add(Json::boolean(value)); }
    bool Int(int value) { return add(Json::integer(value)); }
    bool Uint(unsigned value) { return add(Json::integer(value)); }
    bool Int64(std::int64_t value) { return add(Json::integer(value)); }
    bool Uint64(std::uint64_t value);
    /** 1.0 is a whole number, too. */
    bool Double(double value);
    bool RawNumber(const char* /*unused*/, rapidjson::SizeType /*unused*/, bool /*unused*/) { return false; }
    bool String(const char* text, rapidjson::SizeType size, bool /*unused*/) {
        return add(Json::text(std::string(text, size)));
    }
    bool StartObject() { return open(Json::object()); }
    bool Key(const char* text, rapidjson::SizeType size, bool /*unused*/);
    bool EndObject(rapidjson::SizeType /*unused*/) { return close(); }
    bool StartArray() { return open(Json::array()); }
    bool EndArray(rapidjson::SizeType /*unused*/) { return close(); }

    /** Why the builder stopped the reader; empty when it did not. */
    const std::string& reason() const { return m_reason; }
    Json takeRoot() { return std::move(m_root); }

private:
    struct Level {
        Json value;
        /** The member that the next value belongs to. */
        std::string name;
        std::unordered_set<std::string> names;
    };

    bool open(Json value);
    bool close();
    bool add(Json value);
    bool put(Json value);
    bool stop(std::string reason);

    const LineCountingStream& m_input;
    std::vector<Level> m_levels;
    Json m_root;
    std::string m_reason;
};

} // namespace pdasim
