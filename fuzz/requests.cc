// Requests of runs and of periods over a folder of raw files, some of them damaged, and a run catalogue:
// the input is the request, names of further files in the folder, and edits of the files.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "damaged_set.h"
#include "expect.h"
#include "input.h"
#include "quiet.h"
#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"
#include "ravo_run_catalogue_builder.h"
#include "temporary_folder.h"

namespace ravo::fuzz {
namespace {

constexpr int most_events = 60;
constexpr std::size_t most_names = 5, longest_name = 120, most_edits = 3;
constexpr std::uint32_t first_second = 1'740'816'000;  // of the simulated files

/// Empty files next to the raw files, removed at the end.
class further_files {
 public:
  explicit further_files(std::string folder) : folder_(std::move(folder)) {}
  ~further_files() {
    for (const std::string& path : made_) std::filesystem::remove(path);
  }
  further_files(const further_files&) = delete;
  further_files& operator=(const further_files&) = delete;

  void add(std::string name) {
    std::replace(name.begin(), name.end(), '/', '_');
    name.resize(std::min(name.size(), longest_name));
    if (name.empty() || name == "." || name == "..") return;
    const std::string path = folder_ + "/" + name;
    if (std::filesystem::exists(path)) return;
    std::ofstream(path, std::ios::binary) << "RAVO raw";
    made_.push_back(path);
  }

 private:
  std::string folder_;
  std::vector<std::string> made_;
};

template <std::size_t size>
void put(char (&field)[size], const std::string& text) {
  std::memcpy(field, text.data(), std::min(text.size(), size));
}

ravo_daq_request make_request(input& from, const std::string& folder, const std::string& catalogue) {
  ravo_daq_request request{};
  const std::uint8_t kind = from.byte();
  put(request.exp_name, (kind & 1) != 0 ? from.text() : "linac");
  put(request.stream_name, (kind & 2) != 0 ? from.text() : "main");
  if ((kind & 4) != 0) put(request.cdir, catalogue);
  put(request.ddir, (kind & 8) != 0 ? from.text() + ":" + folder : folder);
  if ((kind & 16) != 0) {
    request.run_first = from.byte() % 4;
    request.run_last = from.byte() % 4;
  }
  if ((kind & 32) != 0)
    request.start_time = {from.half(), {first_second - 4 + from.byte() % 16, from.half()}};
  if ((kind & 64) != 0)
    request.stop_time = {from.half(), {first_second - 4 + from.byte() % 16, from.half()}};
  request.period = {1, {0, 100'000}};
  request.time_diff = {0, 50'000};
  request.synch_mode = kind >> 7;
  return request;
}

template <class Reader>
void use(const ravo_daq_request& request, damaged_set& set, int debug) {
  std::string name = set.channels().front() + ";first";
  daq_channel_entry channel{name.data(), {}};
  const std::vector<daq_channel_entry*> wanted{&channel};
  Reader reader;
  reader.set_debug(debug);
  std::vector<file_decision> decisions;
  reader.decisions = &decisions;
  const bool found = reader.init(&request, &wanted) == 0;
  expect(!found || reader.get_number_of_files() > 0, "a request that is fulfilled has files");
  reader.print_files();
  reader.print_channels();
  static_cast<void>(reader.get_time_period_us());
  static_cast<void>(reader.get_nickname(set.channels().front().c_str()));
  static_cast<void>(reader.get_channel_params(set.channels().front().c_str()));
  if (found && reader.start() == 0) {
    std::vector<ravo_channel_entry_long*> entries;
    int events = 0;
    while (events <= most_events && reader.get_data(nullptr, &entries, 1) == 0) ++events;
    expect(events <= most_events, "a reader comes to an end");
  }
  static_cast<void>(reader.rem_channel(set.channels().front().c_str()));
  reader.clean_up();
}

/// A catalogue of the whole files.
class full_catalogue {
 public:
  explicit full_catalogue(const damaged_set& set) {
    const std::string folder = std::filesystem::path(set.files().front()).parent_path().string();
    catalogue::build_settings settings;
    settings.raw_folder = folder;
    settings.catalogue_directory = path();
    settings.closed_after = -1;
    settings.threads = 1;
    catalogue::build(settings, {});
  }
  std::string path() const { return folder_.path().string(); }

 private:
  test::temporary_folder folder_;
};

template <class Reader>
void run(damaged_set& set, const full_catalogue& catalogue, input& from) {
  const std::string folder = std::filesystem::path(set.files().front()).parent_path().string();
  const ravo_daq_request request = make_request(from, folder, catalogue.path());
  const int debug = from.byte() % 3;
  further_files more(folder);
  for (std::size_t names = from.byte() % (most_names + 1); names > 0; --names) more.add(from.text());
  set.restore();
  for (std::size_t i = 0; i < most_edits && !from.empty(); ++i) set.damage(from);
  set.write();
  use<Reader>(request, set, debug);
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
  static const full_catalogue of_current(current), of_older(older);
  input from(data, size);
  if (from.flag())
    run<ravo_daq_reader_2010>(current, of_current, from);
  else
    run<ravo_daq_reader>(older, of_older, from);
  return 0;
}
