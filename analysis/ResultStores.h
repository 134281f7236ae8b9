#pragma once

#include "../util/Export.h"

#include <QString>

// What survives from one call to the next. A host reads it between calls, on the thread on which it calls.

/// Number of the last message sent; the next one carries the next number.
extern PDALINK_EXPORT int m_SeqNo;

/// 1 while a transaction uses the channel. Stays 1 after a message that could not be sent.
extern PDALINK_EXPORT char m_PerformTasksYN;

/// Labels scanned since the last scan command: pairs of terminal number and label. A pair whose first slot is
/// empty is free.
extern PDALINK_EXPORT QString pda_ScanLabel[2000];
/// The last user notice: terminal number, user name.
extern PDALINK_EXPORT QString pda_RandomNumber[2];
/// The last login: terminal number, login, name, fingerprint, random number, password, check value. The
/// eighth slot stays empty.
extern PDALINK_EXPORT QString pda_LoginData[8];
/// The last inventory: terminal number, total, labels, labels in error, login, name, fingerprint, random
/// number, password, check value.
extern PDALINK_EXPORT QString pda_GetInventoryRet[10];
/// The last dot handover: terminal number, route, time, number of labels, labels in error; then login, name,
/// fingerprint, random number, password and check value of the parties A, B and C. The last slot stays empty.
extern PDALINK_EXPORT QString pda_HandoverDotData[24];
/// The last power handover: as the dot handover, with the batch number in place of the route.
extern PDALINK_EXPORT QString pda_HandoverPowerData[24];

/// The terminal is scanning.
extern PDALINK_EXPORT bool pda_ScanState;
/// The terminal has finished a handover: set by the host's query, cleared by a record that arrives.
extern PDALINK_EXPORT bool pda_HandoverDotState;
extern PDALINK_EXPORT bool pda_HandoverPowerState;
