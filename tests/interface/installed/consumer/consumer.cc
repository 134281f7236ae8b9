#include <pdalink.h>
#include <pdalink/analysis/PDAXMLAnalysis.h>
#include <pdalink/analysis/ResultStores.h>
#include <pdalink/device/HIDDevice.h>
#include <pdalink/device/UsbDiscovery.h>
#include <pdalink/util/FileLog.h>
#include <pdalink/util/LockConfig.h>
#include <pdalink/util/Util.h>
#include <pdalink/util/cgetconfigval.h>
#include <pdalink/util/mutexlock.h>

#include <cstdio>
#include <vector>

int main() {
    std::vector<char> response(128 * 1024, '\0');
    int length = 0;
    CPDAXMLAnalysis analyser;
    const int result = analyser.PDA_CommonCall(R"({"transCode":"700000"})", 22, response.data(), &length);
    std::printf("C++: %d %d %s\n", result, length, response.data());
    std::printf("ids: %s %s\n", g_Vid.toUtf8().constData(), g_Pid.toUtf8().constData());
    std::printf("state: %d %d %d %zu\n", m_SeqNo, g_fd.load(), g_hidRun ? 1 : 0,
                sizeof pda_ScanLabel / sizeof *pda_ScanLabel);
    cmutexlock mutex;
    char value[8] = {};
    const bool found = CGetConfigVal().CompareAndGetVal("key = a", "key", value);
    std::printf("helpers: %d %d %s\n", mutex.Lock() + mutex.Unlock(), found ? 1 : 0, value);
    std::printf("logged: %d\n", g_PDA_Log.AddLogEx(pdalink::Message, "consumer %d", 1) ? 1 : 0);
    CUtil::Delay_MSec(1);
    return 0;
}
