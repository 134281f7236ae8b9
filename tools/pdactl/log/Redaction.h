#pragma once

#include "log/Entry.h"

#include <string>
#include <string_view>
#include <vector>

namespace pdactl::log {

/** The text of one entry with its secrets masked and everything else as it was. */
std::string redacted(std::string_view text);

/**
 * Masks the secrets of these entries, which follow each other in a log; `isBeginning` tells that nothing came
 * before them. A value that one entry breaks off is masked in the following ones too, as far as its end can
 * be found there.
 */
void redact(std::vector<Entry>& entries, bool isBeginning = true);

} // namespace pdactl::log
