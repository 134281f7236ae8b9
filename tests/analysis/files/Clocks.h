#pragma once

#include "tests/support/SkippedSleeps.h"

#include <string>

/// While it lives, waits of this thread pass at once when something lies in the receive buffer: for replies
/// that come in one report, whose rest need not be waited for.
class SwiftReplies : public SkippedSleeps {
public:
    SwiftReplies();
};

/// While it lives, looks at the task flag whenever this thread reads the time of day, as it does for every
/// message and every line of the log.
class TaskFlagWatch {
public:
    TaskFlagWatch();
    ~TaskFlagWatch();
    TaskFlagWatch(const TaskFlagWatch&) = delete;
    TaskFlagWatch& operator=(const TaskFlagWatch&) = delete;

    /// The values seen, each once until it changes: "010" for one that was raised and lowered.
    static std::string seen();
};
