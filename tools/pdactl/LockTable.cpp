#include "LockTable.h"

namespace pdactl {

namespace {

const Parameter Lock{"lockId", "lock", "the lock's id"};

constexpr Parameter secret(const char* name, const char* option, const char* help) {
    return {name, option, help, false, true};
}

std::vector<LockCall> makeLockCalls() {
    return {
        {{"lock", "mac"},
         "Hand the terminal a Bluetooth address",
         {{"bleMac", "address", "the address"}},
         {"retCode"},
         [](CPDAXMLAnalysis& library, const Texts& in, const Texts& out) {
             return library.SetBleMac(in[0], out[0]);
         }},
        {{"lock", "list"},
         "List the locks that the terminal sees",
         {},
         {"srcSeqNo", "retCode", "lockCount", "lockIds", "labels", "states", "rssis"},
         [](CPDAXMLAnalysis& library, const Texts&, const Texts& out) {
             return library.GetLockList(out[0], out[1], out[2], out[3], out[4], out[5], out[6]);
         }},
        {{"lock", "info"},
         "Show a lock's versions, parameters and status",
         {Lock},
         {"srcSeqNo", "retCode", "lockId", "firmwareVersion", "chipVersion", "parameters", "bootVersion",
          "applicationCrc", "status", "rnd"},
         [](CPDAXMLAnalysis& library, const Texts& in, const Texts& out) {
             return library.GetLockInfo(in[0], out[0], out[1], out[2], out[3], out[4], out[5], out[6], out[7],
                                        out[8], out[9]);
         }},
        {{"lock", "public-key"},
         "Ask for a lock's public key and its factor",
         {Lock},
         {"srcSeqNo", "retCode", "lockId", "publicKey", "factor"},
         [](CPDAXMLAnalysis& library, const Texts& in, const Texts& out) {
             return library.GetPublicKey(in[0], out[0], out[1], out[2], out[3], out[4]);
         }},
        {{"lock", "init-keys"},
         "Set a lock's initial key set",
         {Lock, secret("fv", "fv", "FV"), secret("ev", "ev", "EV"), secret("cv", "cv", "CV")},
         {"srcSeqNo", "retCode", "lockId"},
         [](CPDAXMLAnalysis& library, const Texts& in, const Texts& out) {
             return library.InitCDKKEV_CDKKCV(in[0], in[1], in[2], in[3], out[0], out[1], out[2]);
         }},
        {{"lock", "keys"},
         "Ask for a lock's current key set",
         {Lock},
         {"srcSeqNo", "retCode", "lockId", "fv", "cv"},
         [](CPDAXMLAnalysis& library, const Texts& in, const Texts& out) {
             return library.GetCDKKEV_CDKKCV(in[0], out[0], out[1], out[2], out[3], out[4]);
         }},
        {{"lock", "update-keys"},
         "Replace a lock's key sets, parameters and label",
         {Lock,
          secret("newFv", "fv", "the new FV"),
          secret("newEv", "ev", "the new EV"),
          secret("newCv", "cv", "the new CV"),
          secret("normalKfv", "normal-fv", "FV for normal unlocking"),
          secret("normalKev", "normal-ev", "EV for normal unlocking"),
          secret("normalKcv", "normal-cv", "CV for normal unlocking"),
          secret("urgentKfv", "urgent-fv", "FV for urgent unlocking"),
          secret("urgentKev", "urgent-ev", "EV for urgent unlocking"),
          secret("urgentKcv", "urgent-cv", "CV for urgent unlocking"),
          {"parameters", "parameters", "the lock's parameters"},
          {"label", "label", "the lock's label"}},
         {"srcSeqNo", "retCode", "lockId", "rnd"},
         [](CPDAXMLAnalysis& library, const Texts& in, const Texts& out) {
             return library.updateCDKKEV(in[0], in[1], in[2], in[3], in[4], in[5], in[6], in[7], in[8], in[9],
                                         in[10], in[11], out[0], out[1], out[2], out[3]);
         }},
        {{"lock", "open"},
         "Ask locks to open; lists hold one value for each lock, each followed by \";\"",
         {{"lockCount", "count", "how many locks", false, false, "1"},
          {"lockIds", "locks", "the locks' ids"},
          {"actions", "actions", "what each lock is to do; only \"00\" takes a one-time code", false, false,
           "00;"},
          secret("oneTimeCodes", "codes", "the one-time codes"),
          {"usersA", "users-a", "the first users"},
          {"usersB", "users-b", "the second users"}},
         {"srcSeqNo", "retCode"},
         [](CPDAXMLAnalysis& library, const Texts& in, const Texts& out) {
             return library.ReqOpenLock(in[0], in[1], in[2], in[3], in[4], in[5], out[0], out[1]);
         }},
        {{"lock", "result"},
         "Ask what came of opening locks",
         {},
         {"srcSeqNo", "retCode", "lockCount", "lockIds", "actions", "results", "usersA", "usersB", "rnds",
          "openTimes", "batteries"},
         [](CPDAXMLAnalysis& library, const Texts&, const Texts& out) {
             return library.ReadLockRes(out[0], out[1], out[2], out[3], out[4], out[5], out[6], out[7],
                                        out[8], out[9], out[10]);
         }},
    };
}

} // namespace

const std::vector<LockCall>& allLockCalls() {
    static const std::vector<LockCall> calls = makeLockCalls();
    return calls;
}

} // namespace pdactl
