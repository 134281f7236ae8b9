#pragma once

#include "analysis/Exchange.h"
#include "analysis/Values.h"

#include <string>
#include <vector>

/// Type of a JSON member.
enum class Kind { Text, Integer };

/// One JSON member of a request or a response.
struct Member {
    Member(const char* key, Kind kind = Kind::Text)
        : key(key), kind(kind) {} // NOLINT(google-explicit-constructor)

    const char* key;
    Kind kind;
};

using Run = int (*)(const Inputs& inputs, const Outputs& outputs);

/// What a host says and gets under one transaction code.
struct Row {
    const char* code;
    Run run;
    std::vector<Member> inputs;  ///< all required; in the order of the transaction's inputs
    std::vector<Member> outputs; ///< in the order of the transaction's outputs
    int failure = kInternalFailure;
};

/// The row of a code, null for an unknown one.
const Row* findRow(const std::string& code);
