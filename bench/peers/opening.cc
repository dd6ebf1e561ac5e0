// How long it takes until there is something to read, and how much of the files that touches, compared with
// a loop that reads only the indispensable tables, and checks nothing in them.
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <thread>

#include "bench_files.h"
#include "figures.h"
#include "large_files.h"
#include "parts.h"
#include "process.h"
#include "ravo_dataset.h"
#include "ravo_evutl.h"
#include "raw_output.h"

namespace ravo::bench {
namespace {

struct part_of_file {
  std::uint64_t offset = 0;
  std::size_t bytes = 0;
};
struct parts_of_file {
  std::string path;
  std::vector<part_of_file> parts;
};

/// What has to be read to know which channels and events a file has.
parts_of_file index_of(const loaded_file& file) {
  const auto* tables = file.tables.get_ref_tbl();
  const auto length = std::filesystem::file_size(file.path);
  std::size_t event_index = sizeof(ravo_event_index_table_2010);
  const auto* of_type = file.tables.get_eit_table()->event_index_entry();
  for (int i = 0; i < file.tables.get_eit_table()->nevent_types; ++i, of_type = of_type->next())
    event_index += static_cast<std::size_t>(reinterpret_cast<const char*>(of_type->next()) -
                                            reinterpret_cast<const char*>(of_type));
  return {file.path,
          {{length - sizeof *tables, sizeof *tables},
           {tables->eit_pos_ref, event_index},
           {tables->cdt_ref, static_cast<std::size_t>(file.tables.get_cdt_table()->length)}}};
}

/// What aligning channels reads in addition: their rows of the pointer table, and the event headers.
parts_of_file alignment_of(const loaded_file& file, const std::vector<std::string>& channels) {
  parts_of_file found{file.path, {}};
  const auto* tables = file.tables.get_ref_tbl();
  const auto* pointers = file.tables.get_ecp_table();
  const auto row = static_cast<std::size_t>(pointers->maxev) * sizeof(ravo_event_chan_ptr_entry);
  for (const std::string& channel : channels) {
    ravo_chan_dictionary_entry_2010* entry = nullptr;
    const int index = ravo_find_channel_by_name_2010(file.tables.get_cdt_table(), channel.c_str(), &entry);
    if (index < 0) throw std::runtime_error(channel + " is not in " + file.path);
    found.parts.push_back(
        {tables->ecp_ref + sizeof *pointers + static_cast<std::size_t>(index) * row, row});
  }
  // The basket is mapped as it lies in the file.
  const auto length = __builtin_bswap32(static_cast<std::uint32_t>(file.tables.get_evh_basket()->length));
  found.parts.push_back({tables->evhdb_ref, length});
  return found;
}

void read_parts(const parts_of_file& of) {
  const int fd = open(of.path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw std::runtime_error("cannot open " + of.path);
  std::vector<char> bytes;
  for (const part_of_file& part : of.parts) {
    bytes.resize(std::max(bytes.size(), part.bytes));
    if (pread(fd, bytes.data(), part.bytes, static_cast<off_t>(part.offset)) < 0)
      throw std::runtime_error("cannot read " + of.path);
  }
  close(fd);
}

void read_all_parts(const std::vector<parts_of_file>& files) {
  std::atomic<std::size_t> next{0};
  const auto work = [&] {
    for (std::size_t i; (i = next++) < files.size();) read_parts(files[i]);
  };
  std::vector<std::jthread> others;
  for (int i = 1; i < machine_threads(); ++i) others.emplace_back(work);
  work();
}

/// One line: the time of the work, and that of the bare reading next to it.
class opening_line {
 public:
  explicit opening_line(std::string what) : what_(std::move(what)) {}

  void add(const std::function<void()>& prepare, const std::function<void()>& work,
           const std::vector<parts_of_file>& unavoidable) {
    prepare();
    const double bare_begin = now();
    read_all_parts(unavoidable);
    const double bare = now() - bare_begin;
    prepare();
    const bytes_read before = read_so_far();
    const double begin = now();
    work();
    const double time = now() - begin;
    bytes_ = read_so_far() - before;
    milliseconds_.add(time * 1e3);
    of_bare_.add(bare / time);
    unavoidable_ = 0;
    for (const parts_of_file& file : unavoidable)
      for (const part_of_file& one : file.parts) unavoidable_ += one.bytes;
  }
  double median() const { return milliseconds_.median(); }
  void print() const {
    const auto kib = [](std::uint64_t bytes) { return in_short(static_cast<double>(bytes) / 1024); };
    print_row({what_, milliseconds_.text(), of_bare_.text(), kib(unavoidable_), kib(bytes_.by_calls),
               kib(bytes_.from_storage)});
  }

 private:
  std::string what_;
  figures milliseconds_, of_bare_;
  bytes_read bytes_;
  std::uint64_t unavoidable_ = 0;
};

void print_opening_head(const std::string& what) {
  print_head({what, "Milliseconds", "Of reading the tables alone", "KiB of these", "KiB read",
              "KiB from storage"});
}

dataset open_files(std::vector<std::string> files, std::vector<std::string> channels) {
  selection wanted;
  wanted.files = std::move(files);
  wanted.channels = std::move(channels);
  return dataset::open(wanted);
}

std::vector<std::string> write_many(const shape& what, int events_in_file) {
  raw_output output(folder() + "/many", what, ravo_compression::none,
                    static_cast<std::uint32_t>(events_in_file));
  for (int event = 0; event < what.events; ++event) {
    output.begin_event(event);
    for (int channel = 0; channel < what.channels; ++channel)
      output.add(channel, make_block(what, channel, event));
    output.end_event();
  }
  return output.close();
}

}  // namespace

void compare_opening(extent how_much) {
  const bool is_full = how_much == extent::full;
  constexpr int events_in_file = 20;
  const shape what = waveforms(64, 50, events_in_file * (is_full ? 1000 : 100));
  const std::vector<std::string> all = write_many(what, events_in_file);
  const std::vector<std::string> tenth(all.begin(),
                                       all.begin() + static_cast<std::ptrdiff_t>(all.size() / 10));
  std::vector<std::string> names;
  for (int i = 0; i < what.channels; ++i) names.push_back(what.channel_name(i));
  const auto lines = [&](const std::vector<std::string>& files) {
    std::vector<parts_of_file> index, alignment;
    for (const std::string& path : files) {
      const loaded_file file(path);
      index.push_back(index_of(file));
      alignment.push_back(alignment_of(file, names));
    }
    const std::string count = std::to_string(files.size()) + " files of 50 channels";
    opening_line open(count + ": open, cold"), open_warm(count + ": open, warm");
    opening_line align(count + ": align all events, cold"), align_warm(count + ": align all events, warm");
    const auto drop = [&] {
      for (const std::string& path : files) drop_from_cache(path);
    };
    const auto align_all = [&](const dataset& data) {
      if (data.size() != files.size() * events_in_file) throw std::runtime_error("events are missing");
    };
    for (int i = 0; i < (is_full ? 7 : 3); ++i) {
      const dataset cold = open_files(files, {});
      align.add(
          drop, [&] { align_all(cold); }, alignment);
      const dataset warm = open_files(files, {});
      align_warm.add([] {}, [&] { align_all(warm); }, alignment);
      open.add(
          drop, [&] { open_files(files, {}); }, index);
      open_warm.add([] {}, [&] { open_files(files, {}); }, index);
    }
    for (const opening_line* one : {&open, &open_warm, &align, &align_warm}) one->print();
  };
  print_opening_head("Many files of a run");
  lines(tenth);
  lines(all);
}

void compare_opening_large(const std::string& from) {
  const std::string path = large_files(from).at(0);
  std::vector<std::string> names;
  const shape what = waveforms(2048, large_file_channels, 0);
  for (int i = 0; i < 12; ++i) names.push_back(what.channel_name(i * large_file_channels / 12));
  std::vector<parts_of_file> unavoidable;
  {
    const loaded_file file(path);
    unavoidable.push_back(index_of(file));
    std::vector<part_of_file>& parts = unavoidable[0].parts;
    const parts_of_file alignment = alignment_of(file, names);
    parts.insert(parts.end(), alignment.parts.begin(), alignment.parts.end());
    for (const std::string& name : names)
      parts.push_back({file.places(name)[0].chhd,
                       sizeof(ravo_serv_block_subhead_2010) + what.head_bytes() + what.value_bytes()});
  }
  const auto work = [&] {
    const dataset data = open_files({path}, names);
    event_options one_event;
    one_event.count = 1;
    event_range events = data.events(one_event);
    const auto first = events.next();
    if (!first || (*first)[11].spectrum().values.empty()) throw std::runtime_error("no first event");
  };
  opening_line cold("open and first event of 12 channels, cold"), warm("the same, warm");
  for (int i = 0; i < 15; ++i) {
    cold.add([&] { drop_from_cache(path); }, work, unavoidable);
    warm.add([] {}, work, unavoidable);
  }
  const auto size = static_cast<double>(std::filesystem::file_size(path)) * 1e-9;
  print_opening_head("A file of " + in_short(size) + " GB with 2,000 channels");
  cold.print();
  warm.print();
}

}  // namespace ravo::bench
