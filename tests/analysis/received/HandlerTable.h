#pragma once

#include "analysis/PDAXMLAnalysis.h"
#include "analysis/ResultStores.h"

#include "core/Announcement.h"

#include <QString>
#include <string>
#include <vector>

/// One handler of a message that the terminal starts: what it reads, keeps, logs and answers.
struct Handler {
    const char* member;
    int (CPDAXMLAnalysis::*receive)(char*);
    const char* type;
    pdasim::Announcement (*announcement)();
    QString* store;
    std::size_t storeSize;
    /// The tags whose values the first slots hold.
    std::vector<const char*> tags;
    /// What it logs before anything else; null for nothing.
    const char* begin;
    bool logsMessage;
    /// Null for a message that is not acknowledged.
    const char* acknowledgementType;
    /// What follows Ex_SeqNo in the acknowledgement.
    const char* acknowledgement;
    /// What it lowers; null for nothing.
    bool* lowered;
    /// Whether the store is written before the receive buffer is emptied.
    bool storesBeforeClearing;
};

const std::vector<Handler>& allHandlers();
const Handler& handlerOf(const std::string& member);
