#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pdactl::log::test {

/// The fields between a message's type and its tags.
inline const std::string kEnvelopeMiddle = "QEV   " + std::string(24, '0') + std::string(8, ' ') + "05";

/// Six digits of a length.
std::string lengthField(std::size_t length);

/// A message with a right length field, counted in characters.
std::string message(const std::string& type, const std::string& tags);

/// "<name>value</name>"
std::string tag(const std::string& name, const std::string& value);

/// A log as the library writes it, by the line. The clock is stopped unless it is moved.
class LogText {
public:
    /// Moves the clock on.
    LogText& after(int milliseconds);
    LogText& line(const char* levelWord, const std::string& text);
    LogText& step(const std::string& text) { return line("MESSAGE  : ", text); }
    LogText& info(const std::string& text) { return line("INFO     : ", text); }
    LogText& warning(const std::string& text) { return line("WARNING  : ", text); }
    LogText& error(const std::string& text) { return line("ERROR  : ", text); }
    /// Bytes as they are.
    LogText& raw(const std::string& bytes);

    LogText& request(const std::string& json);
    LogText& response(const std::string& json, int result);
    LogText& written(const std::string& message);
    LogText& read(const std::string& message);
    /// The line about the message's type.
    LogText& type(const std::string& type) { return step("Xml Type:" + type + " len:4"); }
    /// A request for the terminal's identity that is answered 111 ms later.
    LogText& getInfo();

    const std::string& text() const { return m_text; }

private:
    long long m_now = 0; ///< ms since 2026-01-02 03:04:05
    std::string m_text;
};

/// The stamp of an entry this many milliseconds after 2026-01-02 03:04:05, with its blank.
std::string stamp(long long milliseconds);

} // namespace pdactl::log::test
