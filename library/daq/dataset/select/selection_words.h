// The words of a selection's text form: splitting and quoting, and the numbers, times and spans in them.
#ifndef RAVO_DATASET_SELECTION_WORDS_H
#define RAVO_DATASET_SELECTION_WORDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ravo_core_records.h"

namespace ravo::detail {

/// "KEY=VALUE,VALUE" with the quotes resolved; without "=" the key is empty.
struct selection_word {
  std::string text;  ///< as it stands, for messages
  std::string key;
  std::vector<std::string> values;  ///< at least one
};

/// The words of a text. Throws selection_error for a quote that does not end.
std::vector<selection_word> split_words(std::string_view text);
/// A value as it can stand in a text: quoted when it has to be.
std::string quoted(std::string_view value);

/// The words of an enumerator as a name in a text: joined by "_".
std::string key_of(const char* words);

std::optional<std::uint32_t> read_number(std::string_view text);
/// In UTC, with a fraction only where there is one.
std::string write_time(const time_stamp& time);
/// A number followed by us, ms, s, min or h, in microseconds.
std::optional<std::uint64_t> read_span(std::string_view text);
/// Written in the largest of those units that gives a whole number.
std::string write_span(std::uint64_t microseconds);

}  // namespace ravo::detail

#endif
