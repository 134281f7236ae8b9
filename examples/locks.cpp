// Locks: lists those around the terminal, and opens one with a one-time code.
//
//     pdasim run -- locks

#include "Host.h"

using namespace example;

namespace {

void list() {
    CPDAXMLAnalysis library;
    Text source, code, count, ids, labels, states, strengths;
    require(library.GetLockList(source, code, count, ids, labels, states, strengths) == 0, "no answer");
    show("locks", ids.value());
    show("their labels", labels.value());
}

void open(const QString& lock, const QString& oneTimeCode) {
    CPDAXMLAnalysis library;
    Text source, code;
    require(library.ReqOpenLock(Text("1"), Text(lock), Text("00;"), Text(oneTimeCode), Text("user-a;"),
                                Text("user-b;"), source, code) == 0,
            "no answer");
    require(code.value() == "000000", "the terminal refused: " + code.value().toStdString());
}

void showResult() {
    CPDAXMLAnalysis library;
    Text source, code, count, ids, actions, results, usersA, usersB, randoms, times, batteries;
    require(library.ReadLockRes(source, code, count, ids, actions, results, usersA, usersB, randoms, times,
                                batteries) == 0,
            "no answer");
    show("opened", ids.value());
    show("result, 00 for an open lock", results.value());
    show("battery", batteries.value());
}

} // namespace

int main() {
    return run([] {
        list();
        open("LOCK-1;", "123456;");
        showResult();
    });
}
