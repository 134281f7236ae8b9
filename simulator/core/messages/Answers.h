#pragma once

#include "core/Reply.h"
#include "core/TerminalState.h"

namespace pdasim {

// How the state answers each request, by family.

Reply answerInformation(const Request& request, TerminalState& state);
Reply answerInitialisation(const Request& request, TerminalState& state);

Reply answerLabelWriting(const Request& request, TerminalState& state);
Reply answerScanCommand(const Request& request, TerminalState& state);
Reply answerScanList(const Request& request, TerminalState& state);

Reply answerInventoryTask(const Request& request, TerminalState& state);
Reply answerInventoryResult(const Request& request, TerminalState& state);

Reply answerDotTask(const Request& request, TerminalState& state);
Reply answerDotResult(const Request& request, TerminalState& state);
Reply answerPowerTask(const Request& request, TerminalState& state);
Reply answerPowerResult(const Request& request, TerminalState& state);

Reply answerKeyInstallation(const Request& request, TerminalState& state);
Reply answerKeyCheckValue(const Request& request, TerminalState& state);
Reply answerWorkKeys(const Request& request, TerminalState& state);

Reply answerSentPacket(const Request& request, TerminalState& state);
Reply answerPacketRequest(const Request& request, TerminalState& state);

Reply answerRegisteredTeller(const Request& request, TerminalState& state);
Reply answerAuthentication(const Request& request, TerminalState& state);
Reply answerEscorts(const Request& request, TerminalState& state);

Reply answerBleMac(const Request& request, TerminalState& state);
Reply answerLockList(const Request& request, TerminalState& state);
Reply answerLockInformation(const Request& request, TerminalState& state);
Reply answerPublicKey(const Request& request, TerminalState& state);
Reply answerInitialLockKey(const Request& request, TerminalState& state);
Reply answerCurrentLockKey(const Request& request, TerminalState& state);
Reply answerNewLockKeys(const Request& request, TerminalState& state);
Reply answerLockOpening(const Request& request, TerminalState& state);
Reply answerLockResults(const Request& request, TerminalState& state);

} // namespace pdasim
