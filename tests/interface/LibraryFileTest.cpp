#include "ProgramRun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <pthread.h>
#include <set>
#include <sstream>
#include <string>
#include <vector>

// What the library file states of itself. The list of what hosts may link against is written down here a
// second time, by hand.

namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

#define TEXTS_5 "char*, char*, char*, char*, char*"
#define TEXTS_25 TEXTS_5 ", " TEXTS_5 ", " TEXTS_5 ", " TEXTS_5 ", " TEXTS_5
#define STD_STRING "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >"

// Constructors and destructors stand twice: for complete objects and for bases.
const std::multiset<std::string> kFunctions = {
    "PDA_CommonCall",

    "fun1()",
    "LoadLockConfig()",
    "findUsbDevice(QString const&, QString const&)",
    "run_proc(void*)",

    "cmutexlock::cmutexlock()",
    "cmutexlock::cmutexlock()",
    "cmutexlock::~cmutexlock()",
    "cmutexlock::~cmutexlock()",
    "cmutexlock::Lock()",
    "cmutexlock::Unlock()",

    "CFileLog::CFileLog()",
    "CFileLog::CFileLog()",
    "CFileLog::~CFileLog()",
    "CFileLog::~CFileLog()",
    "CFileLog::Open(char const*)",
    "CFileLog::Close()",
    "CFileLog::Backup(int)",
    "CFileLog::AddLog(long, char const*)",
    "CFileLog::AddLogEx(long, char const*, ...)",

    "CGetConfigVal::CGetConfigVal()",
    "CGetConfigVal::CGetConfigVal()",
    "CGetConfigVal::GetprofileConfig(char const*, CParamConfig*)",
    // NOLINTNEXTLINE(bugprone-suspicious-missing-comma): one name in three pieces
    "CGetConfigVal::CompareAndGetVal(" STD_STRING ", char const*, char*)",
    "CGetConfigVal::eraseSpace(char*)",

    "CUtil::CUtil()",
    "CUtil::CUtil()",
    "CUtil::~CUtil()",
    "CUtil::~CUtil()",
    "CUtil::GetXMLValue(QString&, char*, int, char*)",
    "CUtil::MergeStr(QString&, QString&)",
    "CUtil::MergeStr(" STD_STRING "&, " STD_STRING "&)",
    "CUtil::plitStr(QString, QString, std::vector<QString, std::allocator<QString> >&)",
    "CUtil::removeEndChar(QString&)",
    "CUtil::getCurrentTimes()",
    "CUtil::Delay_MSec(unsigned int)",
    "CUtil::GetTickCount()",
    "CUtil::CRC16(unsigned long, unsigned char*)",
    "CUtil::hex_to_str(char*, unsigned char*, int)",
    "CUtil::str_to_hex(char const*, unsigned char*, int)",

    "CHIDDevice::CHIDDevice()",
    "CHIDDevice::CHIDDevice()",
    "CHIDDevice::~CHIDDevice()",
    "CHIDDevice::~CHIDDevice()",
    "CHIDDevice::openHidDevice()",
    "CHIDDevice::getBuffer()",
    "CHIDDevice::clearBuffer()",
    "CHIDDevice::SendData(QString const&)",
    "CHIDDevice::SendData(char*, int)",
    "CHIDDevice::SendData_test(unsigned char*, int)",

    "CPDAXMLAnalysis::CPDAXMLAnalysis()",
    "CPDAXMLAnalysis::CPDAXMLAnalysis()",
    "CPDAXMLAnalysis::~CPDAXMLAnalysis()",
    "CPDAXMLAnalysis::~CPDAXMLAnalysis()",
    "CPDAXMLAnalysis::PDA_CommonCall(char const*, int, char*, int*)",
    "CPDAXMLAnalysis::Init(char*, char*, char*, char*, char*)",
    "CPDAXMLAnalysis::GetInfo(char*, char*, char*, char*)",
    "CPDAXMLAnalysis::WriteBagNumber(char*, char*, char*, char*, char*)",
    "CPDAXMLAnalysis::StartScan(char*, char*, char*)",
    "CPDAXMLAnalysis::GetScanLabelList(char*, char*, int*, int*, char*)",
    "CPDAXMLAnalysis::DownInvenData(char*, char*, int*, char*, char*)",
    "CPDAXMLAnalysis::GetInventoryRet(char*, char*, int*, char*, char*, char*, char*, char*, char*, char*, "
    "char*, char*, char*)",
    "CPDAXMLAnalysis::SyncHandoverDotData(char*, char*, int*, char*, char*, char*, char*, int*, char*, "
    "char*, char*, char*)",
    "CPDAXMLAnalysis::SyncHandoverDotData(" TEXTS_25 ")",
    "CPDAXMLAnalysis::GetHandoverDotRet(" TEXTS_25 ")",
    "CPDAXMLAnalysis::SyncHandoverPowerData(char*, char*, char*, char*, char*, char*, int*, char*, char*, "
    "char*)",
    "CPDAXMLAnalysis::GetHandoverPowerRet(" TEXTS_25 ")",
    "CPDAXMLAnalysis::KeyInit(char*, char*, char*, char*)",
    "CPDAXMLAnalysis::GetKeyVerificationValue(char*, char*, char*)",
    "CPDAXMLAnalysis::UpdateWorkKey(char*, char*, char*, char*, char*, char*)",
    "CPDAXMLAnalysis::ReadFileDataToPDA(char*, int*, char*, char*, char*)",
    "CPDAXMLAnalysis::ReceiveDataSaveToFile(char*, int*, char*, char*, char*)",
    "CPDAXMLAnalysis::PDA_GetRegisterUserData(char*, char*, char*)",
    "CPDAXMLAnalysis::PDA_SendUserAuthenticationResult(char*, char const*, char*)",
    "CPDAXMLAnalysis::PDA_EscortUserInfoSync(char*, char const*, char*)",
    "CPDAXMLAnalysis::SetBleMac(char*, char*)",
    "CPDAXMLAnalysis::GetLockList(char*, char*, char*, char*, char*, char*, char*)",
    "CPDAXMLAnalysis::GetLockInfo(char*, char*, char*, char*, char*, char*, char*, char*, char*, char*, "
    "char*)",
    "CPDAXMLAnalysis::GetPublicKey(char*, char*, char*, char*, char*, char*)",
    "CPDAXMLAnalysis::InitCDKKEV_CDKKCV(char*, char*, char*, char*, char*, char*, char*)",
    "CPDAXMLAnalysis::GetCDKKEV_CDKKCV(char*, char*, char*, char*, char*, char*)",
    "CPDAXMLAnalysis::updateCDKKEV(char*, char*, char*, char*, char*, char*, char*, char*, char*, char*, "
    "char*, char*, char*, char*, char*, char*)",
    "CPDAXMLAnalysis::ReqOpenLock(char*, char*, char*, char*, char*, char*, char*, char*)",
    "CPDAXMLAnalysis::ReadLockRes(char*, char*, char*, char*, char*, char*, char*, char*, char*, char*, "
    "char*)",
    "CPDAXMLAnalysis::ReceiveScanResult(char*)",
    "CPDAXMLAnalysis::ReceiveRandomNumber(char*)",
    "CPDAXMLAnalysis::ReceiveLoginData(char*)",
    "CPDAXMLAnalysis::ReceiveInventoryData(char*)",
    "CPDAXMLAnalysis::ReceiveHandoverDotData(char*)",
    "CPDAXMLAnalysis::ReceiveHandoverPowerData(char*)",
    "CPDAXMLAnalysis::GetRandomNumber(char*, char*)",
    "CPDAXMLAnalysis::GetLoginData(char*, char*, char*, char*, char*, char*, char*)",
    "CPDAXMLAnalysis::SyncLoginResult(char*, char*)",
    "CPDAXMLAnalysis::ConvertUTF8ToANSI(char*, QString&)",
};

/// The log as its fields follow each other.
struct LogFields {
    int openFlag;
    long sizeLimit;
    int backupCount;
    char fileName[512];
    void* file;
    pthread_mutex_t lock;
};

constexpr std::size_t kTextSize = sizeof(void*); // a QString is one pointer

const std::map<std::string, std::size_t> kObjects = {
    {"pda_ScanLabel", 2000 * kTextSize},
    {"pda_RandomNumber", 2 * kTextSize},
    {"pda_LoginData", 8 * kTextSize},
    {"pda_GetInventoryRet", 10 * kTextSize},
    {"pda_HandoverDotData", 24 * kTextSize},
    {"pda_HandoverPowerData", 24 * kTextSize},
    {"pda_ScanState", sizeof(bool)},
    {"pda_HandoverDotState", sizeof(bool)},
    {"pda_HandoverPowerState", sizeof(bool)},
    {"m_SeqNo", sizeof(int)},
    {"m_PerformTasksYN", sizeof(char)},
    {"g_PDA_Log", sizeof(LogFields)},
    {"g_HIDDevice", 1}, // a class without data
    {"g_Vid", kTextSize},
    {"g_Pid", kTextSize},
    {"g_strSerialPort", kTextSize},
    {"g_buffer", kTextSize},
    {"g_fd", sizeof(int)},
    {"g_hidRun", sizeof(bool)},
    {"g_isBufferCome", sizeof(bool)},
    {"g_lock_buffer", sizeof(pthread_mutex_t)},
    {"g_run_thread", sizeof(pthread_t)},
};

/// What a tool of the binutils prints of the library, line by line.
std::vector<std::string> linesOf(std::vector<std::string> command) {
    command.emplace_back(PDALINK_LIBRARY_FILE);
    const pdalink::test::ProgramResult result = pdalink::test::runProgram(command);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    std::vector<std::string> lines;
    std::istringstream stream(result.output);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// A symbol of the dynamic symbol table.
struct Symbol {
    std::size_t size = 0;
    std::string type;
    std::string binding;
    std::string visibility;
    std::string section; ///< "UND" for one that is imported
    std::string name;
};

std::vector<Symbol> symbols(const std::string& demangling) {
    std::vector<Symbol> all;
    for (const std::string& line : linesOf({"readelf", "-W", "--dyn-syms", demangling})) {
        std::istringstream stream(line);
        Symbol symbol;
        std::string number;
        std::string address;
        stream >> number >> address >> symbol.size >> symbol.type >> symbol.binding >> symbol.visibility >>
            symbol.section >> std::ws;
        if (std::getline(stream, symbol.name) && symbol.binding != "LOCAL") {
            all.push_back(symbol);
        }
    }
    return all;
}

template <typename Elements>
std::vector<typename Elements::value_type> difference(const Elements& from, const Elements& take) {
    std::vector<typename Elements::value_type> rest;
    std::set_difference(from.begin(), from.end(), take.begin(), take.end(), std::back_inserter(rest));
    return rest;
}

TEST(LibraryFile, ExportsTheseFunctionsAndObjectsAndNoOthers) {
    std::multiset<std::string> functions;
    std::map<std::string, std::size_t> objects;
    for (const Symbol& symbol : symbols("--demangle")) {
        if (symbol.section == "UND") {
            continue;
        }
        if (symbol.type == "OBJECT") {
            objects[symbol.name] = symbol.size;
        } else {
            functions.insert(symbol.name);
        }
        // A host may replace or copy each; a unique one would keep the library loaded.
        EXPECT_EQ(symbol.visibility, "DEFAULT") << symbol.name;
        EXPECT_EQ(symbol.binding, "GLOBAL") << symbol.name;
    }
    EXPECT_EQ(difference(kFunctions, functions), std::vector<std::string>()) << "missing";
    EXPECT_EQ(difference(functions, kFunctions), std::vector<std::string>()) << "not expected";
    EXPECT_EQ(objects, kObjects);
}

TEST(LibraryFile, IsHardened) {
    for (const std::string& line : linesOf({"readelf", "-W", "-l"})) {
        EXPECT_TRUE(line.find("GNU_STACK") == std::string::npos || line.find(" RW ") != std::string::npos)
            << line;
        EXPECT_TRUE(line.find(" LOAD ") == std::string::npos || line.find("RWE") == std::string::npos)
            << line;
    }
    EXPECT_THAT(linesOf({"readelf", "-W", "-l"}), Contains(HasSubstr("GNU_STACK")));
    EXPECT_THAT(linesOf({"readelf", "-W", "-l"}), Contains(HasSubstr("GNU_RELRO")));
    EXPECT_THAT(linesOf({"readelf", "-W", "-d"}),
                Contains(testing::AllOf(HasSubstr("FLAGS"), HasSubstr("NOW"))));
    EXPECT_THAT(linesOf({"readelf", "-W", "-d"}), Not(Contains(HasSubstr("TEXTREL"))));
    bool guardsItsStack = false;
    bool checksItsFormatting = false;
    for (const Symbol& symbol : symbols("--no-demangle")) {
        guardsItsStack = guardsItsStack || symbol.name.rfind("__stack_chk_fail", 0) == 0;
        checksItsFormatting = checksItsFormatting || symbol.name.find("_chk@") != std::string::npos;
    }
    EXPECT_TRUE(guardsItsStack);
    EXPECT_EQ(checksItsFormatting, PDALINK_IS_RELEASE);
}

#ifdef __x86_64__
TEST(LibraryFile, BeginsItsFunctionsWithATargetForIndirectBranches) {
    std::set<std::string> labels;
    for (const Symbol& symbol : symbols("--no-demangle")) {
        if (symbol.section != "UND" && symbol.type == "FUNC") {
            labels.insert("<" + symbol.name + ">:");
        }
    }
    std::size_t found = 0;
    const std::vector<std::string> code = linesOf({"objdump", "-d", "--no-show-raw-insn"});
    for (std::size_t i = 0; i + 1 < code.size(); ++i) {
        const std::size_t label = code[i].find('<');
        if (label != std::string::npos && labels.count(code[i].substr(label)) == 1) {
            ++found;
            EXPECT_THAT(code[i + 1], HasSubstr("endbr64")) << code[i];
        }
    }
    EXPECT_GT(found, labels.size() / 2) << "one function may have several names";
}
#endif

TEST(LibraryFile, HasItsVersionedNameAndNeedsOnlyQtUdevAndTheSystem) {
    const fs::path file = fs::canonical(PDALINK_LIBRARY_FILE);
    EXPECT_EQ(file.parent_path().filename(), "lib");
    EXPECT_EQ(fs::canonical(file.parent_path() / "libpdalink.so.1"), file);
    EXPECT_EQ(fs::canonical(file.parent_path() / "libpdalink.so"), file);
    const std::set<std::string> system = {"libc.so.6",
                                          "libstdc++.so.6",
                                          "libm.so.6",
                                          "libgcc_s.so.1",
                                          "libdl.so.2",
                                          "libpthread.so.0",
                                          "ld-linux-x86-64.so.2",
                                          "ld-linux-aarch64.so.1"};
    std::multiset<std::string> others;
    for (const std::string& line : linesOf({"readelf", "-W", "-d"})) {
        const std::size_t begin = line.find('[') + 1;
        const std::string name = line.substr(begin, line.find(']') - begin);
        if (line.find("(SONAME)") != std::string::npos) {
            EXPECT_EQ(name, "libpdalink.so.1");
        } else if (line.find("(NEEDED)") != std::string::npos && system.count(name) == 0 &&
                   !(PDALINK_IS_SANITIZED && name.find("san.so") != std::string::npos)) {
            others.insert(name);
        }
        for (const char* unwanted :
             {"(RPATH)", "(RUNPATH)", "NODELETE"}) { // no build machine; can be unloaded
            EXPECT_EQ(line.find(unwanted), std::string::npos) << line;
        }
    }
    EXPECT_EQ(others, (std::multiset<std::string>{"libQt5Core.so.5", "libudev.so.1"}));
}

} // namespace
