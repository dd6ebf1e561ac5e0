// Whether raw files are sound: every byte of them is checked, tables, headers, pointers, blocks, and what
// one file says against the next of its run. Nothing is printed, and the files are only read.
#ifndef RAVO_VERIFY_H
#define RAVO_VERIFY_H

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

namespace ravo {

/// The files of runs FIRST to LAST in a run catalogue, and those beside them that it lacks.
struct catalogue_runs {
  std::string directory = "/daq/ravo/admtemp/";
  std::string experiment = "linac";
  std::string stream = "main";
  int first = 0;
  int last = 0;
};

enum class verification_depth {
  heads,   ///< tables and headers alone; no block is inflated or converted
  blocks,  ///< every byte
};

/// What is checked: `paths` or `runs`, not both.
struct verification {
  /// Files as they are named, and folders with those below them. All files of a run belong together: what
  /// one file says is compared with the next of its run.
  std::vector<std::string> paths = {};
  std::optional<catalogue_runs> runs = {};
  verification_depth depth = verification_depth::blocks;
  /// These should have data in every run.
  std::set<std::string> expected_channels = {};
  unsigned threads = 0;  ///< 1 to 64; 0: one a core, at most 4
};

enum class severity {
  odd,      ///< may be right all the same: inspect it
  damaged,  ///< data are lost, or what the file says about itself is wrong
};
/// "odd" or "damaged".
const char* name_of(severity how_bad);

/// What a finding counts.
enum class finding_count {
  places,    ///< places in one channel, or in the file; the first one is named
  channels,  ///< channels of the file; the first one is named
};

/// Something that is wrong, once or several times. Texts out of files are as they are there: they may hold
/// any bytes. to_text() and to_json() escape them.
struct finding {
  std::string file = {};  ///< its path; empty for what belongs to no file
  std::string kind = {};  ///< a code for programs, as "block.inflate"
  severity how_bad = severity::odd;
  std::string channel = {};                  ///< empty if it does not apply
  std::optional<std::uint32_t> event = {};   ///< number of the first event
  std::optional<std::uint64_t> offset = {};  ///< in the file, of the first place
  std::uint64_t count = 1;                   ///< how often
  finding_count counts = finding_count::places;
  std::string text = {};    ///< what is wrong, a sentence without the full stop
  std::string detail = {};  ///< of the first place; may be empty
  std::string remedy = {};  ///< what to do
};

/// One line, without its end: "FILE: CHANNEL: what is wrong (detail), x 12, first at event N, offset O;
/// what to do [code]". Control characters of texts out of files are escaped.
std::string to_text(const finding& what);
/// One line of JSON, without its end: an object with "file", "kind", "severity", "channel", "event",
/// "offset", "count", "text", "detail", "remedy"; those that do not apply are null.
std::string to_json(const finding& what);

enum class file_verdict {
  good,     ///< nothing was found
  odd,      ///< nothing worse than odd was found
  damaged,  ///< damage was found
  unread,   ///< it cannot be read, or it changed while it was checked
};

struct verified_file {
  std::string path = {};
  file_verdict verdict = file_verdict::good;
  std::uint64_t bytes = 0;
  std::uint64_t events = 0;
  std::uint64_t blocks = 0;    ///< good ones
  std::uint64_t findings = 0;  ///< in the report
  std::uint64_t further_findings =
      0;  ///< that are not in the report, because there are too many different ones
};

struct verification_totals {
  std::uint64_t files = 0;           ///< checked
  std::uint64_t files_to_check = 0;  ///< more than `files` after a stop
  std::uint64_t good_files = 0, odd_files = 0, damaged_files = 0, unread_files = 0;  ///< of `files`
  std::uint64_t bytes = 0, events = 0, blocks = 0;  ///< of `files`; good blocks
  std::uint64_t damaged = 0, odd = 0;               ///< findings
};

struct verification_report {
  std::vector<verified_file> files;  ///< in the order of runs and file numbers
  std::vector<finding> findings;     ///< of the search for files, of each file in turn, of the runs
  /// Expected channels that have no finding of their own, because there are too many.
  std::uint64_t absent_left_out = 0;
  verification_totals totals;
  std::size_t runs = 0;
  std::set<std::string> channels_of_all_runs;  ///< those that have data in every run
  bool is_stopped = false;                     ///< a stop was requested: the rest was not checked
};

/// Functions that are called by the thread that verifies, in the order of what they report; each may be
/// empty. What they throw ends the verification.
struct verification_observer {
  /// Now and then, with the bytes of the files that are done, and of all.
  std::function<void(std::uint64_t done, std::uint64_t total)> progress = {};
  std::function<void(const finding&)> found = {};  ///< for each finding, as soon as its file is checked
  /// After the findings of each file, with the totals so far.
  std::function<void(const verified_file&, const verification_totals&)> checked = {};
};

/// The catalogue has none of the runs, or a list of channels cannot be read or written; what() names the
/// file or folder and the reason.
struct verification_error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Checks the files. What is wrong with files, folders and catalogues is a finding, not an error: it throws
/// std::invalid_argument for both or neither of paths and runs, verification_error if the catalogue knows
/// none of the runs, and std::bad_alloc. After a stop request it returns what is known by then.
verification_report verify(const verification& what, std::stop_token stop = {},
                           const verification_observer& observer = {});

/// Reads a list of channels, one name a line; empty lines and those that begin with '#' are ignored. Throws
/// verification_error, also for a list without a channel.
std::set<std::string> read_channel_list(const std::string& path);
/// Writes such a list, whole or not at all. `origin` becomes a comment. Throws verification_error.
void write_channel_list(const std::string& path, const std::set<std::string>& channels,
                        const std::string& origin);

}  // namespace ravo

#endif
