#pragma once

#include "core/state/Identity.h"

#include <array>
#include <string>
#include <vector>

namespace pdasim {

struct WrittenLabel {
    std::string label;
    std::string organisation;
    std::string bagType;
    /** The tag that the terminal wrote it on. */
    std::string tagId;
};

/** Begins empty with every accepted start command; what was scanned stays when the run is stopped. */
struct ScanRun {
    bool running = false;
    std::vector<std::string> labels;
};

struct InventoryTask {
    std::string number;
    std::string taskId;
    std::string total;
    std::string labels;
};

struct InventoryResult {
    std::string taskId;
    std::vector<std::string> labels;
    std::vector<std::string> errorLabels;
    std::string offline = "0";
    Confirmation confirmation;
    std::string state = "0";
};

/** A new task takes the place of the last one and of its result. */
struct Inventory {
    InventoryTask task;
    InventoryResult result;
};

/** What the parties A, B and C have confirmed; "0" is the state of a handover still under way. */
struct HandoverResult {
    std::string time;
    std::vector<std::string> labels;
    std::vector<std::string> errorLabels;
    std::array<Confirmation, 3> parties;
    std::string state = "0";
};

struct DotTask {
    std::string number;
    std::string taskType;
    /** In the encoding in which the host sent it, as the organisation's name is. */
    std::string road;
    std::string exchangeTime;
    std::string organisationNumber;
    std::string organisationName;
    std::string total;
    std::string labels;
    std::string userA;
    std::string userB;
};

struct DotHandover {
    DotTask task;
    /** What the result says; taken from the task when one comes. */
    std::string road;
    HandoverResult result;
};

struct PowerTask {
    std::string number;
    std::string organisationNumber;
    std::string time;
    std::string organisationName;
    std::string batch;
    std::string total;
    std::string labels;
};

struct PowerHandover {
    PowerTask task;
    /** What the result says; taken from the task when one comes. */
    std::string batch;
    HandoverResult result;
};

} // namespace pdasim
