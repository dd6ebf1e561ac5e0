// Which event of a file "1000042", "first", "last" or a time
// means, and where a dataset of the wanted channels has it.
#ifndef RAVO_TOOL_SHOW_EVENT_CHOICE_H
#define RAVO_TOOL_SHOW_EVENT_CHOICE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "common/raw_file.h"
#include "ravo_dataset/dataset.h"

namespace ravo::tool {

enum class place_of_event { first, last };
/// A number, an end of the file (slow events count only if there
/// are no others), or the event that is nearest to a time.
using wanted_event = std::variant<std::uint32_t, place_of_event, time_stamp>;
/// The meaning of the text of --event; throws usage_failure.
wanted_event wanted_event_of(const std::string& text, const std::string& zone);

struct chosen_event {
  ravo_time_id id;         ///< with the time of its earliest header
  std::vector<int> types;  ///< types of its headers, each once
  /// The position among the dataset's events; if no channel has data of
  /// the event, the position of the last event of the dataset before it.
  std::optional<std::size_t> position;
  bool is_in_dataset = false;
};

/// Chooses among the events of a dataset, which holds the wanted channels of
/// one file and all of its events; a number may name any event of the file.
class event_chooser {
 public:
  /// `options` are those that the dataset was opened with.
  event_chooser(const raw_file& file, const dataset& data, const dataset_options& options);

  /// Throws data_failure that names the nearest event if there is none.
  chosen_event choose(const wanted_event& wanted) const;
  /// Throws that an event of the file has no data of the channels, and names one that has.
  [[noreturn]] void refuse_without_data(const chosen_event& chosen) const;

 private:
  struct file_event {
    ravo_time_id id;
    int type;
  };

  [[noreturn]] void refuse_all() const;
  std::string wanted_names() const;
  std::vector<ravo_time_id> fast_events() const;
  chosen_event by_number(std::uint32_t number) const;
  chosen_event by_time(time_stamp time) const;
  chosen_event complete(const ravo_time_id& event) const;

  const raw_file& file_;
  const dataset& data_;
  const dataset_options& options_;
  std::vector<file_event> events_;  ///< event headers of the file, by time
  std::vector<ravo_time_id> ids_;   ///< events of the dataset
};

}  // namespace ravo::tool

#endif
