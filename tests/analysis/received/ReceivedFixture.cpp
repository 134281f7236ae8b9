#include "ReceivedFixture.h"

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
