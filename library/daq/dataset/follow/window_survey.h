// One hand-over of a reading that follows: files opened as a dataset through a window, surveyed, and then
// read event by event.
#ifndef RAVO_DATASET_WINDOW_SURVEY_H
#define RAVO_DATASET_WINDOW_SURVEY_H

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "dataset_state.h"
#include "follow/followed_file.h"
#include "read/event_reader.h"

namespace ravo::detail {

/// What the tables say of a window: nothing of it is decoded for that.
struct window_survey {
  std::size_t selected = 0;            ///< events, whatever the step
  std::vector<std::uint32_t> numbers;  ///< of events that were handed over before: sorted, each once

  bool has_number(std::uint32_t number) const;
};

/// Surveys an opened window until `until`. `files`, those that are read for their events, are changed as if
/// the window had been handed over.
window_survey survey(dataset_state& state, std::int64_t until, const std::vector<followed_file*>& files);

}  // namespace ravo::detail

#endif
