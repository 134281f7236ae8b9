#include "analysis/PDAXMLAnalysis.h"

#include "analysis/Dispatcher.h"
#include "analysis/Transactions.h"
#include "util/DebugOutput.h"
#include "util/Guard.h"
#include "util/LockConfig.h"

// The face that hosts see: every member hands on to the floor behind it.
// NOLINTBEGIN(readability-convert-member-functions-to-static): hosts call members of an object

CPDAXMLAnalysis::CPDAXMLAnalysis() {
    LoadLockConfig();
}

CPDAXMLAnalysis::~CPDAXMLAnalysis() {
    pdalink::debugOutput("~CPDAXMLAnalysis");
}

int CPDAXMLAnalysis::PDA_CommonCall(const char* inJson, int inLen, char* outJson, int* outLen) {
    return dispatch(inJson, inLen, outJson, outLen);
}

int CPDAXMLAnalysis::Init(char* pdaNumber, char* factory, char* sn, char* vender, char* retCode) {
    return transactions::init({pdaNumber, factory}, {{sn, vender, retCode}, {}});
}

int CPDAXMLAnalysis::GetInfo(char* sn, char* bleVersion, char* pdaVersion, char* retCode) {
    return transactions::getInfo({}, {{sn, bleVersion, pdaVersion, retCode}, {}});
}

int CPDAXMLAnalysis::WriteBagNumber(char* label, char* orgName, char* bagType, char* tid, char* retCode) {
    return transactions::writeBagNumber({label, orgName, bagType}, {{tid, retCode}, {}});
}

int CPDAXMLAnalysis::StartScan(char* pdaNumber, char* command, char* retCode) {
    return transactions::startScan({pdaNumber, command}, {{retCode}, {}});
}

int CPDAXMLAnalysis::GetScanLabelList(char* pdaNumber, char* labels, int* labelCount, int* labelStride,
                                      char* scanState) {
    return transactions::getScanLabelList({pdaNumber}, {{labels, scanState}, {labelCount, labelStride}});
}

int CPDAXMLAnalysis::DownInvenData(char* pdaNumber, char* taskId, int* total, char* labels, char* retCode) {
    return transactions::downInvenData({pdaNumber, taskId, total, labels}, {{retCode}, {}});
}

int CPDAXMLAnalysis::GetInventoryRet(char* pdaNumber, char* taskId, int* labelCount, char* labels,
                                     char* errLabels, char* offline, char* login, char* name, char* figData,
                                     char* rnd, char* pwd, char* macChkVal, char* state) {
    return transactions::getInventoryRet(
        {pdaNumber}, {{taskId, labels, errLabels, offline, login, name, figData, rnd, pwd, macChkVal, state},
                      {labelCount}});
}

int CPDAXMLAnalysis::SyncHandoverDotData(char* pdaNumber, char* taskId, int* taskType, char* road,
                                         char* exchangeTime, char* orgNumber, char* orgName, int* total,
                                         char* labels, char* userA, char* userB, char* retCode) {
    return transactions::syncHandoverDotData(
        {pdaNumber, taskId, taskType, road, exchangeTime, orgNumber, orgName, total, labels, userA, userB},
        {{retCode}, {}});
}

int CPDAXMLAnalysis::SyncHandoverDotData(char*, char*, char*, char*, char*, char*, char*, char*, char*, char*,
                                         char*, char*, char*, char*, char*, char*, char*, char*, char*, char*,
                                         char*, char*, char*, char*, char*) {
    return transactions::syncHandoverDotDataOfUsers();
}

int CPDAXMLAnalysis::GetHandoverDotRet(char* pdaNumber, char* taskId, char* road, char* time, char* labels,
                                       char* errLabels, char* aLogin, char* aName, char* aFigData, char* aRnd,
                                       char* aPwd, char* aMacChkVal, char* bLogin, char* bName,
                                       char* bFigData, char* bRnd, char* bPwd, char* bMacChkVal, char* cLogin,
                                       char* cName, char* cFigData, char* cRnd, char* cPwd, char* cMacChkVal,
                                       char* state) {
    return transactions::getHandoverDotRet(
        {pdaNumber, taskId},
        {{road,     time, labels, errLabels,  aLogin, aName, aFigData, aRnd, aPwd, aMacChkVal, bLogin, bName,
          bFigData, bRnd, bPwd,   bMacChkVal, cLogin, cName, cFigData, cRnd, cPwd, cMacChkVal, state},
         {}});
}

int CPDAXMLAnalysis::SyncHandoverPowerData(char* pdaNumber, char* taskId, char* orgNumber, char* time,
                                           char* orgName, char* batchNumber, int* total, char* labels,
                                           char* unused, char* retCode) {
    return transactions::syncHandoverPowerData(
        {pdaNumber, taskId, orgNumber, time, orgName, batchNumber, total, labels, unused}, {{retCode}, {}});
}

int CPDAXMLAnalysis::GetHandoverPowerRet(char* pdaNumber, char* taskId, char* batchNumber, char* time,
                                         char* labels, char* errLabels, char* aLogin, char* aName,
                                         char* aFigData, char* aRnd, char* aPwd, char* aMacChkVal,
                                         char* bLogin, char* bName, char* bFigData, char* bRnd, char* bPwd,
                                         char* bMacChkVal, char* cLogin, char* cName, char* cFigData,
                                         char* cRnd, char* cPwd, char* cMacChkVal, char* state) {
    return transactions::getHandoverPowerRet(
        {pdaNumber, taskId},
        {{batchNumber, time,       labels,   errLabels, aLogin,   aName,      aFigData, aRnd,
          aPwd,        aMacChkVal, bLogin,   bName,     bFigData, bRnd,       bPwd,     bMacChkVal,
          cLogin,      cName,      cFigData, cRnd,      cPwd,     cMacChkVal, state},
         {}});
}

int CPDAXMLAnalysis::KeyInit(char* pdaNumber, char* key, char* checkVal, char* retCode) {
    return transactions::keyInit({pdaNumber, key, checkVal}, {{retCode}, {}});
}

int CPDAXMLAnalysis::GetKeyVerificationValue(char* pdaNumber, char* checkVal, char* retCode) {
    return transactions::getKeyVerificationValue({pdaNumber}, {{checkVal, retCode}, {}});
}

int CPDAXMLAnalysis::UpdateWorkKey(char* pdaNumber, char* encKey, char* macKey, char* encChkVal,
                                   char* macChkVal, char* retCode) {
    return transactions::updateWorkKey({pdaNumber, encKey, macKey, encChkVal, macChkVal}, {{retCode}, {}});
}

int CPDAXMLAnalysis::ReadFileDataToPDA(char* pdaNumber, int* cmdEx, char* infoEx, char* data, char* retCode) {
    return transactions::readFileDataToPda({pdaNumber, cmdEx, infoEx, data}, {{retCode}, {}});
}

int CPDAXMLAnalysis::ReceiveDataSaveToFile(char* pdaNumber, int* cmdEx, char* infEx, char* data,
                                           char* retCode) {
    return transactions::receiveDataSaveToFile({pdaNumber, cmdEx, infEx}, {{data, retCode}, {}});
}

int CPDAXMLAnalysis::PDA_GetRegisterUserData(char* pdaNumber, char* tellerNo, char* retCode) {
    return transactions::getRegisterUserData({pdaNumber}, {{tellerNo, retCode}, {}});
}

int CPDAXMLAnalysis::PDA_SendUserAuthenticationResult(char* pdaNumber, const char* authRet, char* retCode) {
    return transactions::sendUserAuthenticationResult({pdaNumber, authRet}, {{retCode}, {}});
}

int CPDAXMLAnalysis::PDA_EscortUserInfoSync(char* pdaNumber, const char* tellerNo, char* retCode) {
    return transactions::escortUserInfoSync({pdaNumber, tellerNo}, {{retCode}, {}});
}

int CPDAXMLAnalysis::SetBleMac(char* bleMac, char* retCode) {
    return transactions::setBleMac({bleMac}, {{retCode}, {}});
}

int CPDAXMLAnalysis::GetLockList(char* srcSeqNo, char* retCode, char* lockCount, char* lockIds, char* labels,
                                 char* states, char* rssis) {
    return transactions::getLockList({{srcSeqNo, retCode, lockCount, lockIds, labels, states, rssis}, {}});
}

int CPDAXMLAnalysis::GetLockInfo(char* lockId, char* srcSeqNo, char* retCode, char* lockIdOut,
                                 char* firmwareVersion, char* chipVersion, char* parameters,
                                 char* bootVersion, char* applicationCrc, char* status, char* rnd) {
    return transactions::getLockInfo({lockId}, {{srcSeqNo, retCode, lockIdOut, firmwareVersion, chipVersion,
                                                 parameters, bootVersion, applicationCrc, status, rnd},
                                                {}});
}

int CPDAXMLAnalysis::GetPublicKey(char* lockId, char* srcSeqNo, char* retCode, char* lockIdOut,
                                  char* publicKey, char* factor) {
    return transactions::getPublicKey({lockId}, {{srcSeqNo, retCode, lockIdOut, publicKey, factor}, {}});
}

int CPDAXMLAnalysis::InitCDKKEV_CDKKCV(char* lockId, char* fv, char* ev, char* cv, char* srcSeqNo,
                                       char* retCode, char* lockIdOut) {
    return transactions::initCdkk({lockId, fv, ev, cv}, {{srcSeqNo, retCode, lockIdOut}, {}});
}

int CPDAXMLAnalysis::GetCDKKEV_CDKKCV(char* lockId, char* srcSeqNo, char* retCode, char* lockIdOut, char* fv,
                                      char* cv) {
    return transactions::getCdkk({lockId}, {{srcSeqNo, retCode, lockIdOut, fv, cv}, {}});
}

int CPDAXMLAnalysis::updateCDKKEV(char* lockId, char* newFv, char* newEv, char* newCv, char* normalKfv,
                                  char* normalKev, char* normalKcv, char* urgentKfv, char* urgentKev,
                                  char* urgentKcv, char* parameters, char* label, char* srcSeqNo,
                                  char* retCode, char* lockIdOut, char* rnd) {
    return transactions::updateCdkk({lockId, newFv, newEv, newCv, normalKfv, normalKev, normalKcv, urgentKfv,
                                     urgentKev, urgentKcv, parameters, label},
                                    {{srcSeqNo, retCode, lockIdOut, rnd}, {}});
}

int CPDAXMLAnalysis::ReqOpenLock(char* lockCount, char* lockIds, char* actions, char* oneTimeCodes,
                                 char* usersA, char* usersB, char* srcSeqNo, char* retCode) {
    return transactions::reqOpenLock({lockCount, lockIds, actions, oneTimeCodes, usersA, usersB},
                                     {{srcSeqNo, retCode}, {}});
}

int CPDAXMLAnalysis::ReadLockRes(char* srcSeqNo, char* retCode, char* lockCount, char* lockIds, char* actions,
                                 char* results, char* usersA, char* usersB, char* rnds, char* openTimes,
                                 char* batteries) {
    return transactions::readLockRes({{srcSeqNo, retCode, lockCount, lockIds, actions, results, usersA,
                                       usersB, rnds, openTimes, batteries},
                                      {}});
}

int CPDAXMLAnalysis::ReceiveScanResult(char* text) {
    return transactions::receiveScanResult(text);
}

int CPDAXMLAnalysis::ReceiveRandomNumber(char* text) {
    return transactions::receiveRandomNumber(text);
}

int CPDAXMLAnalysis::ReceiveLoginData(char* text) {
    return transactions::receiveLoginData(text);
}

int CPDAXMLAnalysis::ReceiveInventoryData(char* text) {
    return transactions::receiveInventoryData(text);
}

int CPDAXMLAnalysis::ReceiveHandoverDotData(char* text) {
    return transactions::receiveHandoverDotData(text);
}

int CPDAXMLAnalysis::ReceiveHandoverPowerData(char* text) {
    return transactions::receiveHandoverPowerData(text);
}

int CPDAXMLAnalysis::GetRandomNumber(char* pdaNumber, char* userName) {
    return transactions::getRandomNumber({{pdaNumber, userName}, {}});
}

int CPDAXMLAnalysis::GetLoginData(char* pdaNumber, char* login, char* name, char* figData, char* rnd,
                                  char* pwd, char* macChkVal) {
    return transactions::getLoginData({{pdaNumber, login, name, figData, rnd, pwd, macChkVal}, {}});
}

int CPDAXMLAnalysis::SyncLoginResult(char* pdaNumber, char* retCode) {
    return transactions::syncLoginResult({pdaNumber, retCode});
}

void CPDAXMLAnalysis::ConvertUTF8ToANSI(char* text, QString& out) {
    guarded([&] { out = QString::fromUtf8(text); }, [] {});
}

// NOLINTEND(readability-convert-member-functions-to-static)
