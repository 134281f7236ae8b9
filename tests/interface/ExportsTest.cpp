#include "tests/interface/ElfFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cxxabi.h>
#include <map>
#include <pthread.h>
#include <set>

// The list of what hosts may link against is written down here a second time, by hand.

namespace {

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

const std::set<std::string> kClasses = {"cmutexlock", "CFileLog",   "CGetConfigVal",
                                        "CUtil",      "CHIDDevice", "CPDAXMLAnalysis"};

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

/// The declaration behind a decorated name; an undecorated name as it is.
std::string declarationOf(const std::string& name) {
    if (name.compare(0, 2, "_Z") != 0) {
        return name;
    }
    int status = 0;
    char* const text = abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status);
    std::string declaration = status == 0 ? text : name;
    std::free(text);
    return declaration;
}

class Exports : public testing::Test {
protected:
    const ElfFile& library() const { return m_library; }

    std::multiset<std::string> functions() const {
        std::multiset<std::string> found;
        for (const ElfFile::Symbol& symbol : library().exportedSymbols()) {
            if (symbol.type != STT_OBJECT) {
                found.insert(declarationOf(symbol.name));
            }
        }
        return found;
    }

    std::map<std::string, std::size_t> objects() const {
        std::map<std::string, std::size_t> found;
        for (const ElfFile::Symbol& symbol : library().exportedSymbols()) {
            if (symbol.type == STT_OBJECT) {
                found[declarationOf(symbol.name)] = symbol.size;
            }
        }
        return found;
    }

    bool exportsName(const std::string& name) const {
        const auto& symbols = library().exportedSymbols();
        return std::any_of(symbols.begin(), symbols.end(),
                           [&name](const ElfFile::Symbol& symbol) { return symbol.name == name; });
    }

private:
    ElfFile m_library{PDALINK_LIBRARY_FILE};
};

template <typename Elements>
std::vector<typename Elements::value_type> difference(const Elements& from, const Elements& take) {
    std::vector<typename Elements::value_type> rest;
    std::set_difference(from.begin(), from.end(), take.begin(), take.end(), std::back_inserter(rest));
    return rest;
}

TEST_F(Exports, LackNoFunction) {
    EXPECT_EQ(difference(kFunctions, functions()), std::vector<std::string>());
}

TEST_F(Exports, HaveNoFurtherFunction) {
    EXPECT_EQ(difference(functions(), kFunctions), std::vector<std::string>());
}

TEST_F(Exports, LackNoObjectAndHaveItsSize) {
    for (const auto& [name, size] : difference(kObjects, objects())) {
        ADD_FAILURE() << name << " of " << size << " bytes is missing";
    }
}

TEST_F(Exports, HaveNoFurtherObject) {
    for (const auto& [name, size] : difference(objects(), kObjects)) {
        ADD_FAILURE() << name << " of " << size << " bytes is not expected";
    }
}

TEST_F(Exports, HaveConstructorsAndDestructorsOfBothKinds) {
    for (const std::string& name : kClasses) {
        const std::string prefix = "_ZN" + std::to_string(name.size()) + name;
        EXPECT_TRUE(exportsName(prefix + "C1Ev")) << name;
        EXPECT_TRUE(exportsName(prefix + "C2Ev")) << name;
        const bool hasDestructor = name != "CGetConfigVal";
        EXPECT_EQ(exportsName(prefix + "D1Ev"), hasDestructor) << name;
        EXPECT_EQ(exportsName(prefix + "D2Ev"), hasDestructor) << name;
    }
}

TEST_F(Exports, OfTheEntryAreUndecorated) {
    EXPECT_TRUE(exportsName("PDA_CommonCall"));
}

TEST_F(Exports, MayAllBeReplacedOrCopiedByAHost) {
    for (const ElfFile::Symbol& symbol : library().exportedSymbols()) {
        EXPECT_EQ(symbol.visibility, STV_DEFAULT) << symbol.name;
        EXPECT_EQ(symbol.binding, STB_GLOBAL) << symbol.name; // a unique one would keep the library loaded
    }
}

} // namespace
