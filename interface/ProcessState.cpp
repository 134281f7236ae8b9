// All state that lives as long as the library is loaded, in the order in which it is built. It is torn down
// in the reverse order: the channel first, so that the receiver is gone before anything that it uses, the log
// last.

#include "analysis/ResultStores.h"
#include "device/ChannelState.h"
#include "device/HIDDevice.h"
#include "util/FileLog.h"
#include "util/LockConfig.h"

CFileLog g_PDA_Log;
QString g_Vid;
QString g_Pid;

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
ChannelState g_channel;
CHIDDevice g_HIDDevice;
