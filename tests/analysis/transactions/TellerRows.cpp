#include "Row.h"

std::vector<Row> tellerRows() {
    return {
        {"PDA_GetRegisterUserData",
         "600017",
         "8017",
         "[PDA_GetRegisterUserData] begin",
         nullptr,
         &kTellerFamily,
         1,
         1,
         {{"pdaNumber", "00000007"}},
         {{"Ex_PdaSn", 0}},
         {{"pTellerNo", Kind::WithSuccess, "Ex_TellerNo", {"9876"}},
          {"pRetCode", Kind::Terminated, "Ex_RetCode", {"000000"}}},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.PDA_GetRegisterUserData(x.text(0), x.output(0), x.output(1));
         },
         "",
         false,
         "[get PDA register usr info]: ",
         "Read XML: time out "},
        {"PDA_SendUserAuthenticationResult",
         "600018",
         "8018",
         "[PDA_SendUserAuthenticationResult] begin",
         nullptr,
         &kTellerFamily,
         1,
         0,
         {{"pdaNumber", "00000007"}, {"pAuthRet", "1001,1;1002,0;"}},
         {{"Ex_PdaSn", 0}, {"Ex_Total", 1, Content::NumberOfItems}, {"Ex_AuthRet", 1}},
         {{"pRetCode", Kind::Terminated, "Ex_RetCode", {"000000"}}},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.PDA_SendUserAuthenticationResult(x.text(0), x.text(1), x.output(0));
         },
         "",
         false,
         "[PDA_SendUserAuthenticationResult] ret: ",
         "Read XML time out:"},
        {"PDA_EscortUserInfoSync",
         "600019",
         "8019",
         "[PDA_EscortUserInfoSync] begin",
         nullptr,
         &kTellerFamily,
         1,
         0,
         {{"pdaNumber", "00000007"}, {"pTellerNo", "1001;1002;1003;"}},
         {{"Ex_PdaSn", 0}, {"Ex_Total", 1, Content::NumberOfItems}, {"Ex_TellerNo", 1}},
         {{"pRetCode", Kind::Terminated, "Ex_RetCode", {"000000"}}},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.PDA_EscortUserInfoSync(x.text(0), x.text(1), x.output(0));
         },
         "",
         false,
         "[PDA_EscortUserInfoSync] ret: ",
         "Read XML time out: "},
    };
}

std::vector<Row> loginRows() {
    return {
        {"SyncLoginResult",
         nullptr,
         "9002",
         nullptr,
         "SyncLoginResult",
         &kTerminalFamily,
         0,
         -1,
         {{nullptr, "00000007"}, {nullptr, "000000"}},
         {{"Ex_PdaSn", 0}, {"Ex_RetCode", 1}},
         {},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.SyncLoginResult(x.text(0), x.text(1));
         }},
    };
}
