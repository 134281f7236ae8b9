#pragma once

#include "analysis/Values.h"

/// The transactions, one function each, grouped as in their files. Inputs and outputs stand in the order of
/// the exported member's parameters; every function returns the transaction's result.
namespace transactions {

// TerminalInfo.cpp
int init(const Inputs& inputs, const Outputs& outputs);
int getInfo(const Inputs& inputs, const Outputs& outputs);

// BagLabels.cpp
int writeBagNumber(const Inputs& inputs, const Outputs& outputs);
int startScan(const Inputs& inputs, const Outputs& outputs);
int getScanLabelList(const Inputs& inputs, const Outputs& outputs);

// Inventory.cpp
int downInvenData(const Inputs& inputs, const Outputs& outputs);
int getInventoryRet(const Inputs& inputs, const Outputs& outputs);

// Handover.cpp
int syncHandoverDotData(const Inputs& inputs, const Outputs& outputs);
int syncHandoverDotDataOfUsers(); ///< only logs
int getHandoverDotRet(const Inputs& inputs, const Outputs& outputs);
int syncHandoverPowerData(const Inputs& inputs, const Outputs& outputs);
int getHandoverPowerRet(const Inputs& inputs, const Outputs& outputs);

// Keys.cpp
int keyInit(const Inputs& inputs, const Outputs& outputs);
int getKeyVerificationValue(const Inputs& inputs, const Outputs& outputs);
int updateWorkKey(const Inputs& inputs, const Outputs& outputs);

// FileTransfer.cpp
int readFileDataToPda(const Inputs& inputs, const Outputs& outputs);
int receiveDataSaveToFile(const Inputs& inputs, const Outputs& outputs);

// Tellers.cpp
int getRegisterUserData(const Inputs& inputs, const Outputs& outputs);
int sendUserAuthenticationResult(const Inputs& inputs, const Outputs& outputs);
int escortUserInfoSync(const Inputs& inputs, const Outputs& outputs);

// LockCommands.cpp
int setBleMac(const Inputs& inputs, const Outputs& outputs);
int getLockList(const Outputs& outputs);
int getLockInfo(const Inputs& inputs, const Outputs& outputs);
int getPublicKey(const Inputs& inputs, const Outputs& outputs);
int initCdkk(const Inputs& inputs, const Outputs& outputs);
int getCdkk(const Inputs& inputs, const Outputs& outputs);
int updateCdkk(const Inputs& inputs, const Outputs& outputs);
int reqOpenLock(const Inputs& inputs, const Outputs& outputs);
int readLockRes(const Outputs& outputs);

// ReceivedMessages.cpp
int receiveScanResult(const char* text);
int receiveRandomNumber(const char* text);
int receiveLoginData(const char* text);
int receiveInventoryData(const char* text);
int receiveHandoverDotData(const char* text);
int receiveHandoverPowerData(const char* text);

// LoginExchange.cpp
int getRandomNumber(const Outputs& outputs);
int getLoginData(const Outputs& outputs);
int syncLoginResult(const Inputs& inputs);

} // namespace transactions
