// A whole reader over a small set of simulated files that the input damages: the input is a request and a
// list of edits, each a place in a file and what happens there. Every event that is delivered is inspected.
#include <cstdlib>
#include <string>
#include <vector>

#include "cursor_questions.h"
#include "damaged_set.h"
#include "expect.h"
#include "input.h"
#include "quiet.h"
#include "ravo_daq_data.h"
#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"

namespace ravo::fuzz {
namespace {

constexpr int most_events = 60;  // the set has fewer: more means that a reader does not end
constexpr std::size_t most_edits = 12;

struct wish {
  std::uint8_t channels;    // which of the channels
  std::uint8_t subchannel;  // 0: whole channels
  std::uint8_t mode;        // alignment, direction, debug level
  std::uint8_t window;      // start and stop
};

std::vector<std::string> choose_channels(const std::vector<std::string>& names, const wish& what) {
  std::vector<std::string> chosen;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if ((what.channels >> (i % 7) & 1) == 0 && what.channels != 0) continue;
    chosen.push_back(names[i]);
    if (what.subchannel != 0) chosen.back() += ":" + std::to_string(what.subchannel % 5 - 1) + ";nick";
  }
  return chosen;
}

template <class Reader>
void look_at_file(Reader& reader, const std::string& file, const std::string& channel) {
  int count = 0;
  static_cast<void>(reader.get_number_of_channels(file.c_str(), &count, 1));
  for (int i = -1; i <= count; ++i)
    static_cast<void>(reader.get_channel_name(i, nullptr, nullptr, nullptr));
  reader.print_all_channels(file.c_str());
  std::vector<chan_descr_2010*> descriptions;
  static_cast<void>(reader.fill_chan_descr(file.c_str(), &descriptions));
  static_cast<void>(reader.print_event_index_table(file.c_str(), -1));
  if constexpr (requires { reader.print_channel_channel(file.c_str(), channel.c_str()); }) {
    reader.print_channel_event_headers(file.c_str(), channel.c_str());
    reader.print_channel_server_block_headers(file.c_str(), channel.c_str());
    reader.print_channel_channel_headers(file.c_str(), channel.c_str());
    reader.print_channel_channel(file.c_str(), channel.c_str());
  }
}

template <class Reader>
int read_all(Reader& reader, const wish& what) {
  const int direction = (what.mode >> 2 & 3) == 3 ? -1 : 1;
  std::vector<ravo_channel_entry_long*> entries;
  reader.print_files();
  reader.print_channels();
  static_cast<void>(reader.get_time_period_us());
  int events = 0;
  for (; events <= most_events; ++events) {
    if (reader.get_data(nullptr, &entries, direction) != 0) break;
    ravo_daq_getdata cursor;
    const int channels = cursor.SetRes(&entries);
    for (int i = 0; i < channels; ++i)
      if (cursor.SetChan(i) >= 0) ask_everything(cursor);
  }
  return events;
}

template <class Reader>
void use(damaged_set& set, const wish& what) {
  std::vector<std::string> files = set.files();
  std::vector<char*> paths;
  for (std::string& file : files) paths.push_back(file.data());
  std::vector<std::string> names = choose_channels(set.channels(), what);
  std::vector<daq_channel_entry> channels;
  for (std::string& name : names) channels.push_back({name.data(), {}});
  std::vector<daq_channel_entry*> wanted;
  for (daq_channel_entry& channel : channels) wanted.push_back(&channel);

  Reader reader;
  reader.set_debug((what.mode & 0x30) == 0x30 ? -1 : what.mode >> 4 & 3);
  if ((what.mode & 0x40) != 0) look_at_file(reader, files.front(), names.empty() ? "" : names.front());
  static_cast<void>(reader.init(&paths, &wanted));
  static_cast<void>(reader.set_synch_mode(what.mode & 1));
  if (what.window != 0) {
    const ravo_time_id start{what.window & 1 ? 1'000'000u + (what.window >> 4) : 0u, {1'740'816'000, 0}};
    const ravo_time_id stop{what.window & 2 ? 1'000'010u : 0u,
                            {1'740'816'001 + (what.window >> 2 & 3u), 0}};
    static_cast<void>(reader.set_start_point(&start));
    static_cast<void>(reader.set_stop_point(&stop));
  }
  if (reader.start() == 0) expect(read_all(reader, what) <= most_events, "a reader comes to an end");
  reader.clean_up();
}

}  // namespace
}  // namespace ravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ravo::fuzz;
  be_quiet();
  // The files are new, and a reader would leave new files alone.
  static const int close_time_ignored = setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
  expect(close_time_ignored == 0, "the environment can be set");
  static damaged_set current(ravo_file_generation::current), older(ravo_file_generation::older);

  input from(data, size);
  const bool is_current = from.flag();
  const wish what{from.byte(), from.byte(), from.byte(), from.byte()};
  damaged_set& set = is_current ? current : older;
  set.restore();
  for (std::size_t i = 0; i < most_edits && !from.empty(); ++i) set.damage(from);
  set.write();
  if (is_current)
    use<ravo_daq_reader_2010>(set, what);
  else
    use<ravo_daq_reader>(set, what);
  return 0;
}
