// The streams that are followed: how far each has come, which of them are silent, and up to which time
// nothing more will come from any. Times of events are microseconds since 1970, those of the clock seconds.
#ifndef RAVO_DATASET_STREAM_MARKS_H
#define RAVO_DATASET_STREAM_MARKS_H

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "align/event_window.h"

namespace ravo::detail {

class stream_marks {
 public:
  stream_marks(double silence, const std::vector<std::string>& expected, double now);

  std::size_t size() const { return streams_.size(); }
  /// The position of the stream to which a file belongs by its name: by what stands before "_run". Files
  /// without a run in their name are one stream.
  std::size_t stream_of(const std::string& path, double now);

  /// A look for files consists of begin_look(), any number of notes, and end_look().
  void begin_look();
  /// A file that is still written: nothing from before the time in its name is in it.
  void note_growing(const std::string& path, double now);
  /// A file that is closed; one that cannot be read has an empty span.
  void note_closed(const std::string& path, const event_span& span, bool ends_run, double now);
  void end_look(double now);

  /// Up to which time nothing more will come.
  struct mark {
    std::int64_t time = before_all_times;
    bool is_waiting = false;  ///< some stream goes on
  };
  mark watermark(double now) const;
  /// How far the stream that is farthest has come.
  std::int64_t last_time() const;
  /// Whether a file that ends the run was taken, from all streams that are not silent.
  bool run_is_over(double now) const;
  bool has_growing_files() const { return !growing_.empty(); }
  /// Until when a stream has delivered everything: after all times if it is over.
  std::int64_t delivered_until(std::size_t stream) const;
  /// When the next stream falls silent: seconds from now, or infinity.
  double next_silence(double now) const;

 private:
  /// Consecutive files by their numbers: one that is not closed yet holds up those after it.
  struct sequence {
    std::uint64_t next = 0;                         ///< 0: the first one decides
    std::map<std::uint64_t, std::int64_t> waiting;  ///< by number: the last event
  };
  struct stream_state {
    std::string name;
    std::int64_t mark = before_all_times;
    double went_on = 0;  ///< when the mark was raised, or a new file or a new run was seen
    std::optional<std::uint64_t> ended_run;
    std::map<std::uint64_t, sequence> runs;
  };

  std::size_t find_or_add(const std::string& name, double now);
  bool is_silent(const stream_state& one, double now) const { return now - one.went_on >= silence_; }
  std::int64_t limit_of(std::size_t stream) const;
  bool is_over(std::size_t stream) const;
  bool delays_others(std::size_t stream, double now) const {
    return !is_over(stream) && !is_silent(streams_[stream], now);
  }
  void note_run(std::uint64_t run, double now);
  static void raise(stream_state& one, std::int64_t to, double now);
  static void take_in_order(stream_state& one, sequence& files, double now);

  struct growing_file {
    std::size_t stream;
    std::int64_t nothing_before;  ///< nothing from this time or earlier is in it
  };

  const double silence_;
  std::vector<stream_state> streams_;
  std::map<std::string, growing_file> growing_, grew_before_;
  std::set<std::uint64_t> runs_;
  std::uint64_t last_run_ = 0;
  bool is_first_look_ = true;
};

}  // namespace ravo::detail

#endif
