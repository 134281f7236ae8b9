#include "interface/pdalink.h"

#include "analysis/PDAXMLAnalysis.h"
#include "util/Guard.h"

int PDA_CommonCall(const char* inJson, int inLen, char* outJson, int* outLen) {
    guarded([&] { return CPDAXMLAnalysis().PDA_CommonCall(inJson, inLen, outJson, outLen); },
            [] { return 0; });
    return 0;
}
