// The XML documents of a catalogue as texts: a run with its raw files, and a day with its runs. Reading is
// strict: any deviation makes a document damaged, and the reason says where.
#ifndef RAVO_CATALOGUE_DOCUMENTS_H
#define RAVO_CATALOGUE_DOCUMENTS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/days.h"
#include "ravo_run_catalogue_builder.h"

namespace ravo::catalogue {

/// Larger documents are refused: half a million raw files fit, and the parsed tree takes a few times as
/// much.
inline constexpr std::size_t longest_document = std::size_t{128} << 20;

/// A document of a catalogue file: its content, or the reason why it cannot be used; neither if there is
/// no such file.
template <class Content>
struct document {
  std::optional<Content> content;
  std::string damage;
  bool readable = true;  ///< false: the system refuses to read the file, which may be intact
};

/// The span in which a run has raw files, as far as the index that lists it is concerned.
struct run_span {
  int run;
  time_stamp start;
  time_stamp end;
};

/// The runs that have raw files of one day, or very long ones, in the order of their numbers.
struct day_index {
  std::string experiment;
  std::string stream;
  std::string day;  ///< "2025-03-01", or "long"
  std::vector<run_span> runs;
};

std::string run_document(const run_entry& run);
document<run_entry> parse_run(std::string_view text);

std::string day_document(const day_index& day);
document<day_index> parse_day(std::string_view text);

/// Whether such a document can hold a text: UTF-8 without control characters.
bool can_be_written(std::string_view text);

}  // namespace ravo::catalogue

#endif
