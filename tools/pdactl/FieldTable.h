#pragma once

#include "Outcome.h"

#include <vector>

namespace pdactl {

/**
 * Prints the fields on standard output: single values one in each line, then the lists, whose values each
 * have a ";" behind them, as the columns of one table.
 */
void printTable(const std::vector<Field>& fields);

} // namespace pdactl
