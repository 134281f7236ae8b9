#pragma once

#include "core/Message.h"
#include "core/TerminalState.h"

#include <string>
#include <string_view>
#include <vector>

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

// The rules that a single kind of message has to keep beyond its tags.

void checkSentPacket(const ParsedMessage& message, std::vector<std::string>& violations);
/// Ex_Total counts the items of the list after it.
void checkItemCount(const ParsedMessage& message, std::vector<std::string>& violations);
void checkLockOpening(const ParsedMessage& message, std::vector<std::string>& violations);
/// A host acknowledges nothing but success.
void checkSuccess(const ParsedMessage& message, std::vector<std::string>& violations);

/// The six tags of a confirmation, their names after the prefix.
void addConfirmation(Tags& tags, std::string_view prefix, const Confirmation& confirmation);

/// The confirmations of the parties A, B and C.
void addParties(Tags& tags, const HandoverResult& result);

} // namespace pdasim
