#include "analysis/Exchange.h"
#include "analysis/PDAXMLAnalysis.h"

#include <algorithm>
#include <initializer_list>

// Members that only take what the terminal's own messages have brought, and one that only logs.

namespace {

using namespace pdalink;

/// Copies the first slots of a store, one for each output.
void copySlots(const QString* slots, std::initializer_list<Output> outputs) {
    for (const Output& output : outputs) {
        output.copyCharacters(*slots++);
    }
}

/// Runs steps whose failure does not show in the result.
template <typename Body>
int always(const Body& body) {
    guarded(body, [] {});
    return kReplied;
}

} // namespace

// NOLINTBEGIN(readability-convert-member-functions-to-static): hosts call members of an object

int CPDAXMLAnalysis::GetRandomNumber(char* pdaNumber, char* userName) {
    return always([&] {
        logMessage("[GetRandomNumber] begin");
        copySlots(pda_RandomNumber, {pdaNumber, userName});
    });
}

int CPDAXMLAnalysis::GetLoginData(char* pdaNumber, char* login, char* name, char* figData, char* rnd,
                                  char* pwd, char* macChkVal) {
    return always([&] {
        logMessage("[GetLoginData] begin");
        openChannel(); // so that the login of a host's first user can arrive
        copySlots(pda_LoginData, {pdaNumber, login, name, figData, rnd, pwd, macChkVal});
        std::fill(std::begin(pda_LoginData), std::end(pda_LoginData), QString());
        logMessage("user login info");
    });
}

int CPDAXMLAnalysis::SyncHandoverDotData(char*, char*, char*, char*, char*, char*, char*, char*, char*, char*,
                                         char*, char*, char*, char*, char*, char*, char*, char*, char*, char*,
                                         char*, char*, char*, char*, char*) {
    return always([] { logMessage("[SyncHandoverDotData1] begin"); });
}

// NOLINTEND(readability-convert-member-functions-to-static)
