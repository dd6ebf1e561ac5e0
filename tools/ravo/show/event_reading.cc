#include "show/event_reading.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

#include "common/failure.h"
#include "common/interrupt.h"
#include "common/units.h"
#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"
#include "ravo_evutl.h"
#include "show/event_contents.h"

namespace ravo::tool {
namespace {

enum class amount { one_event, all_events };

// The last data of some channels in a window of one file.
template <class Reader>
class window_reading {
 public:
  window_reading(const raw_file& file, const std::vector<std::size_t>& channels, output& out) : out_(out) {
    for (const std::size_t channel : channels) names_.push_back(file.channels()[channel].chan_name);
    // A bare name would be looked for along the data paths; what a person types means this folder.
    path_ = file.path().find('/') == std::string::npos ? "./" + file.path() : file.path();
  }

  // For each channel its entry, or null when nothing was read.
  std::vector<ravo_channel_entry_long*> read(const ravo_time_id& from, const ravo_time_id& to,
                                             amount wanted) {
    enter_request(from, to);
    std::vector<ravo_channel_entry_long*> entries;
    int status;
    do {
      check_for_interrupt();
      status = reader_.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT);
    } while (status == RAVO_DAQ_READER_OK && wanted == amount::all_events);
    if (status != RAVO_DAQ_READER_OK && status != RAVO_DAQ_READER_OUT_OF_WINDOW)
      fail("the event cannot be read", status);
    std::vector<ravo_channel_entry_long*> found(names_.size());
    if (status != RAVO_DAQ_READER_OK && wanted == amount::one_event) return found;
    for (std::size_t i = 0; i < names_.size() && i < reader_.results.size(); ++i)
      if (reader_.results[i]->updated || reader_.results[i]->slow) found[i] = &reader_.results[i]->res;
    return found;
  }

 private:
  void enter_request(const ravo_time_id& from, const ravo_time_id& to) {
    std::vector<daq_channel_entry> wanted(names_.size());
    std::vector<daq_channel_entry*> channels;
    for (std::size_t i = 0; i < names_.size(); ++i) {
      wanted[i].name = names_[i].data();
      channels.push_back(&wanted[i]);
    }
    std::vector<char*> files{path_.data()};
    check("the reader refuses the file", reader_.init(&files, &channels));
    check("the reader refuses the event", reader_.set_start_point(&from));
    check("the reader refuses the event", reader_.set_stop_point(&to));
    check("reading cannot start", reader_.start());
  }

  void check(const char* what, int status) {
    if (status != RAVO_DAQ_READER_OK) fail(what, status);
  }

  [[noreturn]] void fail(const char* what, int status) {
    const std::string words = out_.take_library_output();
    throw data_failure(
        several_lines{shown("{}: {}: {} (status {})", path_, what, reader_.error_i2a(status), status) +
                      (words.empty() ? "" : "\nthe library said:\n" + words)});
  }

  output& out_;
  std::vector<std::string> names_;
  std::string path_;
  Reader reader_;
};

// Of all spectra, its type alone does not say what start and increment count.
bool is_generic(const shown_channel& channel) {
  return (channel.dtype & 0xffff) == RAVO_BLOCK_GENERIC_SPECT;
}

void describe(raw_file& file, std::size_t index, shown_channel& channel) {
  channel.name = file.channels()[index].chan_name;
  if (const chan_descr_2010* description = file.description(channel.name.c_str())) {
    channel.units = description->units;
    channel.description = description->prop_desc;
    if (auto* spectrum = std::get_if<shown_spectrum>(&channel.data); spectrum && is_generic(channel))
      spectrum->axis = described_axis(*description);
  }
}

template <class Reader>
void read_into(shown_event& event, raw_file& file, const std::vector<std::size_t>& channels,
               const chosen_event& chosen, output& out) {
  const ravo_time_id from{chosen.id.event_number, chosen.id.time},
      to{chosen.id.event_number, chosen.last_time};
  const ravo_time_id begin{0, chosen.first_time};
  window_reading<Reader> fresh(file, chosen.fresh, out), held(file, chosen.held, out);
  std::vector<ravo_channel_entry_long*> entries, of_held;
  if (!chosen.fresh.empty()) entries = fresh.read(from, to, amount::one_event);
  if (!chosen.held.empty()) of_held = held.read(begin, {0, chosen.last_time}, amount::all_events);
  entries.insert(entries.end(), of_held.begin(), of_held.end());
  std::vector<std::size_t> indices = chosen.fresh;
  indices.insert(indices.end(), chosen.held.begin(), chosen.held.end());

  std::vector<ravo_channel_entry_long*> present;
  std::vector<std::size_t> present_indices;
  for (std::size_t i = 0; i < entries.size(); ++i)
    if (entries[i]) {
      present.push_back(entries[i]);
      present_indices.push_back(indices[i]);
    }
  auto contents = contents_of(present);
  // In the order of `channels`, fresh and held among one another.
  for (const std::size_t channel : channels) {
    if (std::find(indices.begin(), indices.end(), channel) == indices.end()) continue;
    const auto at =
        std::find(present_indices.begin(), present_indices.end(), channel) - present_indices.begin();
    const auto place = static_cast<std::size_t>(at);
    if (place == present.size() || !contents[place]) {
      event.unread.push_back(file.channels()[channel].chan_name);
      continue;
    }
    shown_channel& found = *contents[place];
    describe(file, channel, found);
    found.is_held = std::find(chosen.fresh.begin(), chosen.fresh.end(), channel) == chosen.fresh.end();
    event.channels.push_back(std::move(found));
  }
}

}  // namespace

shown_event read_event(raw_file& file, const std::vector<std::size_t>& channels, const chosen_event& chosen,
                       output& out) {
  // The rule that a young file may still be growing is for files that are found; this one was named.
  setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
  time_stamp named{};
  if (get_time_from_file_name(file.path().c_str(), &named) != 0)
    throw data_failure(
        file.path() +
        ": the name holds no time, and the reader takes no file without; give the file the name that "
        "its writer gave it");
  shown_event event{file.path(), file.generation(), chosen.id, chosen.types, {}, {}, {}};
  if (file.generation() == ravo_file_generation::current)
    read_into<ravo_daq_reader_2010>(event, file, channels, chosen, out);
  else
    read_into<ravo_daq_reader>(event, file, channels, chosen, out);
  if (!event.unread.empty()) event.library_words = out.take_library_output();
  return event;
}

}  // namespace ravo::tool
