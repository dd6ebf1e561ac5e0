// What `ravo convert` reports of its work: what became of each file, and the sums.
#ifndef RAVO_TOOL_CONVERT_REPORT_H
#define RAVO_TOOL_CONVERT_REPORT_H

#include <cstdint>
#include <optional>
#include <string>

#include "common/output.h"
#include "convert/convert_file.h"
#include "convert/sources.h"

namespace ravo::tool {

/// What became of one file.
struct conversion_outcome {
  conversion_source source;
  std::optional<conversion> converted;  ///< `nullopt`: failed, or only compared with an earlier conversion
  std::uint64_t bytes = 0;
  std::uint64_t output_bytes = 0;
  bool verified = false;
  std::string problem;  ///< empty: all went well
};

/// What became of all files.
struct conversion_totals {
  std::size_t done = 0;
  std::size_t failed = 0;
  std::size_t current = 0;  ///< of the current generation already
  std::uint64_t events = 0;
  std::uint64_t channels = 0;
  std::uint64_t blocks = 0;
  std::uint64_t bytes = 0;
  std::uint64_t output_bytes = 0;

  void add(const conversion_outcome& one);
};

/// For people. Leaves problems out: they go to standard error.
void print_outcome(const conversion_outcome& one, output& out);
void print_totals(const conversion_totals& sum, output& out);
/// One JSON object each.
void print_outcome_json(const conversion_outcome& one, output& out);
void print_totals_json(const conversion_totals& sum, output& out);

/// "1 file", "2 files".
std::string plural(std::uint64_t count, const char* noun);

}  // namespace ravo::tool

#endif
