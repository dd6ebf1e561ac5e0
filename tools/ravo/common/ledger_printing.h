// The ledger of a reading as the tool shows it: for people in lines on standard error, for machines as a
// JSON object.
#ifndef RAVO_TOOL_LEDGER_PRINTING_H
#define RAVO_TOOL_LEDGER_PRINTING_H

#include <optional>
#include <string>
#include <string_view>

#include "common/json_lines.h"
#include "ravo_dataset/ledger.h"

namespace ravo::tool {

/// Prints the sums to standard error, and what is missing, by channel and cause; of the single values the
/// first ones.
void print_ledger(const read_ledger& ledger);
/// All of it.
json ledger_json(const read_ledger& ledger);

/// A status or a cause in JSON: its words joined by "_".
std::string key_of(const char* words);

/// Whether what the dataset layer says of a file is that the system would not open or read it: then nothing
/// is known of the file itself.
bool is_error_of_the_machine(std::string_view problem);
/// Why a file is no readable raw file, with its name; nothing when the tool finds nothing wrong with it.
std::optional<std::string> why_refused(const std::string& path);

}  // namespace ravo::tool

#endif
