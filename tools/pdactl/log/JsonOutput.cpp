#include "log/JsonText.h"
#include "log/Report.h"

namespace pdactl::log {

namespace {

class Object {
public:
    Object& add(const char* name, const std::string& json) {
        m_text += (m_text.empty() ? "{" : ",") + quoted(name) + ":" + json;
        return *this;
    }
    Object& add(const char* name, Time number) { return add(name, std::to_string(number)); }
    Object& addText(const char* name, std::string_view text) { return add(name, quoted(text)); }
    Object& addFlag(const char* name, bool flag) { return add(name, std::string(flag ? "true" : "false")); }

    std::string text() const { return m_text + "}"; }

private:
    std::string m_text;
};

std::string list(const std::vector<std::string>& texts) {
    std::string result;
    for (const std::string& text : texts) {
        result += (result.empty() ? "" : ",") + quoted(text);
    }
    return "[" + result + "]";
}

} // namespace

std::string jsonOf(const Exchange& exchange) {
    Object object;
    object.addText("begin", formatTime(exchange.begin, 'T'))
        .add("took", exchange.duration())
        .add("gap", exchange.gap ? std::to_string(*exchange.gap) : "null")
        .addText("origin", nameOf(exchange.origin))
        .addText("code", exchange.code)
        .addText("call", callOf(exchange))
        .addText("type", exchange.type)
        .addText("outcome", nameOf(exchange.outcome))
        .add("result", exchange.result ? std::to_string(*exchange.result) : "null")
        .addText("verdict", exchange.verdict)
        .addText("request", exchange.request)
        .addText("sent", exchange.sent)
        .addText("received", exchange.received)
        .addText("response", exchange.response)
        .add("messagesSent", exchange.messagesSent)
        .add("messagesReceived", exchange.messagesReceived)
        .add("waitsInVain", exchange.waitsInVain)
        .add("wrongMessages", exchange.wrongMessages)
        .add("failedWrites", exchange.failedWrites)
        .addFlag("lacksBeginning", exchange.lacksBeginning)
        .addFlag("isInterleaved", exchange.isInterleaved)
        .add("notes", list(exchange.notes));
    return object.text();
}

std::string jsonHead(const Report& report) {
    return "{\"files\":" + list(report.files) + ",\"gaps\":" + list(report.gaps) +
           ",\"redacted\":" + (report.isRedacted ? "true" : "false") + ",\"exchanges\":[";
}

std::string jsonFoot() {
    return "]}\n";
}

} // namespace pdactl::log
