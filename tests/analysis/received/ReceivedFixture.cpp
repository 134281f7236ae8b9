#include "ReceivedFixture.h"

#include <algorithm>
#include <iterator>

std::vector<Handler> acknowledgingHandlers() {
    std::vector<Handler> some;
    std::copy_if(allHandlers().begin(), allHandlers().end(), std::back_inserter(some),
                 [](const Handler& handler) { return handler.acknowledgementType != nullptr; });
    return some;
}

Fields fieldsOf(const Handler& handler) {
    Fields fields;
    for (const char* name : handler.tags) {
        fields.emplace_back(name, valueOf(name));
    }
    return fields;
}

std::string valueOf(const std::string& tagName) {
    return "value of " + tagName;
}

std::vector<std::string> stored(const Handler& handler) {
    std::vector<std::string> values(handler.storeSize);
    std::transform(handler.store, handler.store + handler.storeSize, values.begin(),
                   [](const QString& value) { return value.toStdString(); });
    return values;
}

std::vector<std::string> storeOf(const Handler& handler, const Fields& fields) {
    std::vector<std::string> values(handler.storeSize);
    for (std::size_t i = 0; i < handler.tags.size(); ++i) {
        const auto field = std::find_if(fields.begin(), fields.end(),
                                        [&](const auto& each) { return each.first == handler.tags[i]; });
        values[i] = field != fields.end() ? field->second : "";
    }
    return values;
}

void fillStore(const Handler& handler, const char* text) {
    std::fill(handler.store, handler.store + handler.storeSize, QString::fromUtf8(text));
}

std::string ReceivedTest::messageOf(const Handler& handler, const Fields& fields) {
    std::string tags = tag("Ex_TrTime", "20260102030405") + tag("Ex_SeqNo", "4711");
    for (const auto& [name, value] : fields) {
        tags += tag(name, value);
    }
    return message(handler.type, tags);
}

int ReceivedTest::hand(const Handler& handler, std::string text) {
    return (analyser().*handler.receive)(text.data());
}
