#include "analysis/PDAXMLAnalysis.h"

#include "analysis/Dispatcher.h"
#include "analysis/MemberCall.h"
#include "util/DebugOutput.h"
#include "util/Guard.h"
#include "util/LockConfig.h"

using namespace pdalink;

// NOLINTBEGIN(readability-convert-member-functions-to-static): hosts call members of an object

CPDAXMLAnalysis::CPDAXMLAnalysis() {
    LoadLockConfig();
}

CPDAXMLAnalysis::~CPDAXMLAnalysis() {
    debugOutput("~CPDAXMLAnalysis");
}

int CPDAXMLAnalysis::PDA_CommonCall(const char* inJson, int inLen, char* outJson, int* outLen) {
    return dispatch(inJson, inLen, outJson, outLen);
}

int CPDAXMLAnalysis::Init(char* pdaNumber, char* factory, char* sn, char* vender, char* retCode) {
    return call<rowOf("Init")>(in(pdaNumber, factory), out(sn, vender, retCode));
}

int CPDAXMLAnalysis::GetInfo(char* sn, char* bleVersion, char* pdaVersion, char* retCode) {
    return call<rowOf("GetInfo")>(in(), out(sn, bleVersion, pdaVersion, retCode));
}

int CPDAXMLAnalysis::WriteBagNumber(char* label, char* orgName, char* bagType, char* tid, char* retCode) {
    return call<rowOf("WriteBagNumber")>(in(label, orgName, bagType), out(tid, retCode));
}

int CPDAXMLAnalysis::StartScan(char* pdaNumber, char* command, char* retCode) {
    return call<rowOf("StartScan")>(in(pdaNumber, command), out(retCode));
}

int CPDAXMLAnalysis::GetScanLabelList(char* pdaNumber, char* labels, int* labelCount, int* labelStride,
                                      char* scanState) {
    return call<rowOf("GetScanLabelList")>(in(pdaNumber), out(labels, labelCount, labelStride, scanState));
}

int CPDAXMLAnalysis::DownInvenData(char* pdaNumber, char* taskId, int* total, char* labels, char* retCode) {
    return call<rowOf("DownInvenData")>(in(pdaNumber, taskId, total, labels), out(retCode));
}

int CPDAXMLAnalysis::GetInventoryRet(char* pdaNumber, char* taskId, int* labelCount, char* labels,
                                     char* errLabels, char* offline, char* login, char* name, char* figData,
                                     char* rnd, char* pwd, char* macChkVal, char* state) {
    return call<rowOf("GetInventoryRet")>(in(pdaNumber),
                                          out(taskId, labelCount, labels, errLabels, offline, login, name,
                                              figData, rnd, pwd, macChkVal, state));
}

int CPDAXMLAnalysis::SyncHandoverDotData(char* pdaNumber, char* taskId, int* taskType, char* road,
                                         char* exchangeTime, char* orgNumber, char* orgName, int* total,
                                         char* labels, char* userA, char* userB, char* retCode) {
    return call<rowOf("SyncHandoverDotData")>(
        in(pdaNumber, taskId, taskType, road, exchangeTime, orgNumber, orgName, total, labels, userA, userB),
        out(retCode));
}

int CPDAXMLAnalysis::GetHandoverDotRet(char* pdaNumber, char* taskId, char* road, char* time, char* labels,
                                       char* errLabels, char* aLogin, char* aName, char* aFigData, char* aRnd,
                                       char* aPwd, char* aMacChkVal, char* bLogin, char* bName,
                                       char* bFigData, char* bRnd, char* bPwd, char* bMacChkVal, char* cLogin,
                                       char* cName, char* cFigData, char* cRnd, char* cPwd, char* cMacChkVal,
                                       char* state) {
    return call<rowOf("GetHandoverDotRet")>(
        in(pdaNumber, taskId),
        out(road, time, labels, errLabels, aLogin, aName, aFigData, aRnd, aPwd, aMacChkVal, bLogin, bName,
            bFigData, bRnd, bPwd, bMacChkVal, cLogin, cName, cFigData, cRnd, cPwd, cMacChkVal, state));
}

int CPDAXMLAnalysis::SyncHandoverPowerData(char* pdaNumber, char* taskId, char* orgNumber, char* time,
                                           char* orgName, char* batchNumber, int* total, char* labels,
                                           char* unused, char* retCode) {
    return call<rowOf("SyncHandoverPowerData")>(
        in(pdaNumber, orgNumber, time, orgName, batchNumber, taskId, total, labels, unused), out(retCode));
}

int CPDAXMLAnalysis::GetHandoverPowerRet(char* pdaNumber, char* taskId, char* batchNumber, char* time,
                                         char* labels, char* errLabels, char* aLogin, char* aName,
                                         char* aFigData, char* aRnd, char* aPwd, char* aMacChkVal,
                                         char* bLogin, char* bName, char* bFigData, char* bRnd, char* bPwd,
                                         char* bMacChkVal, char* cLogin, char* cName, char* cFigData,
                                         char* cRnd, char* cPwd, char* cMacChkVal, char* state) {
    return call<rowOf("GetHandoverPowerRet")>(
        in(pdaNumber, taskId),
        out(batchNumber, time, labels, errLabels, aLogin, aName, aFigData, aRnd, aPwd, aMacChkVal, bLogin,
            bName, bFigData, bRnd, bPwd, bMacChkVal, cLogin, cName, cFigData, cRnd, cPwd, cMacChkVal, state));
}

int CPDAXMLAnalysis::KeyInit(char* pdaNumber, char* key, char* checkVal, char* retCode) {
    return call<rowOf("KeyInit")>(in(pdaNumber, key, checkVal), out(retCode));
}

int CPDAXMLAnalysis::GetKeyVerificationValue(char* pdaNumber, char* checkVal, char* retCode) {
    return call<rowOf("GetKeyVerificationValue")>(in(pdaNumber), out(checkVal, retCode));
}

int CPDAXMLAnalysis::UpdateWorkKey(char* pdaNumber, char* encKey, char* macKey, char* encChkVal,
                                   char* macChkVal, char* retCode) {
    return call<rowOf("UpdateWorkKey")>(in(pdaNumber, encKey, macKey, encChkVal, macChkVal), out(retCode));
}

int CPDAXMLAnalysis::ReadFileDataToPDA(char* pdaNumber, int* cmdEx, char* infoEx, char* data, char* retCode) {
    return call<rowOf("ReadFileDataToPDA")>(in(pdaNumber, cmdEx, infoEx, data), out(retCode));
}

int CPDAXMLAnalysis::ReceiveDataSaveToFile(char* pdaNumber, int* cmdEx, char* infEx, char* data,
                                           char* retCode) {
    return call<rowOf("ReceiveDataSaveToFile")>(in(pdaNumber, cmdEx, infEx), out(data, retCode));
}

int CPDAXMLAnalysis::PDA_GetRegisterUserData(char* pdaNumber, char* tellerNo, char* retCode) {
    return call<rowOf("PDA_GetRegisterUserData")>(in(pdaNumber), out(tellerNo, retCode));
}

int CPDAXMLAnalysis::PDA_SendUserAuthenticationResult(char* pdaNumber, const char* authRet, char* retCode) {
    return call<rowOf("PDA_SendUserAuthenticationResult")>(in(pdaNumber, authRet, authRet), out(retCode));
}

int CPDAXMLAnalysis::PDA_EscortUserInfoSync(char* pdaNumber, const char* tellerNo, char* retCode) {
    return call<rowOf("PDA_EscortUserInfoSync")>(in(pdaNumber, tellerNo, tellerNo), out(retCode));
}

int CPDAXMLAnalysis::SetBleMac(char* bleMac, char* retCode) {
    return call<rowOf("SetBleMac")>(in(bleMac), out(retCode));
}

int CPDAXMLAnalysis::GetLockList(char* srcSeqNo, char* retCode, char* lockCount, char* lockIds, char* labels,
                                 char* states, char* rssis) {
    return call<rowOf("GetLockList")>(in(),
                                      out(srcSeqNo, retCode, lockCount, lockIds, labels, states, rssis));
}

int CPDAXMLAnalysis::GetLockInfo(char* lockId, char* srcSeqNo, char* retCode, char* lockIdOut,
                                 char* firmwareVersion, char* chipVersion, char* parameters,
                                 char* bootVersion, char* applicationCrc, char* status, char* rnd) {
    return call<rowOf("GetLockInfo")>(in(lockId),
                                      out(srcSeqNo, retCode, lockIdOut, firmwareVersion, chipVersion,
                                          parameters, bootVersion, applicationCrc, status, rnd));
}

int CPDAXMLAnalysis::GetPublicKey(char* lockId, char* srcSeqNo, char* retCode, char* lockIdOut,
                                  char* publicKey, char* factor) {
    return call<rowOf("GetPublicKey")>(in(lockId), out(srcSeqNo, retCode, lockIdOut, publicKey, factor));
}

int CPDAXMLAnalysis::InitCDKKEV_CDKKCV(char* lockId, char* fv, char* ev, char* cv, char* srcSeqNo,
                                       char* retCode, char* lockIdOut) {
    return call<rowOf("InitCDKKEV_CDKKCV")>(in(lockId, fv, ev, cv), out(srcSeqNo, retCode, lockIdOut));
}

int CPDAXMLAnalysis::GetCDKKEV_CDKKCV(char* lockId, char* srcSeqNo, char* retCode, char* lockIdOut, char* fv,
                                      char* cv) {
    return call<rowOf("GetCDKKEV_CDKKCV")>(in(lockId), out(srcSeqNo, retCode, lockIdOut, fv, cv));
}

int CPDAXMLAnalysis::updateCDKKEV(char* lockId, char* newFv, char* newEv, char* newCv, char* normalKfv,
                                  char* normalKev, char* normalKcv, char* urgentKfv, char* urgentKev,
                                  char* urgentKcv, char* parameters, char* label, char* srcSeqNo,
                                  char* retCode, char* lockIdOut, char* rnd) {
    return call<rowOf("updateCDKKEV")>(in(lockId, newFv, newEv, newCv, normalKfv, normalKev, normalKcv,
                                          urgentKfv, urgentKev, urgentKcv, parameters, label),
                                       out(srcSeqNo, retCode, lockIdOut, rnd));
}

int CPDAXMLAnalysis::ReqOpenLock(char* lockCount, char* lockIds, char* actions, char* oneTimeCodes,
                                 char* usersA, char* usersB, char* srcSeqNo, char* retCode) {
    return call<rowOf("ReqOpenLock")>(in(lockCount, lockIds, actions, oneTimeCodes, usersA, usersB),
                                      out(srcSeqNo, retCode));
}

int CPDAXMLAnalysis::ReadLockRes(char* srcSeqNo, char* retCode, char* lockCount, char* lockIds, char* actions,
                                 char* results, char* usersA, char* usersB, char* rnds, char* openTimes,
                                 char* batteries) {
    return call<rowOf("ReadLockRes")>(in(), out(srcSeqNo, retCode, lockCount, lockIds, actions, results,
                                                usersA, usersB, rnds, openTimes, batteries));
}

int CPDAXMLAnalysis::SyncLoginResult(char* pdaNumber, char* retCode) {
    return call<rowOf("SyncLoginResult")>(in(pdaNumber, retCode), out());
}

void CPDAXMLAnalysis::ConvertUTF8ToANSI(char* text, QString& out) {
    guarded([&] { out = QString::fromUtf8(text); }, [] {});
}

// NOLINTEND(readability-convert-member-functions-to-static)
