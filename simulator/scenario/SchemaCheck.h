#pragma once

#include "scenario/Json.h"

#include <optional>
#include <string>

namespace pdasim {

/** The first thing in a document that its schema does not allow. */
struct SchemaViolation {
    int line;
    /** A JSON pointer, "/" for the document itself. */
    std::string path;
    std::string reason;
    /** The value of the keyword that forbids it, inside the schema. */
    const Json* rule = nullptr;
};

/**
 * Holds a document against a JSON Schema.
 *
 * Knows the keywords that the scenario's schema is written in; any other one throws std::logic_error, so that
 * no rule is published without being enforced.
 */
std::optional<SchemaViolation> checkSchema(const Json& schema, const Json& document);

} // namespace pdasim
