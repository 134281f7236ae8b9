#include "LogLines.h"

#include <array>
#include <cstdio>

namespace pdactl::log::test {

namespace {

std::size_t characters(const std::string& text) {
    std::size_t count = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        count += (byte & 0xC0U) == 0x80U ? 0 : byte >= 0xF0U ? 2 : 1;
    }
    return count;
}

} // namespace

std::string lengthField(std::size_t length) {
    std::array<char, 24> digits{};
    (void)std::snprintf(digits.data(), digits.size(), "%06zu", length);
    return digits.data();
}

std::string message(const std::string& type, const std::string& tags) {
    const std::string rest = type + kEnvelopeMiddle + tags;
    return lengthField(characters(rest) + 6) + rest;
}

std::string tag(const std::string& name, const std::string& value) {
    return "<" + name + ">" + value + "</" + name + ">";
}

std::string stamp(long long milliseconds) {
    const long long seconds = 4 * 60 + 5 + milliseconds / 1000;
    std::array<char, 64> text{};
    (void)std::snprintf(text.data(), text.size(), "2026-01-02 %02lld:%02lld:%02lld%03lld ",
                        3 + seconds / 3600, seconds / 60 % 60, seconds % 60, milliseconds % 1000);
    return text.data();
}

LogText& LogText::after(int milliseconds) {
    m_now += milliseconds;
    return *this;
}

LogText& LogText::line(const char* levelWord, const std::string& text) {
    m_text += stamp(m_now) + levelWord + text + "\n";
    return *this;
}

LogText& LogText::raw(const std::string& bytes) {
    m_text += bytes;
    return *this;
}

LogText& LogText::request(const std::string& json) {
    return step("inJson4:" + json + " inLen:" + std::to_string(json.size()));
}

LogText& LogText::response(const std::string& json, int result) {
    return step("outJson:" + json + " outLen:" + std::to_string(json.size()) +
                " ret:" + std::to_string(result));
}

LogText& LogText::written(const std::string& message) {
    return info("Write XML: " + message + " sendLen:" + std::to_string(message.size()));
}

LogText& LogText::read(const std::string& message) {
    return info("HID Read XML: " + message);
}

LogText& LogText::getInfo() {
    const std::string sent = message("8001", tag("Ex_SeqNo", "0001"));
    request(R"({"transCode":"600002"})").step("[GetInfo] begin");
    info("600002 SendData pre: " + sent).written(sent).after(111);
    read(message("8001", tag("Ex_EIMI", "860123456789012") + tag("Ex_RetCode", "000000")));
    return step("Xml1 Type:8001 len:4").response(R"({"pRetCode":"000000","transCode":"600002"})", 0);
}

} // namespace pdactl::log::test
