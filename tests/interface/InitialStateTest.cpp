#include "PrivateDirectory.h"
#include "analysis/ResultStores.h"
#include "device/HIDDevice.h"
#include "util/FileLog.h"
#include "util/LockConfig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

// The library's state in a process that has loaded it and not called it yet.

namespace {

using namespace pdalink::test;

template <std::size_t Size>
void expectEmpty(const QString (&store)[Size], std::size_t size) {
    EXPECT_EQ(Size, size);
    EXPECT_TRUE(std::all_of(store, store + Size, [](const QString& text) { return text.isEmpty(); }));
}

TEST(InitialState, IsEmptyAndClosed) {
    expectEmpty(pda_ScanLabel, 2000);
    expectEmpty(pda_RandomNumber, 2);
    expectEmpty(pda_LoginData, 8);
    expectEmpty(pda_GetInventoryRet, 10);
    expectEmpty(pda_HandoverDotData, 24);
    expectEmpty(pda_HandoverPowerData, 24);
    EXPECT_FALSE(pda_ScanState);
    EXPECT_FALSE(pda_HandoverDotState);
    EXPECT_FALSE(pda_HandoverPowerState);
    EXPECT_EQ(m_SeqNo, 0);
    EXPECT_EQ(m_PerformTasksYN, 0);
    EXPECT_TRUE(g_Vid.isEmpty());
    EXPECT_TRUE(g_Pid.isEmpty());
    EXPECT_EQ(g_fd, -1);
    EXPECT_FALSE(g_hidRun);
    EXPECT_FALSE(g_isBufferCome);
    EXPECT_TRUE(g_buffer.isEmpty());
    EXPECT_TRUE(g_strSerialPort.isEmpty());
    EXPECT_EQ(pthread_equal(g_run_thread, pthread_t{}), 1);
    EXPECT_EQ(g_lock_buffer.Lock() + g_lock_buffer.Unlock(), 0);
    EXPECT_FALSE(g_PDA_Log.AddLog(pdalink::Message, "lost"));
    EXPECT_FALSE(std::filesystem::exists(privateDirectory() + "/log"));
}

} // namespace
