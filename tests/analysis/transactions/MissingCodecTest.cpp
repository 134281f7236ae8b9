#include "tests/analysis/TransactionFixture.h"

#include <QTextCodec>

// In place of Qt's: a Qt that lacks every text codec that is asked for by name.
__attribute__((visibility("default"))) QTextCodec* QTextCodec::codecForName(const QByteArray& /*name*/) {
    return nullptr;
}

namespace {

using testing::IsEmpty;

using MissingCodec = TransactionTest;

TEST_F(MissingCodec, FailsTheTransactionInternallyAndSendsNothing) {
    OutputBuffer retCode;
    m_PerformTasksYN = 1;
    EXPECT_EQ(analyser().SyncHandoverDotData(nullptr, nullptr, nullptr, HostText("R"), nullptr, nullptr,
                                             HostText("O"), nullptr, nullptr, nullptr, nullptr,
                                             retCode.data()),
              1);
    EXPECT_THAT(retCode.written(), IsEmpty());
    EXPECT_THAT(terminal().received(), IsEmpty());
    EXPECT_EQ(m_PerformTasksYN, 0);
}

} // namespace
