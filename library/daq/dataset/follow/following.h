// Follows a selection: looks for files that were closed, keeps account of what was handed over of each, and
// opens window after window on them. A window reads the files that are not done as a dataset of their own,
// whose events go to the caller one by one; late files come first, in windows of their own.
#ifndef RAVO_DATASET_FOLLOWING_H
#define RAVO_DATASET_FOLLOWING_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "follow/followed_file.h"
#include "follow/known_channels.h"
#include "follow/stream_marks.h"
#include "follow/window_survey.h"
#include "ravo_dataset/find_files.h"
#include "ravo_dataset/follow.h"
#include "read/event_reader.h"

namespace ravo::detail {

/// What the events of a window have in common.
struct window_facts {
  std::shared_ptr<const dataset_state> state;
  std::vector<std::string> labels;
  std::vector<std::int64_t> delivered_until;  ///< by channel: when its streams' values end so far
};

class following {
 public:
  following(const selection& wanted, follow_options options);

  std::optional<followed_event> next();
  std::optional<time_stamp> watermark() const;
  end_of_following ended() const { return is_ended_ ? end_ : end_of_following::not_ended; }
  read_ledger ledger() const;
  const std::vector<std::string>& late_files() const { return late_paths_; }
  std::vector<std::string> unmatched_patterns() { return channels_.resolve(), channels_.unmatched(); }

 private:
  struct window {
    std::shared_ptr<dataset_state> state;
    std::unique_ptr<event_reader> reader;
    std::shared_ptr<const window_facts> facts;
    window_survey survey;
    bool is_of_late_files = false;
    std::int64_t handed_over_before = before_all_times;
  };

  // ---- files
  void look(double now);
  found_files find() const;
  bool take(const std::string& path, double now);
  void take_readable(const dataset_state& state, const std::string& path, double now);
  void leave_out(const refused_file& file);
  void take_rest(const found_files& found, double now);
  int find_member(const std::string& path, const std::string& channel, const std::string& member) const;
  bool ends_run(const dataset_state& file, const std::string& path) const;
  bool is_next_run_there() const;
  void decide(const found_files& found, double now);
  void wait(double now) const;

  // ---- windows
  bool open_next_window();
  void open_window(std::vector<followed_file>& files, std::int64_t until, bool is_of_late_files);
  void lose(const refused_file& file);
  bool can_read();
  selection selection_of(const std::vector<followed_file>& files, bool is_of_late_files);
  event_window window_on(const std::vector<followed_file>& files, std::int64_t until) const;
  event_options slice_of(bool is_of_late_files) const;
  std::shared_ptr<const window_facts> facts_of(std::shared_ptr<const dataset_state> state,
                                               bool is_of_late_files);
  void put_away_done_files();
  std::optional<followed_event> next_of_window();
  void close_window();
  void end(end_of_following why);

  const selection wanted_;
  const follow_options options_;
  const double began_;
  stream_marks marks_;
  known_channels channels_;

  std::set<std::string> seen_;      ///< files that were taken or refused
  std::vector<std::string> names_;  ///< of files that were taken
  std::vector<refused_file> refused_;
  std::vector<followed_file> late_, live_,
      held_;  ///< to be handed over late; not done; done, with slow values
  std::vector<std::string> late_paths_;
  std::int64_t handed_over_ = before_all_times;  ///< all that was taken until then
  std::optional<std::int64_t> wanted_until_;     ///< the end of the next window

  std::optional<window> window_;
  std::uint64_t selected_ = 0;  ///< events of all windows so far, whatever the step
  std::uint64_t returned_ = 0;
  read_ledger ledger_;  ///< of the windows that are closed
  end_of_following end_ = end_of_following::not_ended;
  bool is_ended_ = false;
};

}  // namespace ravo::detail

#endif
