#pragma once

#include "log/Exchange.h"

namespace pdactl::log {

/** How far an exchange without a result has come. */
enum class Progress { Begun, Answered, Silent, NotSent, Finished };

/**
 * The progress of a transfer of a file, whose packets are exchanges of their own: it is answered only when
 * the last one is, and silent once the waits of a whole fetch have been spent. That of anything else as it
 * is.
 */
Progress progressOfTransfer(const Exchange& exchange, Progress progress);

/** Whether the library takes the reply for one: a packet needs a number. */
bool isUsableReply(std::string_view message);

/** Fills in the terminal's verdict and the outcome. */
void judge(Exchange& exchange, Progress progress, bool isRefused);

} // namespace pdactl::log
