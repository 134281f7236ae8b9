// Handover at a service point: sends the task, lets the user in who logs in for it, fetches the result.
//
//     pdasim run --user -- handover

#include "Host.h"

using namespace example;

namespace {

void letIn() {
    CPDAXMLAnalysis library;
    Text number, login, name, fingerprint, random, password, check;
    library.GetLoginData(number, login, name, fingerprint, random, password, check);
    show("a login", login.value());
    const QString code = password.value() == "PWD-A" ? "000000" : "000001"; // as your users' data say
    require(library.SyncLoginResult(Text(kNumber), Text(code)) == 0, "the login was not answered");
}

void handover() {
    ask({{"transCode", "600008"},
         {"pdaNumber", kNumber},
         {"pTaskID", "DOT-1"},
         {"pTaskType", 1},
         {"pRoad", "Route 7"},
         {"pExcgTime", "20260304080000"},
         {"pOrgNum", "0042"},
         {"pOrgNm", "Main branch"},
         {"pTotal", 1},
         {"pLabel", "BAG-0003;"},
         {"pAName", "user-a"},
         {"pBName", "user-b"}});

    Inbox inbox;
    inbox.await("9002", &CPDAXMLAnalysis::ReceiveLoginData);
    letIn();
    inbox.await("9005", &CPDAXMLAnalysis::ReceiveHandoverDotData);
    show("handed over by", pda_HandoverDotData[6]);
    show("to", pda_HandoverDotData[12]);

    const QJsonObject result = ask({{"transCode", "600009"}, {"pdaNumber", kNumber}, {"pTaskID", "DOT-1"}});
    show("labels", result["pLable"].toString());
    show("on", result["pRoad"].toString());
}

} // namespace

int main() {
    return run(handover);
}
