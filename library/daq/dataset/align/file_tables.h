// One raw file of either generation as the dataset layer sees it: which channels it has, which span its
// events cover, and for a channel the list of its events, each with number, time, type and where its block
// lies. Nothing is inflated here, and no more is read than is asked for.
#ifndef RAVO_DATASET_FILE_TABLES_H
#define RAVO_DATASET_FILE_TABLES_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "align/event_index.h"
#include "ravo_core_records.h"
#include "ravo_dataset/status.h"
#include "ravo_file_generation.h"
#include "work/open_files.h"

namespace ravo::detail {

/// One event of one channel. 32 bytes, since there are millions.
struct entry {
  std::uint32_t number;
  time_stamp time;
  std::uint32_t chhd;    ///< where the subheader lies
  std::uint32_t data;    ///< where the data are said to lie
  std::uint32_t stored;  ///< bytes from the subheader to the next block or the basket's end
  std::uint32_t file;    ///< position in the dataset's files
  std::uint8_t type;     ///< RAVO_EVTYPE
  /// ok, or what the tables alone show to be wrong: truncated, misdirected or event_disputed. Such a block
  /// is not read, and `stored` is 0.
  value_status status;
  bool was_handed_over = false;  ///< by a window before this one (align/event_window.h)
};
static_assert(sizeof(entry) == 32);

/// What a channel dictionary says of a channel.
struct listed_channel {
  std::string_view name;
  std::uint32_t row;  ///< its place in the dictionary
  std::uint32_t count;
  std::uint32_t event_mask;
  std::uint32_t dtype_mask;
};

/// What is kept of a listed channel, so that no dictionary is read twice.
struct channel_place {
  static constexpr std::uint32_t none = 0xffffffffu;
  std::uint32_t row = none;  ///< none: the file does not have the channel
  std::uint32_t count = 0;
  std::uint32_t dtype_mask = 0;  ///< data types of its blocks, if they have a bit; 0: unknown
};

/// One channel of one file.
struct channel_rows {
  std::vector<entry> entries;    ///< in the file's order
  std::vector<entry> orphans;    ///< those without a valid event header; number and time are 0
  std::uint64_t basket_end = 0;  ///< 0: the basket is not where the file says
};

/// What is kept of a file itself.
struct file_facts {
  ravo_file_generation generation = ravo_file_generation::current;
  std::uint32_t rows = 0;                ///< of the dictionary
  std::uint32_t events = 0;              ///< in the event index
  std::uint32_t dictionary_at = 0;       ///< its offset
  std::uint32_t dictionary_pattern = 0;  ///< its marker, as the table-access library has it
  std::uint64_t row_bytes = 0;  ///< of the event channel pointers; 0 where the site's library does not say
  bool is_context = false;      ///< its slow values may be held; its events are not selected
};

struct file_summary : file_facts {
  file_refusal refusal = file_refusal::none;  ///< why it cannot be read
  std::string problem;                        ///< the same in words; empty when it can
  void refuse(file_refusal why, std::string in_words) {
    refusal = why;
    problem = std::move(in_words);
  }
  event_span span;
};

/// Bytes of the tables that scanning a file loads, before they are loaded; 0 where the site's library
/// does not say.
struct table_bytes {
  std::uint64_t dictionary = 0;
  std::uint64_t event_index = 0;
  std::uint64_t rows = 0;  ///< of the dictionary
};

/// Reads the dictionary and the span of the events. `take_room` is called first, and reserves memory for
/// them or throws; `visit` is called for each channel.
file_summary scan_file(const open_file& file, const std::function<void(const table_bytes&)>& take_room,
                       const std::function<void(const listed_channel&)>& visit);

/// A file whose dictionary is known.
struct known_file : file_facts {
  std::vector<channel_place> places;  ///< by channel
  std::uint32_t position = 0;         ///< in the dataset's files
};

/// The most memory that load_rows() needs while it runs, beside the entries that it returns: for the rows
/// of the dictionary, for those of the pointers, which are as long as the file says, for the event index,
/// and for event headers.
std::size_t bytes_to_load_rows(const known_file& known);

/// The rows of the named channels, in their order; `nullopt` if the tables cannot be read (any more). A
/// channel that the file does not have is empty.
std::optional<std::vector<channel_rows>> load_rows(const open_file& file, const known_file& known,
                                                   const std::vector<std::string>& names);

/// The data type of a block as it lies in the file, from its subheader alone; `nullopt` if there
/// is none.
std::optional<std::int32_t> read_stored_type(const open_file& file, ravo_file_generation generation,
                                             const entry& where);

}  // namespace ravo::detail

#endif
