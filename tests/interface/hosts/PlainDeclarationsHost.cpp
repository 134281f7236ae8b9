// A host that declares the library's state by itself, as plain types, and is not position independent: its
// copies of the variables are then the ones that count. plain_declarations_host REQUEST
#include <pdalink.h>

#include <dlfcn.h>

#include <cstdio>
#include <vector>

extern int m_SeqNo;
extern char m_PerformTasksYN;
extern bool pda_ScanState;
extern int g_fd;
extern bool g_hidRun;
extern bool g_isBufferCome;

namespace {

void tell(const char* when) {
    std::printf("%s m_SeqNo: %d\n", when, m_SeqNo);
    std::printf("%s m_PerformTasksYN: %d\n", when, m_PerformTasksYN);
    std::printf("%s pda_ScanState: %d\n", when, pda_ScanState ? 1 : 0);
    std::printf("%s g_fd: %d\n", when, g_fd);
    std::printf("%s g_hidRun: %d\n", when, g_hidRun ? 1 : 0);
    std::printf("%s g_isBufferCome: %d\n", when, g_isBufferCome ? 1 : 0);
}

} // namespace

int main(int argc, char** argv) {
    tell("before");
    Dl_info owner{};
    dladdr(&m_SeqNo, &owner);
    std::printf("m_SeqNo is in: %s\n", owner.dli_fname);
    m_SeqNo = 41;
    std::vector<char> response(128UL * 1024, '\0');
    int length = 0;
    PDA_CommonCall(argc > 1 ? argv[1] : "", 0, response.data(), &length);
    tell("after");
    return 0;
}
