// Prints the ledger of a reading: for people in lines
// on standard error, for machines as a JSON object.
#ifndef RAVO_TOOL_LEDGER_PRINTING_H
#define RAVO_TOOL_LEDGER_PRINTING_H

#include <optional>
#include <string>

#include "ravo_dataset/ledger.h"
#include "shared/json_lines.h"

namespace ravo::tool {

/// Prints the sums to standard error, and what is missing, by
/// channel and cause; of the single values only the first ones.
void print_ledger(const read_ledger& ledger);
/// The whole ledger.
json ledger_json(const read_ledger& ledger);

/// A status or a cause in JSON: its words joined by "_".
std::string key_of(const char* words);

/// The tool's own reason for refusing a file that the dataset layer left out,
/// with the file's name: it says more about the file's content. `nullopt` if
/// the tool finds nothing wrong, or if the reason is not in the content.
std::optional<std::string> why_refused(const refused_file& file);

}  // namespace ravo::tool

#endif
