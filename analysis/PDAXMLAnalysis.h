#pragma once

#include "../util/Export.h"

#include <QString>

/// What a host can say to the terminal.
///
/// The members take NUL-terminated UTF-8 texts and write their outputs into buffers that the caller owns,
/// makes large enough for the value and fills with zeros: a value is copied without a terminating NUL. A null
/// input counts as empty, a null output is skipped. The first message to the terminal opens the channel,
/// which takes a second. To be called from one thread at a time; while a member waits, Qt's pending events
/// are processed.
///
/// Results, unless a member says otherwise:
///  -  0: the terminal replied; its result code is in `retCode`, "000000" for success
///  -  2: no reply, or one of another type, came in about 4.9 s; `retCode` is "000060"
///  - -1: the message could not be written; outputs untouched
///  -  1: an internal failure, such as no memory
class PDALINK_EXPORT CPDAXMLAnalysis {
public:
    /// Reads the configuration and opens the log; see LoadLockConfig.
    CPDAXMLAnalysis();
    ~CPDAXMLAnalysis();

    /// Carries out one JSON request; see pdalink.h for requests and responses. Returns the transaction's
    /// result, or -1 for a refused request. Without a response (the request is no JSON object, or has no
    /// member "transCode") and with a null `outJson`, the outputs stay untouched. `inLen` is only logged. A
    /// null `outLen` is skipped.
    int PDA_CommonCall(const char* inJson, int inLen, char* outJson, int* outLen);

    /// Tells the terminal its number and the factory code. Outputs: identity, vendor, result code. Waits for
    /// the reply twice.
    int Init(char* pdaNumber, char* factory, char* sn, char* vender, char* retCode);

    /// Asks for the terminal's identity and versions. Outputs: identity, Bluetooth version, program version,
    /// result code.
    int GetInfo(char* sn, char* bleVersion, char* pdaVersion, char* retCode);

    // Bag labels and scanning.

    /// Writes a bag's label. Outputs: the label's own number, result code. Waits for the reply twice.
    int WriteBagNumber(char* label, char* orgName, char* bagType, char* tid, char* retCode);

    /// Starts or stops a scan run, as the terminal understands `command`. A reply empties pda_ScanLabel and
    /// sets pda_ScanState: true when the terminal accepted it.
    int StartScan(char* pdaNumber, char* command, char* retCode);

    /// Fetches the labels scanned so far. Outputs: the list, of whose UTF-8 form as many bytes are copied as
    /// it has characters; the number of its separators (";" or the full-width one) plus 1, 0 for an empty
    /// list; the position of the first separator, counted from 1, 0 for none; the scan state, which also sets
    /// pda_ScanState. Writes nothing without a reply.
    int GetScanLabelList(char* pdaNumber, char* labels, int* labelCount, int* labelStride, char* scanState);

    // Inventory.

    /// Hands over an inventory task: `total` labels, each followed by ";".
    int DownInvenData(char* pdaNumber, char* taskId, int* total, char* labels, char* retCode);

    /// Asks for the result of an inventory. The label count is computed as in GetScanLabelList. Of a text's
    /// UTF-8 form as many bytes are copied as it has characters. Writes nothing without a reply.
    int GetInventoryRet(char* pdaNumber, char* taskId, int* labelCount, char* labels, char* errLabels,
                        char* offline, char* login, char* name, char* figData, char* rnd, char* pwd,
                        char* macChkVal, char* state);

    // Handover.

    /// Hands over the task of a dot handover. Route and organisation name are sent in GBK: their bytes count
    /// as Latin-1 characters.
    int SyncHandoverDotData(char* pdaNumber, char* taskId, int* taskType, char* road, char* exchangeTime,
                            char* orgNumber, char* orgName, int* total, char* labels, char* userA,
                            char* userB, char* retCode);

    /// Does nothing but write a log line; returns 0. Kept for hosts that link it.
    int SyncHandoverDotData(char*, char*, char*, char*, char*, char*, char*, char*, char*, char*, char*,
                            char*, char*, char*, char*, char*, char*, char*, char*, char*, char*, char*,
                            char*, char*, char*);

    /// Asks for the result of a dot handover: the users A, B and C who confirmed it, and its state, which is
    /// "000060" without a reply. A reply sets pda_HandoverDotState: true unless the state is "0". Waits for
    /// the reply twice.
    int GetHandoverDotRet(char* pdaNumber, char* taskId, char* road, char* time, char* labels,
                          char* errLabels, char* aLogin, char* aName, char* aFigData, char* aRnd, char* aPwd,
                          char* aMacChkVal, char* bLogin, char* bName, char* bFigData, char* bRnd, char* bPwd,
                          char* bMacChkVal, char* cLogin, char* cName, char* cFigData, char* cRnd, char* cPwd,
                          char* cMacChkVal, char* state);

    /// Hands over the task of a power handover. The parameter before the last is not used.
    int SyncHandoverPowerData(char* pdaNumber, char* taskId, char* orgNumber, char* time, char* orgName,
                              char* batchNumber, int* total, char* labels, char* unused, char* retCode);

    /// Asks for the result of a power handover, as GetHandoverDotRet does, but waits once, sets
    /// pda_HandoverPowerState, and writes nothing without a reply.
    int GetHandoverPowerRet(char* pdaNumber, char* taskId, char* batchNumber, char* time, char* labels,
                            char* errLabels, char* aLogin, char* aName, char* aFigData, char* aRnd,
                            char* aPwd, char* aMacChkVal, char* bLogin, char* bName, char* bFigData,
                            char* bRnd, char* bPwd, char* bMacChkVal, char* cLogin, char* cName,
                            char* cFigData, char* cRnd, char* cPwd, char* cMacChkVal, char* state);

    // Keys.

    /// Loads a key with its check value.
    int KeyInit(char* pdaNumber, char* key, char* checkVal, char* retCode);

    /// Asks for the check value of the terminal's key.
    int GetKeyVerificationValue(char* pdaNumber, char* checkVal, char* retCode);

    /// Replaces the two working keys.
    int UpdateWorkKey(char* pdaNumber, char* encKey, char* macKey, char* encChkVal, char* macChkVal,
                      char* retCode);

    // Files: hexadecimal text, 200000 packets of 3000 digits at most.

    /// Sends a file to the terminal. `retCode` receives the terminal's result code for the last packet. The
    /// transfer takes as many passes as the file has packets, repeats of refused packets included: with
    /// refusals in between it can end with 0 although packets are missing. Also returns 5 for a text of 9
    /// characters or fewer, and 6 after three refusals in a row.
    int ReadFileDataToPDA(char* pdaNumber, int* cmdEx, char* infoEx, char* data, char* retCode);

    /// Fetches a file from the terminal. `data` has room for the largest file that the host expects,
    /// 600,000,000 bytes at most. Returns 0 with `data` untouched when the terminal refuses; 2, with the
    /// outputs untouched, when it stops replying or brings nothing new.
    int ReceiveDataSaveToFile(char* pdaNumber, int* cmdEx, char* infEx, char* data, char* retCode);

    // Tellers.
    //
    // Results: 1 for a reply; -1 when the message could not be sent, and, with `retCode` "000060", when no
    // reply came. The outputs of a reply end with a NUL. The task flag stays up.

    /// Asks for the number of the teller who registered at the terminal; it comes with success only.
    int PDA_GetRegisterUserData(char* pdaNumber, char* tellerNo, char* retCode);

    /// Reports the authentication of users: items, each followed by ";".
    int PDA_SendUserAuthenticationResult(char* pdaNumber, const char* authRet, char* retCode);

    /// Sends the tellers to whom an escort may hand over: items, each followed by ";".
    int PDA_EscortUserInfoSync(char* pdaNumber, const char* tellerNo, char* retCode);

    // Locks.
    //
    // What the terminal relays to them. Without a reply (2) nothing is written. `srcSeqNo` receives the
    // number of the message that the terminal replies to. Lists hold one value for each lock, each followed
    // by ";", and are appended to the text that is there.

    /// Hands over a Bluetooth address.
    int SetBleMac(char* bleMac, char* retCode);

    /// Lists the locks that the terminal sees.
    int GetLockList(char* srcSeqNo, char* retCode, char* lockCount, char* lockIds, char* labels, char* states,
                    char* rssis);

    /// Asks for a lock's versions, parameters, status and random number.
    int GetLockInfo(char* lockId, char* srcSeqNo, char* retCode, char* lockIdOut, char* firmwareVersion,
                    char* chipVersion, char* parameters, char* bootVersion, char* applicationCrc,
                    char* status, char* rnd);

    /// Asks for a lock's public key and its factor.
    int GetPublicKey(char* lockId, char* srcSeqNo, char* retCode, char* lockIdOut, char* publicKey,
                     char* factor);

    /// Sets a lock's initial key set.
    int InitCDKKEV_CDKKCV(char* lockId, char* fv, char* ev, char* cv, char* srcSeqNo, char* retCode,
                          char* lockIdOut);

    /// Asks for a lock's current key set: FV and CV.
    int GetCDKKEV_CDKKCV(char* lockId, char* srcSeqNo, char* retCode, char* lockIdOut, char* fv, char* cv);

    /// Replaces a lock's key sets, parameters and label.
    int updateCDKKEV(char* lockId, char* newFv, char* newEv, char* newCv, char* normalKfv, char* normalKev,
                     char* normalKcv, char* urgentKfv, char* urgentKev, char* urgentKcv, char* parameters,
                     char* label, char* srcSeqNo, char* retCode, char* lockIdOut, char* rnd);

    /// Asks for locks to be opened: `lockCount`, in decimal digits, of them, from five lists of items that
    /// are each followed by ";" (empty items are skipped; items that a list lacks are empty). A one-time code
    /// is sent only with the action "00". Returns 1, and sends nothing, when the message would be longer than
    /// 999999 characters.
    int ReqOpenLock(char* lockCount, char* lockIds, char* actions, char* oneTimeCodes, char* usersA,
                    char* usersB, char* srcSeqNo, char* retCode);

    /// Asks for what came of opening locks.
    int ReadLockRes(char* srcSeqNo, char* retCode, char* lockCount, char* lockIds, char* actions,
                    char* results, char* usersA, char* usersB, char* rnds, char* openTimes, char* batteries);

    // Messages that the terminal starts.
    //
    // The host takes them from the channel and hands each, whole, to the handler of its kind, which empties
    // the receive buffer, keeps the fields in its store (ResultStores.h) and acknowledges: 0, or -1 when the
    // acknowledgement could not be written. The type is not looked at. A null text gives 1.

    /// "9001", a scanned label: to the first free pair of pda_ScanLabel; dropped when there is none.
    int ReceiveScanResult(char* text);
    /// "9003", a user notice: to pda_RandomNumber.
    int ReceiveRandomNumber(char* text);
    /// "9002", a login: to pda_LoginData. Acknowledges nothing; the host answers with SyncLoginResult.
    int ReceiveLoginData(char* text);
    /// "9004", an inventory: to pda_GetInventoryRet.
    int ReceiveInventoryData(char* text);
    /// "9005", a dot handover: to pda_HandoverDotData; lowers pda_HandoverDotState.
    int ReceiveHandoverDotData(char* text);
    /// "9006", a power handover: to pda_HandoverPowerData; lowers pda_HandoverPowerState.
    int ReceiveHandoverPowerData(char* text);

    // Login.
    //
    // Of a text's UTF-8 form as many bytes are copied as it has characters; an empty one writes nothing.

    /// Copies the last user notice. Always returns 0.
    int GetRandomNumber(char* pdaNumber, char* userName);

    /// Copies the last login and forgets it; opens the channel, so that one can arrive. Always returns 0,
    /// with or without a login.
    int GetLoginData(char* pdaNumber, char* login, char* name, char* figData, char* rnd, char* pwd,
                     char* macChkVal);

    /// Tells the terminal what came of a login. There is no reply. Returns 0 when it was sent.
    int SyncLoginResult(char* pdaNumber, char* retCode);

    /// Reads the NUL-terminated UTF-8 `text` into `out`, which stays as it was when memory runs out.
    void ConvertUTF8ToANSI(char* text, QString& out);
};
