#pragma once

#include "Outcome.h"

#include <pdalink/analysis/PDAXMLAnalysis.h>

#include <string>
#include <vector>

namespace pdactl {

/** A message that the terminal starts: the library's handler for it, and where that leaves its fields. */
struct MessageKind {
    const char* type;
    const char* name;
    int (CPDAXMLAnalysis::*handler)(char*);
    QString* store;
    std::vector<const char*> fields; ///< names of the store's slots
    bool isAcknowledged = true;      ///< by its handler
};

/** Null for a type that the terminal does not start. */
const MessageKind* findKind(const std::string& type);

extern const char* const LoginType;

/** What the handler has left of a message; the store is empty again then. */
std::vector<Field> takeFields(const MessageKind& kind);

} // namespace pdactl
