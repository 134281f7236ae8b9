#include "TestTerminal.h"
#include "interface/pdalink.h"

#include <QCoreApplication>
#include <QThread>

#include <condition_variable>
#include <functional>
#include <gmock/gmock.h>
#include <mutex>
#include <queue>
#include <thread>

namespace {

#include "HostGuide.h" // the code in docs/host-guide.md

TEST(HostGuide, HasAThreadThatMakesTheCallsInTheirOrder) {
    const pdalink::test::TestTerminal simulated;
    int count = 1;
    char name[] = "host";
    char* arguments[] = {name, nullptr};
    const QCoreApplication application(count, arguments);
    QObject window;
    std::vector<std::string> responses;
    {
        Terminal terminal;
        for (const char* request : {R"({"transCode":"600099"})", R"({"transCode":"600013","pdaNumber":"1"})",
                                    R"({"transCode":"600017","pdaNumber":"1"})"}) {
            terminal.call(request, &window, [&](const QByteArray& response) {
                EXPECT_EQ(QThread::currentThread(), application.thread());
                responses.push_back(response.toStdString());
            });
        }
        EXPECT_TRUE(responses.empty());
    }
    QCoreApplication::processEvents();
    EXPECT_THAT(responses,
                testing::ElementsAre("{}", R"({"pCheckVal":"","pRetCode":"000002","transCode":"600013"})",
                                     R"({"pRetCode":"000005","pTellerNo":"","transCode":"600017"})"));
}

} // namespace
