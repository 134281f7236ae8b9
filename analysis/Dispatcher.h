#pragma once

namespace pdalink {

/// Carries out one JSON request of a host; see CPDAXMLAnalysis::PDA_CommonCall.
int dispatch(const char* inJson, int inLen, char* outJson, int* outLen);

} // namespace pdalink
