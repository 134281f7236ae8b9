#pragma once

#include "log/Exchange.h"

namespace pdactl::log {

/** How far an exchange without a result has come. */
enum class Progress { Begun, Answered, Silent, NotSent, Finished };

/** Fills in the terminal's verdict and the outcome. */
void judge(Exchange& exchange, Progress progress, bool isRefused);

} // namespace pdactl::log
