// What `ravo verify` can find: one row a kind, with the code by which programs know it, how bad it is,
// what it means and what to do. A finding has a place: a file, and in it a channel, an event, an offset.
#ifndef RAVO_VERIFY_FINDING_H
#define RAVO_VERIFY_FINDING_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "ravo_verify.h"

namespace ravo::checks {

enum class finding_kind {
  folder_unreadable,
  catalogue_damaged,
  catalogue_unreadable,
  run_unknown,
  run_file_growing,
  run_file_left_out,
  run_file_twice,
  file_unreadable,
  file_changed,
  file_too_large,
  file_too_entangled,
  file_signature,
  file_reference,
  table_event_index,
  table_dictionary,
  table_pointers,
  table_environment,
  table_descriptions,
  table_reference,
  table_overlap,
  basket_event_headers,
  basket_server_blocks,
  basket_channel,
  basket_first_block,
  dictionary_name,
  dictionary_key,
  dictionary_count,
  dictionary_event_mask,
  dictionary_idle_mask,
  dictionary_type_mask,
  environment_key,
  environment_entry,
  environment_index,
  environment_negative,
  description_text,
  description_missing,
  text_encoding,
  index_limits,
  index_event,
  index_missing,
  event_marker,
  event_time,
  event_no_time,
  event_servers,
  event_length,
  event_time_back,
  event_number_back,
  event_duplicate,
  event_missing,
  server_name,
  server_time,
  server_channels,
  server_length,
  pointer_event_header,
  pointer_server_block,
  pointer_block,
  pointer_data,
  pointer_order,
  pointer_block_order,
  block_name,
  block_foreign_name,
  block_type,
  block_length,
  block_reading_length,
  block_reading_time,
  block_zip_header,
  block_zip_flags,
  block_original_length,
  block_inflate,
  block_convert,
  block_spare_words,
  block_too_large,
  channel_shifted,
  channel_time_back,
  channel_frozen,
  channel_absent,
  run_file_missing,
};

struct kind_row {
  finding_kind kind;
  const char* code;
  severity how_bad;
  const char* what;                              ///< a sentence without the full stop
  const char* remedy;                            ///< what to do
  finding_count counts = finding_count::places;  ///< how repeated findings are combined
};

/// All kinds, in the order of the enumeration.
std::span<const kind_row> finding_kinds();
const kind_row& row_of(finding_kind kind);

/// The place of a finding; members that are not set do not apply.
struct place {
  std::string channel = {};
  std::optional<std::uint32_t> event = {};  ///< number
  std::optional<std::uint64_t> offset = {};
};

/// One line of the report: a finding, or the first of several equal ones.
struct finding {
  finding_kind kind;
  std::string file;
  place first;
  std::uint64_t count = 1;
  std::string detail;  ///< of the first; may be empty
};

/// The finding with its texts, as users get it.
ravo::finding described(const finding& what);

}  // namespace ravo::checks

#endif
