#include "VirtualTest.h"

#include "device/HIDDevice.h"
#include "interface/pdalink.h"

#include <array>
#include <gmock/gmock.h>
#include <pthread.h>
#include <string>
#include <vector>

using namespace pdalink::test;
using namespace std::chrono_literals;

class VirtualCallsTest : public VirtualTest {
protected:
    std::string call(const std::string& request) {
        std::vector<char> response(131072);
        int length = 0;
        PDA_CommonCall(request.c_str(), static_cast<int>(request.size()), response.data(), &length);
        return response.data();
    }
};

namespace {

const std::string kInformation =
    "0001978001QEV   000000000000000000000000        05<Ex_EIMI>1</Ex_EIMI><Ex_BleVer>2</Ex_BleVer>"
    "<Ex_PdaVer>3</Ex_PdaVer><Ex_RetCode>000000</Ex_RetCode>";
const std::string kNothing =
    R"({"pBleVersion":"","pPDAVersion":"","pRetCode":"000060","pSN":"","transCode":"600002"})";
const std::string kAnswered =
    R"({"pBleVersion":"2","pPDAVersion":"3","pRetCode":"000000","pSN":"1","transCode":"600002"})";
const std::string kRequest = R"({"transCode":"600002"})";

} // namespace

TEST_F(VirtualCallsTest, ASilentTerminalIsWaitedForToTheMillisecond) {
    EXPECT_EQ(call(kRequest), kNothing);
    EXPECT_EQ(passed(), 1000ms + 4900ms);
    EXPECT_EQ(call(kRequest), kNothing);
    EXPECT_EQ(passed(), 1000ms + 2 * 4900ms);
}

TEST_F(VirtualCallsTest, AFailedReadIsTriedAgainAfterAPause) {
    node().onWrite = [](std::string_view /*bytes*/) {
        deliverAfter(1ms, {"", EIO});
        deliverAfter(2ms, {kInformation});
        return NodeWrite();
    };
    EXPECT_EQ(call(kRequest), kAnswered);
    EXPECT_EQ(passed(), 1000ms + 50ms + 100ms); // the pause is one of 45 ms
}

TEST_F(VirtualCallsTest, AWriteCanFailOrBeShort) {
    node().onWrite = [](std::string_view /*bytes*/) { return NodeWrite{0, 5}; };
    call(kRequest);
    EXPECT_EQ(passed(), 1000ms);
    EXPECT_TRUE(g_hidRun);
    node().onWrite = [](std::string_view /*bytes*/) { return NodeWrite{EIO}; };
    call(kRequest);
    EXPECT_EQ(passed(), 1000ms);
    EXPECT_FALSE(g_hidRun);
    virtual_time::waitUntil(virtual_time::now() + 50ms, nullptr);
    EXPECT_FALSE(node().isOpen());
}

TEST_F(VirtualCallsTest, ATerminalThatIsUnpluggedIsClosedAtTheNextWriteAndFoundAgain) {
    node().onWrite = [](std::string_view /*bytes*/) {
        deliverAfter(0ms, {kInformation});
        return NodeWrite();
    };
    EXPECT_EQ(call(kRequest), kAnswered);
    node().unplug();
    EXPECT_TRUE(node().isOpen());
    call(kRequest);
    call(kRequest);
    EXPECT_FALSE(node().isOpen());
    node().plug();
    EXPECT_EQ(call(kRequest), kAnswered);
}

namespace {

/// What two threads write into one text, at each turn a letter.
std::string turns(std::uint64_t seed) {
    virtual_time::reseed(seed);
    static std::string letters;
    letters.clear();
    const auto body = [](void* letter) -> void* {
        for (int i = 0; i < 20; ++i) {
            letters += *static_cast<const char*>(letter);
            virtual_time::yield();
        }
        return nullptr;
    };
    char a = 'a';
    char b = 'b';
    pthread_t first{};
    pthread_t second{};
    pthread_create(&first, nullptr, body, &a);
    pthread_create(&second, nullptr, body, &b);
    pthread_join(first, nullptr);
    pthread_join(second, nullptr);
    return letters;
}

} // namespace

TEST_F(VirtualCallsTest, TheSeedAloneDecidesTheOrderOfThreads) {
    const std::string order = turns(7);
    EXPECT_EQ(turns(7), order);
    EXPECT_NE(turns(8), order);
    EXPECT_EQ(order.size(), 40U);
}

TEST_F(VirtualCallsTest, AMutexIsHeldByOneThread) {
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    static int inside = 0;
    static int most = 0;
    const auto body = [](void* /*argument*/) -> void* {
        for (int i = 0; i < 10; ++i) {
            pthread_mutex_lock(&mutex);
            most = std::max(most, ++inside);
            virtual_time::waitUntil(virtual_time::now() + 1ms, nullptr);
            --inside;
            pthread_mutex_unlock(&mutex);
        }
        return nullptr;
    };
    std::vector<pthread_t> threads(3);
    for (pthread_t& thread : threads) {
        pthread_create(&thread, nullptr, body, nullptr);
    }
    for (const pthread_t thread : threads) {
        pthread_join(thread, nullptr);
    }
    EXPECT_EQ(most, 1);
    EXPECT_EQ(passed(), 30ms);
}

TEST_F(VirtualCallsTest, AnExceptionIsHandledByItsOwnThread) {
    const auto body = [](void* argument) -> void* {
        int& number = *static_cast<int*>(argument);
        try {
            throw int{number};
        } catch (int) {
            virtual_time::waitUntil(virtual_time::now() + number * 1ms, nullptr);
            try {
                throw;
            } catch (int caught) {
                number -= caught;
            }
        }
        return nullptr;
    };
    std::array<int, 2> numbers{1, 2};
    std::array<pthread_t, 2> threads{};
    for (std::size_t i = 0; i < threads.size(); ++i) {
        pthread_create(&threads[i], nullptr, body, &numbers[i]);
    }
    for (const pthread_t thread : threads) {
        pthread_join(thread, nullptr);
    }
    EXPECT_THAT(numbers, testing::Each(0));
}

TEST_F(VirtualCallsTest, WaitsWithoutAnEndStopTheProcess) {
    const auto spin = [] {
        while (true) {
            virtual_time::yield();
        }
    };
    EXPECT_DEATH(spin(), "a thread never waits");
    EXPECT_DEATH(virtual_time::waitUntil(virtual_time::kNever, nullptr), "every thread waits for ever");
    virtual_time::abortAfter(virtual_time::now() + 1s);
    EXPECT_DEATH(virtual_time::waitUntil(virtual_time::now() + 2s, nullptr), "a wait has no end");
}
