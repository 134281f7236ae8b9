#pragma once

#include <string>

namespace pdalink::test {

/// Keeps a document that a test has seen. In the end all of them are held against the schema of this name:
/// any of those of documents for "*"; "!" in front of it means that the document must not fit.
void collectDocument(const std::string& schema, const std::string& document);

} // namespace pdalink::test
