#pragma once

#include <string>

namespace pdactl {

/**
 * Signals still end the program from now on, but it leaves nothing behind that is half done. Signals that are
 * ignored, as under nohup, stay so. With `asJson` a document that names the signal takes the place of the one
 * that does not come any more.
 */
void handleEndings(bool asJson);

/** The file that a signal is to remove; none for an empty text. */
void setTemporaryFile(const std::string& path);

/** Where a signal is to write its document, as long as no other has been begun; nowhere for -1. */
void setDocumentDescriptor(int descriptor);

} // namespace pdactl
