#include "LockTable.h"

#include "Argument.h"
#include "Failure.h"

#include <algorithm>
#include <sstream>

namespace pdactl {

namespace {

const Parameter Lock{"lockId", "Ex_LockId", "lock", "the lock's id"};

constexpr Parameter secret(const char* name, const char* tag, const char* option, const char* help) {
    return {name, tag, option, help, Kind::Secret};
}

enum OpenInput : std::size_t { Count, Locks, Actions, Codes, UsersA, UsersB };

constexpr const char* OpenWithCode = "00";

std::vector<std::string> split(const std::string& list) {
    std::vector<std::string> items;
    std::istringstream stream(list);
    for (std::string item; std::getline(stream, item, ';');) {
        items.push_back(item);
    }
    return items;
}

/** How many values a list has. The library leaves out those that are empty or have no ";" behind them. */
std::size_t completeList(const std::string& option, std::string& list) {
    if (!list.empty() && list.back() != ';') {
        list += ';';
    }
    const std::vector<std::string> items = split(list);
    if (std::any_of(items.begin(), items.end(), isBlank)) {
        throw Failure(BadUsage, option + " has an empty value, whose place the next one would take. Give "
                                         "each lock a value.");
    }
    return items.size();
}

/** One value for each lock; or none, unless it is needed. */
void requireList(const std::string& option, std::string& list, std::size_t locks, bool isNeeded) {
    const std::size_t values = completeList(option, list);
    if (values != locks && (isNeeded || values != 0)) {
        throw Failure(BadUsage, option + " has " + std::to_string(values) + " value(s), but --locks names " +
                                    std::to_string(locks) +
                                    ". Give one for each lock, each followed by \";\".");
    }
}

/** The library goes by the count alone, and takes an empty text for what a list lacks. */
void completeOpening(std::vector<std::string>& inputs) {
    const std::size_t locks = completeList("--locks", inputs[Locks]);
    if (locks == 0) {
        throw Failure(BadUsage, "--locks names no lock. 'pdactl lock list' shows their ids.");
    }
    const std::string count = std::to_string(locks);
    if (!inputs[Count].empty() && inputs[Count] != count) {
        throw Failure(BadUsage, "--count says " + inputs[Count] + ", but --locks names " + count +
                                    ". Leave --count out.");
    }
    inputs[Count] = count;
    if (inputs[Actions].empty()) {
        for (std::size_t i = 0; i < locks; ++i) {
            inputs[Actions] += "00;";
        }
    }
    requireList("--actions", inputs[Actions], locks, true);
    const std::vector<std::string> actions = split(inputs[Actions]);
    const bool takesCode = std::find(actions.begin(), actions.end(), OpenWithCode) != actions.end();
    requireList("--codes", inputs[Codes], locks, takesCode);
    requireList("--users-a", inputs[UsersA], locks, true);
    requireList("--users-b", inputs[UsersB], locks, true);
}

void addOperations(WireMessage& message, const std::vector<std::string>& inputs) {
    const std::vector<std::string> locks = split(inputs[Locks]);
    const std::vector<std::string> actions = split(inputs[Actions]);
    const std::vector<std::string> codes = split(inputs[Codes]);
    const std::vector<std::string> usersA = split(inputs[UsersA]);
    const std::vector<std::string> usersB = split(inputs[UsersB]);
    message.add("Ex_LockNum", inputs[Count]);
    for (std::size_t i = 0; i < locks.size(); ++i) {
        message.open("LockList");
        message.add("Ex_LockId", locks[i]);
        message.add("Ex_Action", actions[i]);
        message.add("Ex_OTCCode", actions[i] == OpenWithCode ? codes[i] : "");
        message.add("Ex_UserA", usersA[i]);
        message.add("Ex_UserB", usersB[i]);
        message.close("LockList");
    }
}

std::vector<LockCall> makeLockCalls() {
    return {
        {"7001",
         {"lock", "mac"},
         "Hand the terminal a Bluetooth address",
         "--address 00:11:22:33:44:55",
         {{"bleMac", "Ex_BleMac", "address", "the address"}},
         {"retCode"},
         [](CPDAXMLAnalysis& library, const Texts& in, const Texts& out) {
             return library.SetBleMac(in[0], out[0]);
         }},
        {"7011",
         {"lock", "list"},
         "List the locks that the terminal sees",
         "",
         {},
         {"srcSeqNo", "retCode", "lockCount", "lockIds", "labels", "states", "rssis"},
         [](CPDAXMLAnalysis& library, const Texts&, const Texts& out) {
             return library.GetLockList(out[0], out[1], out[2], out[3], out[4], out[5], out[6]);
         }},
        {"7016",
         {"lock", "info"},
         "Show a lock's versions, parameters and status",
         "--lock LOCK-1",
         {Lock},
         {"srcSeqNo", "retCode", "lockId", "firmwareVersion", "chipVersion", "parameters", "bootVersion",
          "applicationCrc", "status", "rnd"},
         [](CPDAXMLAnalysis& library, const Texts& in, const Texts& out) {
             return library.GetLockInfo(in[0], out[0], out[1], out[2], out[3], out[4], out[5], out[6], out[7],
                                        out[8], out[9]);
         }},
        {"7012",
         {"lock", "public-key"},
         "Ask for a lock's public key and its factor",
         "--lock LOCK-1",
         {Lock},
         {"srcSeqNo", "retCode", "lockId", "publicKey", "factor"},
         [](CPDAXMLAnalysis& library, const Texts& in, const Texts& out) {
             return library.GetPublicKey(in[0], out[0], out[1], out[2], out[3], out[4]);
         }},
        {"7013",
         {"lock", "init-keys"},
         "Set a lock's initial key set",
         "--lock LOCK-1 --fv @fv.txt --ev @ev.txt --cv @cv.txt",
         {Lock, secret("fv", "Ex_InitCDKKFV", "fv", "FV"), secret("ev", "Ex_InitCDKKEV", "ev", "EV"),
          secret("cv", "Ex_InitCDKKCV", "cv", "CV")},
         {"srcSeqNo", "retCode", "lockId"},
         [](CPDAXMLAnalysis& library, const Texts& in, const Texts& out) {
             return library.InitCDKKEV_CDKKCV(in[0], in[1], in[2], in[3], out[0], out[1], out[2]);
         }},
        {"7014",
         {"lock", "keys"},
         "Ask for a lock's current key set",
         "--lock LOCK-1",
         {Lock},
         {"srcSeqNo", "retCode", "lockId", "fv", "cv"},
         [](CPDAXMLAnalysis& library, const Texts& in, const Texts& out) {
             return library.GetCDKKEV_CDKKCV(in[0], out[0], out[1], out[2], out[3], out[4]);
         }},
        {"7015",
         {"lock", "update-keys"},
         "Replace a lock's key sets, parameters and label",
         "--lock LOCK-1 --fv @fv.txt --ev @ev.txt --cv @cv.txt --normal-fv @nfv.txt --normal-ev @nev.txt "
         "--normal-cv @ncv.txt --urgent-fv @ufv.txt --urgent-ev @uev.txt --urgent-cv @ucv.txt "
         "--parameters 00 --label 'Front vault'",
         {Lock,
          secret("newFv", "Ex_NewCDKKFV", "fv", "the new FV"),
          secret("newEv", "Ex_NewCDKKEV", "ev", "the new EV"),
          secret("newCv", "Ex_NewCDKKCV", "cv", "the new CV"),
          secret("normalKfv", "Ex_NormalUnLockKFV", "normal-fv", "FV for normal unlocking"),
          secret("normalKev", "Ex_NormalUnLockKEV", "normal-ev", "EV for normal unlocking"),
          secret("normalKcv", "Ex_NormalUnLockKCV", "normal-cv", "CV for normal unlocking"),
          secret("urgentKfv", "Ex_UrgentUnLockKFV", "urgent-fv", "FV for urgent unlocking"),
          secret("urgentKev", "Ex_UrgentUnLockKEV", "urgent-ev", "EV for urgent unlocking"),
          secret("urgentKcv", "Ex_UrgentUnLockKCV", "urgent-cv", "CV for urgent unlocking"),
          {"parameters", "Ex_LockParams", "parameters", "the lock's parameters"},
          {"label", "Ex_LockLabel", "label", "the lock's label"}},
         {"srcSeqNo", "retCode", "lockId", "rnd"},
         [](CPDAXMLAnalysis& library, const Texts& in, const Texts& out) {
             return library.updateCDKKEV(in[0], in[1], in[2], in[3], in[4], in[5], in[6], in[7], in[8], in[9],
                                         in[10], in[11], out[0], out[1], out[2], out[3]);
         }},
        {"7018",
         {"lock", "open"},
         "Ask locks to open; lists hold one value for each lock, each followed by \";\"",
         "--locks 'LOCK-1;LOCK-2;' --codes @codes.txt --users-a 'anna;anna;' --users-b 'ben;ben;'",
         {{"lockCount", "Ex_LockNum", "count", "how many locks; counted unless given", Kind::Text, ""},
          {"lockIds", "Ex_LockId", "locks", "the locks' ids"},
          {"actions", "Ex_Action", "actions", "what each lock is to do, \"00;\" for each unless given",
           Kind::Text, ""},
          {"oneTimeCodes", "Ex_OTCCode", "codes",
           "the one-time codes; needed with action \"00\", any other takes a placeholder", Kind::Secret, ""},
          {"usersA", "Ex_UserA", "users-a", "the first users", Kind::Needed},
          {"usersB", "Ex_UserB", "users-b", "the second users", Kind::Needed}},
         {"srcSeqNo", "retCode"},
         [](CPDAXMLAnalysis& library, const Texts& in, const Texts& out) {
             return library.ReqOpenLock(in[0], in[1], in[2], in[3], in[4], in[5], out[0], out[1]);
         },
         completeOpening,
         addOperations},
        {"7019",
         {"lock", "result"},
         "Ask what came of opening locks",
         "",
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

WireMessage messageOf(const LockCall& call, const std::vector<std::string>& inputs) {
    WireMessage message(call.type);
    if (call.addBody != nullptr) {
        call.addBody(message, inputs);
        return message;
    }
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        message.add(call.parameters[i].tag, inputs[i]);
    }
    return message;
}

} // namespace pdactl
