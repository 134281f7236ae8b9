// All state that lives as long as the library is loaded, in the order in which it is built. It is torn down
// in the reverse order: the channel first, so that the receiver is gone before anything that it uses, the log
// last.
//
// The child of a fork has no receiver: there the channel begins anew.

#include "analysis/ResultStores.h"
#include "device/ChannelState.h"
#include "device/HIDDevice.h"
#include "util/FileLog.h"
#include "util/ForkSection.h"
#include "util/LockConfig.h"
#include "util/Settings.h"

#include <new>
#include <unistd.h>

CFileLog g_PDA_Log;
QString g_Vid;
QString g_Pid;
std::atomic<bool> pdalink::waitForWholeReply{false};

QString pda_ScanLabel[2000];
QString pda_RandomNumber[2];
QString pda_LoginData[8];
QString pda_GetInventoryRet[10];
QString pda_HandoverDotData[24];
QString pda_HandoverPowerData[24];
bool pda_HandoverDotState = false;
bool pda_HandoverPowerState = false;
bool pda_ScanState = false;
char m_PerformTasksYN = 0;
int m_SeqNo = 0;

std::atomic<bool> g_hidRun{false};
std::atomic<bool> g_isBufferCome{false};
pthread_t g_run_thread{};
std::atomic<int> g_fd{-1};
QString g_strSerialPort;
QString g_buffer;
cmutexlock g_lock_buffer;
pdalink::ChannelState pdalink::g_channel;
CHIDDevice g_HIDDevice;

namespace {

using pdalink::ForkSection;
using pdalink::g_channel;

/// Puts a new object in the place of one that another thread may have been changing at the moment of the
/// fork, and that therefore can neither be used nor destroyed.
template <typename Object>
void renew(Object& object) {
    new (&object) Object;
}

void resetInChild() {
    if (!ForkSection::afterForkInChild()) {
        renew(g_PDA_Log);
    }
    if (g_channel.node >= 0) {
        close(g_channel.node);
    }
    renew(g_channel);
    renew(g_lock_buffer);
    renew(g_buffer);
    g_fd = -1;
    g_hidRun = false;
    g_isBufferCome = false;
    g_run_thread = {};
}

[[maybe_unused]] const int g_forkHandlers =
    pthread_atfork(ForkSection::beforeFork, ForkSection::afterFork, resetInChild);

} // namespace
