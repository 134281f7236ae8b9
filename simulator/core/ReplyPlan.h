#pragma once

#include "core/Terminal.h"

#include <string>
#include <vector>

namespace pdasim {

/** Lays a reply out in time, as the fault that strikes it demands. */
class ReplyPlan {
public:
    /** An empty reply is one that does not come; the device may still go and come back. */
    static std::vector<TimedStep> layOut(const std::string& reply, const Fault& fault);
};

} // namespace pdasim
