// An independent model of aligned reading over plain lists: which event each get_data() chooses and which
// channels it returns, by the stated rules of the channel reader's lookups, of the alignment and of file
// switching. It knows no threads, no files and no memory: a file is a list of events per channel.
//
// Where the rules give a strange result the model gives it too, on purpose:
// - the first answer of a call becomes the candidate whatever its place relative to the target, so that
//   first and last, which look up the target itself, mostly stay where they are;
// - a channel that is not asked, because its range ends before the target, keeps its current entry and
//   is returned again when that lies within the time difference of the chosen event;
// - a channel that could not be moved keeps its old file; when no channel has a candidate the current event
//   becomes zero, and the next step from there is refused.
#ifndef RAVO_TEST_SLICER_ALIGNMENT_MODEL_H
#define RAVO_TEST_SLICER_ALIGNMENT_MODEL_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace ravo::test {

struct model_event {
  std::uint32_t number = 0;
  std::int64_t time = 0;  // microseconds since 1970
  bool has_seconds() const { return time >= 1000000; }
};

struct model_stream {
  /// [file][channel]: the channel's events in file order.
  std::vector<std::vector<std::vector<model_event>>> events;
  /// [file][channel]: whether the file's dictionary has the channel.
  std::vector<std::vector<bool>> declared;
  /// [channel]: whether it carries update blocks.
  std::vector<bool> updates;
  /// [file]: whether it cannot be loaded.
  std::vector<bool> broken;
};

struct model_settings {
  bool by_time = false;
  std::int64_t tolerance = 50000;
  std::uint32_t number_step = 1;
  std::int64_t time_step = 100000;
  bool by_time_fix = true;
  bool update_blocks_lose_ties = true;  // when the last event is searched by time
};

/// One channel's reader over one file.
class model_reader {
 public:
  model_reader(const model_settings& settings, const std::vector<model_event>& events, std::size_t file);

  struct answer {
    int status;
    int index;  // -1: no entry
  };
  answer ask(const std::optional<model_event>& id, int type);
  const model_event& event(int index) const { return events_[static_cast<std::size_t>(index)]; }
  bool is_empty() const { return events_.empty(); }

  std::size_t file;
  model_event first{};
  model_event last{};

 private:
  answer by_number(std::int64_t number, int type);
  answer by_time(std::int64_t time, int type);
  int find_number(std::uint32_t number, int type);
  int find_time(std::int64_t time, int type);
  int search_time(std::int64_t time) const;
  int distance(std::int64_t a, std::int64_t b) const;

  const model_settings& settings_;
  const std::vector<model_event>& events_;
  int current_ = -1;
  model_event returned_{};
};

class alignment_model {
 public:
  alignment_model(const model_stream& stream, const model_settings& settings);

  struct entry {
    std::size_t channel;
    model_event event;
  };
  struct result {
    int status;
    std::vector<entry> entries;
  };
  int start();
  result get(const std::optional<model_event>& id, int direction);

  model_event current{};
  std::vector<std::size_t> not_found;

 private:
  int compare(const model_event& a, const model_event& b) const;
  int start_channel(std::size_t channel, int direction);
  int change_file(std::size_t channel, int direction);
  bool shares(std::size_t channel, std::size_t file) const;
  bool move(std::size_t channel, int direction, std::size_t& moves);
  int align_channel(std::size_t channel, model_event& target, int direction, model_event& chosen);
  void choose(std::size_t channel, const model_event& event, const model_event& target, int direction,
              model_event& chosen) const;
  model_event own(model_event event) const;

  const model_stream& stream_;
  const model_settings& settings_;
  std::vector<std::optional<model_reader>> readers_;
  std::vector<bool> available_;
  std::vector<std::size_t> departures_;
  bool first_call_ = true;
};

}  // namespace ravo::test

#endif
