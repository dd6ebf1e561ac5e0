#include "show/event_reading.h"

#include <fmt/format.h>

#include <algorithm>

#include "common/dataset_session.h"
#include "common/failure.h"
#include "common/interrupt.h"
#include "common/sizes.h"
#include "common/units.h"
#include "ravo_dataset/dataset.h"
#include "ravo_evutl.h"
#include "show/event_contents.h"

namespace ravo::tool {
namespace {

// Slow channels have their last value at each event. Events
// without a number that are close to another one stay separate.
selection selection_of(const raw_file& file, const std::vector<std::size_t>& channels) {
  selection wanted;
  wanted.files = {file.path()};
  wanted.slow = slow_policy::hold;
  wanted.tolerance = {0, 0};
  if (channels.size() < file.channels().size())
    for (const std::size_t channel : channels)
      wanted.channels.emplace_back(file.channels()[channel].chan_name);
  return wanted;
}

void describe(raw_file& file, std::size_t index, shown_channel& channel) {
  channel.name = file.channels()[index].chan_name;
  const chan_descr_2010* description = file.description(channel.name.c_str());
  if (!description) return;
  channel.units = description->units;
  channel.description = description->prop_desc;
  auto* spectrum = std::get_if<shown_spectrum>(&channel.data);
  if (spectrum && channel.dtype == RAVO_BLOCK_GENERIC_SPECT) spectrum->axis = described_axis(*description);
}

class event_reading {
 public:
  event_reading(raw_file& file, const event_request& asked, const dataset_options& options)
      : file_(file),
        asked_(asked),
        stop_(options.stop),
        data_(dataset::open(selection_of(file, asked.channels), options)),
        chooser_(file, data_, options) {}

  shown_event read() {
    const chosen_event chosen = chooser_.choose(asked_.event);
    shown_event shown{file_.path(), file_.generation(), chosen.id, chosen.types, {}, {}, {}};
    if (chosen.position) shown.source = event_at(*chosen.position);
    if (shown.source)
      for (const std::size_t channel : asked_.channels) take(channel, chosen, shown);
    if (shown.channels.empty() && shown.unread.empty()) chooser_.refuse_without_data(chosen);
    return shown;
  }

 private:
  event event_at(std::size_t position) {
    event_options options;
    options.first = position;
    options.count = 1;
    options.stop = stop_;
    event_range range = data_.events(options);
    const std::optional<event> found = range.next();
    ledger_ = range.ledger();
    if (found) return *found;
    throw data_failure(ledger_.problems.empty() ? file_.path() + ": it cannot be read any more"
                                                : ledger_.problems.front().text);
  }

  // If the shown event is not in the dataset, the one before it was read: only slow channels show it.
  void take(std::size_t index, const chosen_event& chosen, shown_event& shown) {
    const std::string name = file_.channels()[index].chan_name;
    const auto position = data_.find_channel(name);
    if (!position || (!chosen.is_in_dataset && !data_.channels()[*position].is_slow)) return;
    const value its = (*shown.source)[*position];
    if (its.status() == value_status::not_recorded) return;
    if (!its.has_value()) {
      shown.unread.push_back({name, reason_of(its, name)});
      return;
    }
    take_memory(its);
    shown_channel& channel = shown.channels.emplace_back(contents_of(its));
    channel.is_held = channel.is_held || !chosen.is_in_dataset;
    describe(file_, index, channel);
  }

  std::string reason_of(const value& its, const std::string& name) const {
    std::string reason = value_status_text(its.status());
    for (const missing_value& missing : ledger_.values)
      if (missing.channel == name && missing.offset != 0) reason += fmt::format(", at {}", missing.offset);
    for (const reading_problem& problem : ledger_.problems)
      if (its.status() == value_status::file_missing) reason += ": " + problem.text;
    return reason;
  }

  // In addition to the block its values are stored as floats, and for JSON each one is an object and a
  // text.
  void take_memory(const value& its) {
    constexpr std::size_t of_drawn_value = 4, of_listed_value = 32;
    const std::size_t bytes_per_value = its.kind() == value_kind::image ? its.image().bytes_per_pixel : 4;
    const std::size_t values = its.bytes().size() / bytes_per_value;
    taken_ += values * (asked_.values == shown_values::listed ? of_listed_value : of_drawn_value);
    if (data_.peak_memory() + taken_ > asked_.memory_limit)
      throw data_failure(
          fmt::format("{}: showing the event takes more than {} of memory; ask for fewer channels, or give "
                      "more with --memory",
                      file_.path(), format_size(asked_.memory_limit)));
  }

  raw_file& file_;
  const event_request& asked_;
  const std::stop_token stop_;
  dataset data_;
  event_chooser chooser_;
  read_ledger ledger_;
  std::size_t taken_ = 0;
};

}  // namespace

shown_event read_event(raw_file& file, const event_request& asked) {
  time_stamp named{};
  if (get_time_from_file_name(file.path().c_str(), &named) != 0)
    throw data_failure(
        file.path() +
        ": the name holds no time, and the reader takes no file without; give the file the name that "
        "its writer gave it");
  const stop_on_interrupt stop;
  dataset_options options;
  options.memory_limit = asked.memory_limit;
  options.stop = stop.token();
  try {
    return event_reading(file, asked, options).read();
  } catch (const read_cancelled&) {
    throw interrupted{};
  } catch (const memory_exceeded& error) {
    throw data_failure(file.path() + ": " + in_our_words(error));
  } catch (const dataset_error& error) {
    throw data_failure(in_our_words(error));
  }
}

}  // namespace ravo::tool
