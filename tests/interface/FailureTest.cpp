#include "MemoryLimit.h"
#include "PrivateDirectory.h"
#include "TestBed.h"
#include "TestTerminal.h"
#include "analysis/PDAXMLAnalysis.h"
#include "analysis/ResultStores.h"
#include "interface/pdalink.h"
#include "tests/interface/FailingAllocation.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTimer>

#include <cstdlib>
#include <stdexcept>
#include <string>

// Whatever goes wrong inside, a host gets its result and keeps its buffers.

namespace {

using namespace pdalink::test;

constexpr int kUntouchedLength = -7;
const std::string kGetInfo = R"({"transCode":"600002"})";

/// The buffers of a host, which see whether they were written to.
struct Buffers {
    bool untouched() const {
        return length == kUntouchedLength && response.find_first_not_of('#') == std::string::npos;
    }
    std::string text() const { return response.c_str(); } // NOLINT(readability-redundant-string-cstr)

    std::string response = std::string(130000, '#');
    int length = kUntouchedLength;
};

TEST(OutOfMemory, LeavesTheEntryWithZeroAndTheOutputsUntouchedOrComplete) {
    for (const char* request : {R"({"transCode":"700000"})", R"({"transCode":"600001"})",
                                R"({"a":{"transCode":"600002"}})", "none"}) {
        SCOPED_TRACE(request);
        CPDAXMLAnalysis analyser;
        Buffers buffers;
        const auto prepare = [&] { buffers = Buffers(); };
        int failures = 0;
        failEachAllocation(
            prepare,
            [&] { return analyser.PDA_CommonCall(request, 0, buffers.response.data(), &buffers.length); },
            [&](int result) {
                failures += result == 1 ? 1 : 0;
                EXPECT_TRUE(buffers.untouched() ||
                            (result != 1 && static_cast<int>(buffers.text().size()) == buffers.length))
                    << buffers.text();
            });
        EXPECT_GT(failures, 0) << "hardly anything was allocated where the test can see it";
        failEachAllocation(
            prepare, [&] { return PDA_CommonCall(request, 0, buffers.response.data(), &buffers.length); },
            [](int result) { EXPECT_EQ(result, 0); });
    }
}

constexpr std::size_t kMebi = 1024UL * 1024;

std::string requestOf(std::size_t numbers) {
    std::string request = R"({"transCode":"700000","x":[0)";
    for (std::size_t i = 0; i < numbers; ++i) {
        request += ",0";
    }
    return request + "]}";
}

/// Makes the request with so little memory left and checks that it fails without a trace.
void expectFailureWithin(std::size_t memory, const std::string& request) {
    if (PDALINK_IS_SANITIZED) {
        GTEST_SKIP() << "the sanitizers need all of the address space";
    }
    CPDAXMLAnalysis analyser;
    Buffers buffers;
    int result = 0;
    int entryResult = 0;
    {
        const MemoryLimit limit(memory);
        if (!limit.isKept()) {
            GTEST_SKIP() << "memory is not limited here";
        }
        result = analyser.PDA_CommonCall(request.c_str(), 0, buffers.response.data(), &buffers.length);
        entryResult = PDA_CommonCall(request.c_str(), 0, buffers.response.data(), &buffers.length);
    }
    EXPECT_EQ(result, 1);
    EXPECT_EQ(entryResult, 0);
    EXPECT_TRUE(buffers.untouched());
    EXPECT_EQ(PDA_CommonCall(R"({"transCode":"700000"})", 0, buffers.response.data(), nullptr), 0);
    EXPECT_EQ(buffers.text(), "{}") << "the next call works";
}

TEST(LargeRequest, ThatCannotBeLoggedOrParsedFails) {
    expectFailureWithin(20 * kMebi, requestOf(30 * kMebi));
    expectFailureWithin(100 * kMebi, requestOf(15 * kMebi));
}

/// A host whose event handler throws while the library waits.
class ThrowingEventHandler : public testing::Test {
protected:
    /// Calls GetInfo with the handler's event pending; the library handles events while it opens the channel.
    template <typename Exception>
    int callWith(const Exception& exception) {
        QTimer::singleShot(0, [&exception] { throw exception; });
        return PDA_CommonCall(kGetInfo.c_str(), 0, m_buffers.response.data(), &m_buffers.length);
    }

private:
    // Qt's own event loop: GLib's, in C, is not made for exceptions that pass through.
    int m_withoutGlib = setenv("QT_NO_GLIB", "1", 1);
    int m_argumentCount = 1;
    char m_name[5] = "host";
    char* m_arguments[2] = {m_name, nullptr};
    QCoreApplication m_application{m_argumentCount, m_arguments};
    pdasim::TestBed m_noDevices;
    Buffers m_buffers;
};

TEST_F(ThrowingEventHandler, DoesNotThrowThroughTheEntry) {
    EXPECT_EQ(callWith(42), 0);
    EXPECT_EQ(callWith(std::runtime_error("the host's own")), 0);
    EXPECT_EQ(m_PerformTasksYN, 0) << "ended as an internal failure does";
    const std::vector<std::string> messages = readLogTexts(1);
    EXPECT_NE(messages.back().find(" ret:1"), std::string::npos) << messages.back();
}

} // namespace
