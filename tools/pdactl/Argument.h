#pragma once

#include <string>
#include <string_view>

namespace pdactl {

/**
 * The value of an argument: "@FILE" stands for a file's content, "-" for standard input's, both without the
 * line end at their end; everything else for itself. A secret must not stand on the command line, where every
 * user of the machine sees it. `name` is for messages. Throws a Failure that says how to do it.
 */
std::string readArgument(const std::string& name, const std::string& text, bool isSecret);

/**
 * Throws a Failure for a value that cannot be sent as it stands: bytes that are no UTF-8 would be replaced,
 * or cut, on their way to the terminal, and values travel between tags as they are.
 */
void requireSendable(const std::string& name, const std::string& value);

/** True for a text of nothing but blanks and line ends. */
bool isBlank(std::string_view text);

/** Throws a Failure for a value without which nothing must be sent, and that is blank. */
void requireNotEmpty(const std::string& name, const std::string& value);

/** A file's content, "-" for standard input. Throws a Failure. */
std::string readWhole(const std::string& path);

} // namespace pdactl
