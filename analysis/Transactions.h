#pragma once

#include "analysis/Values.h"

/// The transactions, one function each, grouped as in their files. Inputs and outputs stand in the order of
/// the exported member's parameters; every function returns the transaction's result.
namespace transactions {

// TerminalInfo.cpp
int init(const Inputs& inputs, const Outputs& outputs);
int getInfo(const Inputs& inputs, const Outputs& outputs);

} // namespace transactions
