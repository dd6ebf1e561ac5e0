// Explains why the loader refuses a file: goes through
// the tables again, one by one, until one is refused.
#ifndef RAVO_TOOL_REFUSAL_H
#define RAVO_TOOL_REFUSAL_H

#include <string>

namespace ravo::tool {

/// The reason for the loader's non-zero `code` for the file, without the file's name.
std::string explain_refusal(const std::string& path, int code);

/// Describes a file that the system refuses to read, which does not mean that it is damaged; `error` is
/// errno.
std::string text_of_unreadable(int error);

}  // namespace ravo::tool

#endif
