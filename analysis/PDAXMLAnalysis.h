#pragma once

#include "../util/Export.h"

#include <QString>

/// What a host can say to the terminal.
///
/// The members take NUL-terminated UTF-8 texts and write their outputs into buffers that the caller owns,
/// makes large enough for the value and fills with zeros: a value is copied without a terminating NUL. A null
/// input counts as empty, a null output is skipped. The first message to the terminal opens the channel,
/// which takes a second. To be called from one thread at a time; while a member waits, Qt's pending events
/// are processed.
///
/// Results, unless a member says otherwise:
///  -  0: the terminal replied; its own verdict is in `retCode`, "000000" for success
///  -  2: no reply, or one of another type, came in about 4.9 s; `retCode` is "000060"
///  - -1: the message could not be written; outputs untouched
///  -  1: an internal failure, such as no memory
class PDALINK_EXPORT CPDAXMLAnalysis {
public:
    /// Reads the configuration and opens the log; see LoadLockConfig.
    CPDAXMLAnalysis();
    ~CPDAXMLAnalysis();

    /// Carries out one JSON request; see pdalink.h for requests and responses. Returns the transaction's
    /// result, or -1 for a refused request. Without a response (the request is no JSON object, or has no
    /// member "transCode") and with a null `outJson`, the outputs stay untouched. `inLen` is only logged. A
    /// null `outLen` is skipped.
    int PDA_CommonCall(const char* inJson, int inLen, char* outJson, int* outLen);

    /// Tells the terminal its number and the factory code. Outputs: identity, vendor, result code. Waits for
    /// the reply twice.
    int Init(char* pdaNumber, char* factory, char* sn, char* vender, char* retCode);

    /// Asks for the terminal's identity and versions. Outputs: identity, Bluetooth version, program version,
    /// result code.
    int GetInfo(char* sn, char* bleVersion, char* pdaVersion, char* retCode);

    /// Reads the NUL-terminated UTF-8 `text` into `out`.
    void ConvertUTF8ToANSI(char* text, QString& out);
};
