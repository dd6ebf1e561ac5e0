// What is to be read: which files, channels and events, how channels are aligned, and what an event has to
// have. A selection is a plain record and, in a second form, one line of text that can be mailed:
//   linac/main run=1207 chan=BPM*,CAM/1 from=2025-03-01T08:00:00Z step=10
#ifndef RAVO_DATASET_SELECTION_H
#define RAVO_DATASET_SELECTION_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_dataset/ledger.h"
#include "ravo_export.h"

namespace ravo {

/// How entries of different channels are matched to one event.
enum class synch_mode { by_number, by_time };

/// Which events are in a selection.
enum class join_policy {
  any,   ///< those of at least one channel
  all,   ///< those that all channels have; a slow channel also if the slow policy gives it a value
  with,  ///< those that the channel `join_channel` has
};

/// What a slow channel (updates, environment, begin and end of run) has at other channels' events.
enum class slow_policy {
  none,     ///< nothing: it has a value at its own events only
  hold,     ///< its last value before, also from before the selection's first event
  nearest,  ///< of its last value before and its first one after, the one nearer in time
};

struct run_numbers {
  int first = 0;
  int last = 0;
  bool operator==(const run_numbers&) const = default;
};

/// A channel that was found once, with all that was found out: a part of a larger selection has the same
/// channels as the whole, whichever files it reads.
struct exact_channel {
  std::string name;
  int member = -1;          ///< -1: the whole channel
  std::string member_name;  ///< by which it may be asked for too: "NAME:MEMBER"; may be empty
  bool is_slow = false;
  bool operator==(const exact_channel&) const = default;
};

/// A file that is known to be left out.
struct left_out_file {
  std::string path;
  file_refusal reason = file_refusal::missing;
  bool operator==(const left_out_file&) const = default;
};

/// A period from which files are missing; excludes its end. Without a limit it is open on that side.
struct missing_period {
  std::optional<time_stamp> from;
  std::optional<time_stamp> to;
};

/// A file with lists of a selection, and what its bytes have to be.
struct manifest_name {
  std::string path;
  std::string sha256;  ///< 64 hexadecimal digits, lower case
  bool operator==(const manifest_name&) const = default;
};

struct selection {
  // ---- files: those listed; else those of the runs or of the period, as the reader's request finds them
  // ----
  std::vector<std::string> files;  ///< raw files, and folders of which all raw files (*.raw) are taken
  std::string experiment = "linac";
  std::string stream = "main";
  std::string catalogue;            ///< directory of the run catalogue
  std::string data;                 ///< directory of the raw files, or several joined by ":"
  std::optional<run_numbers> runs;  ///< refused if files are listed
  /// Raw files and folders that are read for slow values alone, which other files' events hold. Their
  /// events are not part of the selection, and nothing of them is counted. They must not overlap the other
  /// files in time.
  std::vector<std::string> context;
  /// Files of the selection that are known to be left out: they are not opened, and the ledger lists them.
  std::vector<left_out_file> left_out;
  /// From when values are missing: a slow value that would be held across such a period is stale. For files
  /// that turn out to be unreadable when they are opened this is found out from their names.
  std::vector<missing_period> gaps;
  /// Files with more of these lists: files, context, left_out, gaps, channels and exact. What they list
  /// comes before what is listed here.
  std::vector<manifest_name> manifests;

  // ---- channels: each an exact name, a glob (* ? [...]), or "~" and a regular expression for the whole
  // name; with ":n" after it the member n only. Empty: all channels. ----
  std::vector<std::string> channels;
  /// Instead of patterns: the channels themselves. One that the files lack is not_recorded at every event.
  std::vector<exact_channel> exact;

  // ---- events: all limits are inclusive, and all that are given hold ----
  std::optional<time_stamp> from;
  std::optional<time_stamp> to;
  std::optional<std::uint32_t> first_event;
  std::optional<std::uint32_t> last_event;
  std::uint32_t step = 1;              ///< every step-th of the events that are left, from the first one on
  std::uint32_t phase = 0;             ///< or from the one at this position on, which is less than the step
  std::optional<std::uint32_t> limit;  ///< only the first ones of those; at least 1

  // ---- alignment ----
  synch_mode synch = synch_mode::by_number;
  time_stamp tolerance{0, 50000};  ///< for events without a number, and all when aligned by time
  join_policy join = join_policy::any;
  std::string join_channel;  ///< of join_policy::with: a channel of the selection, as it is written there
  slow_policy slow = slow_policy::none;
  std::optional<std::uint64_t> max_age;  ///< microseconds; a held value that is older is stale. Refused
                                         ///< where the slow policy is none

  /// Reads the text form. Words are parted by blanks:
  ///   EXPERIMENT/STREAM  run=N or N-M  file=PATH,...  chan=PATTERN,...  from=TIME  to=TIME
  ///   event=N, N-M, N- or -M  step=N  phase=N  limit=N  synch=number|time  tolerance=SPAN
  ///   join=any|all|with:CHANNEL  slow=none|hold|nearest  max_age=SPAN  catalog=DIR  data=DIR
  ///   context=PATH,...  exact=KIND:NAME,...  left_out=REASON:PATH,...  gap=FROM/TO,...
  ///   manifest=PATH,sha256:DIGEST
  /// A TIME is one of time_grammar.h, such as YYYY-MM-DDTHH:MM:SS[.FRACTION]Z or seconds since 1970 (UTC
  /// unless it says otherwise; to= may count from from=), a SPAN a number followed by us, ms, s, min or h.
  /// What holds blanks, commas, quotes or control characters is quoted: "...", with \", \\ and \xNN, a
  /// byte. Lists may be repeated. Throws selection_error that names the word.
  RAVO_EXPORT static selection parse(std::string_view text);

  /// The text from which parse() makes this selection; defaults are left out.
  RAVO_EXPORT std::string to_text() const;

  RAVO_EXPORT bool operator==(const selection& other) const;
};

/// The selection with absolute paths, so that its text means the same in every directory. Links stay.
RAVO_EXPORT selection with_absolute_paths(selection wanted);

}  // namespace ravo

#endif
