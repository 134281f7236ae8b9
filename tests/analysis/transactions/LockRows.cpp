#include "Row.h"

namespace {

OutputParameter copied(const char* tag, const char* sample) {
    return {nullptr, Kind::Copied, tag, {sample}};
}

OutputParameter list(const char* tag, std::vector<std::string> samples) {
    return {nullptr, Kind::List, tag, std::move(samples)};
}

std::vector<Row> discoveryRows() {
    return {
        {"SetBleMac",
         nullptr,
         "7001",
         "[SetBleMac] begin",
         "SetBleMac",
         &kLockFamily,
         1,
         -1,
         {{nullptr, "01:23:45:67:89:AB"}},
         {{"Ex_BleMac", 0}},
         {copied("Ex_RetCode", "000000")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) { return analyser.SetBleMac(x.text(0), x.output(0)); }},
        {"GetLockList",
         nullptr,
         "7011",
         "[GetLockList] begin",
         nullptr,
         &kLockFamily,
         1,
         -1,
         {},
         {},
         {copied("Ex_SrcSeqNo", "0001"), copied("Ex_RetCode", "000000"), copied("Ex_LockNum", "2"),
          list("Ex_LockId", {"lock-1", "lock-2"}), list("Ex_LockLabel", {"door", "gate"}),
          list("Ex_LockStatus", {"00", "01"}), list("Ex_LockRssi", {"-40", "-71"})},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.GetLockList(x.output(0), x.output(1), x.output(2), x.output(3), x.output(4),
                                         x.output(5), x.output(6));
         }},
        {"GetLockInfo",
         nullptr,
         "7016",
         "[GetLockInfo] begin",
         nullptr,
         &kLockFamily,
         1,
         -1,
         {{nullptr, "lock-1"}},
         {{"Ex_LockId", 0}},
         {copied("Ex_SrcSeqNo", "0001"), copied("Ex_RetCode", "000000"), copied("Ex_LockId", "lock-1"),
          copied("Ex_LockVer", "V1.2"), copied("Ex_HSCVer", "C3"), copied("Ex_LockParam", "params"),
          copied("Ex_LockBoot", "boot 4"), copied("Ex_LockAppCrc", "31c3"), copied("Ex_LockStatus", "05"),
          copied("Ex_LockRnd", "rnd-6")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.GetLockInfo(x.text(0), x.output(0), x.output(1), x.output(2), x.output(3),
                                         x.output(4), x.output(5), x.output(6), x.output(7), x.output(8),
                                         x.output(9));
         }},
    };
}

std::vector<Row> lockKeyRows() {
    return {
        {"GetPublicKey",
         nullptr,
         "7012",
         "[GetPublicKey] begin",
         nullptr,
         &kLockFamily,
         1,
         -1,
         {{nullptr, "lock-1"}},
         {{"Ex_LockId", 0}},
         {copied("Ex_SrcSeqNo", "0001"), copied("Ex_RetCode", "000000"), copied("Ex_LockId", "lock-1"),
          copied("Ex_PublicKey", "04AABB"), copied("Ex_FactorCDK", "F7")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.GetPublicKey(x.text(0), x.output(0), x.output(1), x.output(2), x.output(3),
                                          x.output(4));
         }},
        {"InitCDKKEV_CDKKCV",
         nullptr,
         "7013",
         "[InitCDKKEV_CDKKCV] begin",
         nullptr,
         &kLockFamily,
         1,
         -1,
         {{nullptr, "lock-1"}, {nullptr, "fv"}, {nullptr, "ev"}, {nullptr, "cv"}},
         {{"Ex_LockId", 0}, {"Ex_InitCDKKFV", 1}, {"Ex_InitCDKKEV", 2}, {"Ex_InitCDKKCV", 3}},
         {copied("Ex_SrcSeqNo", "0001"), copied("Ex_RetCode", "000000"), copied("Ex_LockId", "lock-1")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.InitCDKKEV_CDKKCV(x.text(0), x.text(1), x.text(2), x.text(3), x.output(0),
                                               x.output(1), x.output(2));
         }},
        {"GetCDKKEV_CDKKCV",
         nullptr,
         "7014",
         "[GetCDKKEV_CDKKCV] begin",
         nullptr,
         &kLockFamily,
         1,
         -1,
         {{nullptr, "lock-1"}},
         {{"Ex_LockId", 0}},
         {copied("Ex_SrcSeqNo", "0001"), copied("Ex_RetCode", "000000"), copied("Ex_LockId", "lock-1"),
          copied("Ex_CurrentCDKKFV", "current fv"), copied("Ex_CurrentCDKKCV", "current cv")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.GetCDKKEV_CDKKCV(x.text(0), x.output(0), x.output(1), x.output(2), x.output(3),
                                              x.output(4));
         }},
        {"updateCDKKEV",
         nullptr,
         "7015",
         "[updateCDKKEV] begin",
         nullptr,
         &kLockFamily,
         1,
         -1,
         {{nullptr, "lock-1"},
          {nullptr, "new fv"},
          {nullptr, "new ev"},
          {nullptr, "new cv"},
          {nullptr, "normal fv"},
          {nullptr, "normal ev"},
          {nullptr, "normal cv"},
          {nullptr, "urgent fv"},
          {nullptr, "urgent ev"},
          {nullptr, "urgent cv"},
          {nullptr, "params"},
          {nullptr, "label"}},
         {{"Ex_LockId", 0},
          {"Ex_NewCDKKFV", 1},
          {"Ex_NewCDKKEV", 2},
          {"Ex_NewCDKKCV", 3},
          {"Ex_NormalUnLockKFV", 4},
          {"Ex_NormalUnLockKEV", 5},
          {"Ex_NormalUnLockKCV", 6},
          {"Ex_UrgentUnLockKFV", 7},
          {"Ex_UrgentUnLockKEV", 8},
          {"Ex_UrgentUnLockKCV", 9},
          {"Ex_LockParams", 10},
          {"Ex_LockLabel", 11}},
         {copied("Ex_SrcSeqNo", "0001"), copied("Ex_RetCode", "000000"), copied("Ex_LockId", "lock-1"),
          copied("Ex_LockRnd", "rnd-6")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.updateCDKKEV(x.text(0), x.text(1), x.text(2), x.text(3), x.text(4), x.text(5),
                                          x.text(6), x.text(7), x.text(8), x.text(9), x.text(10), x.text(11),
                                          x.output(0), x.output(1), x.output(2), x.output(3));
         }},
    };
}

std::vector<Row> openingRows() {
    return {
        {"ReqOpenLock",
         nullptr,
         "7018",
         "[ReqOpenLock] begin",
         nullptr,
         &kLockFamily,
         1,
         -1,
         {{nullptr, "2"},
          {nullptr, "L1;L2;"},
          {nullptr, "00;01;"},
          {nullptr, "111111;222222;"},
          {nullptr, "a1;a2;"},
          {nullptr, "b1;b2;"}},
         {{"Ex_LockNum", 0}},
         {copied("Ex_SrcSeqNo", "0001"), copied("Ex_RetCode", "000000")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.ReqOpenLock(x.text(0), x.text(1), x.text(2), x.text(3), x.text(4), x.text(5),
                                         x.output(0), x.output(1));
         },
         "<LockList><Ex_LockId>L1</Ex_LockId><Ex_Action>00</Ex_Action><Ex_OTCCode>111111</Ex_OTCCode>"
         "<Ex_UserA>a1</Ex_UserA><Ex_UserB>b1</Ex_UserB></LockList>"
         "<LockList><Ex_LockId>L2</Ex_LockId><Ex_Action>01</Ex_Action><Ex_OTCCode></Ex_OTCCode>"
         "<Ex_UserA>a2</Ex_UserA><Ex_UserB>b2</Ex_UserB></LockList>"},
        {"ReadLockRes",
         nullptr,
         "7019",
         "[ReadLockRes] begin",
         nullptr,
         &kLockFamily,
         1,
         -1,
         {},
         {},
         {copied("Ex_SrcSeqNo", "0001"), copied("Ex_RetCode", "000000"), copied("Ex_LockNum", "2"),
          list("Ex_LockId", {"L1", "L2"}), list("Ex_Action", {"00", "01"}), list("Ex_Result", {"0", "7"}),
          list("Ex_UserA", {"a1", "a2"}), list("Ex_UserB", {"b1", "b2"}), list("Ex_LockRnd", {"r1", "r2"}),
          list("Ex_OpenTime", {"20260102030405", "20260102030406"}), list("Ex_Bat", {"90", "15"})},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.ReadLockRes(x.output(0), x.output(1), x.output(2), x.output(3), x.output(4),
                                         x.output(5), x.output(6), x.output(7), x.output(8), x.output(9),
                                         x.output(10));
         }},
    };
}

} // namespace

std::vector<Row> lockRows() {
    std::vector<Row> rows;
    for (const std::vector<Row>& family : {discoveryRows(), lockKeyRows(), openingRows()}) {
        rows.insert(rows.end(), family.begin(), family.end());
    }
    return rows;
}
