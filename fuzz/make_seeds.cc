// Writes the inputs that fuzzing starts from, one folder per target: simulated
// files, their blocks in the form that each target needs, and texts. usage:
// fuzz_make_seeds FOLDER
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>

#include "catalogue/documents.h"
#include "ravo_daq_writer.h"
#include "ravo_daq_writer_2010.h"
#include "ravo_data_types.h"
#include "ravo_store.h"
#include "simulated_files.h"
#include "temporary_folder.h"
#include "words.h"
#include "writing.h"

namespace ravo::fuzz {
namespace {

constexpr std::size_t zip_head = sizeof(ravo_zip_header);

class seed_folder {
 public:
  explicit seed_folder(std::filesystem::path path) : path_(std::move(path)) {}

  void add(const std::string& target, const std::string& bytes) {
    const std::filesystem::path folder = path_ / target;
    std::filesystem::create_directories(folder);
    std::ofstream file(folder / ("seed_" + std::to_string(count_[target]++)), std::ios::binary);
    file << bytes;
    file.close();
    if (!file) throw std::runtime_error("cannot write into " + folder.string());
  }

 private:
  std::filesystem::path path_;
  std::map<std::string, int> count_;
};

std::string half(std::size_t value) { return {static_cast<char>(value >> 8), static_cast<char>(value)}; }
std::string word(std::uint32_t value) { return half(value >> 16) + half(value & 0xffff); }
std::string ended(const std::string& text) { return text + '\0'; }

std::string content_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

char row_of(int dtype) {
  for (std::size_t row = 0; row < std::size(data_types); ++row)
    if (data_types[row].code == dtype) return static_cast<char>(row);
  return '\xff';
}

struct sizes {
  std::size_t server_block, subhead;
};
sizes sizes_of(ravo_file_generation generation) {
  if (generation == ravo_file_generation::current)
    return {sizeof(ravo_serv_block_head_2010), sizeof(ravo_serv_block_subhead_2010)};
  return {sizeof(ravo_serv_block_head), sizeof(ravo_serv_block_subhead)};
}

/// Each block of a file as the decoder finds it, and the compressed stream in it.
void add_stored_blocks(const std::string& file, ravo_file_generation generation, seed_folder& seeds) {
  const sizes size = sizes_of(generation);
  const std::size_t reference = word_at(file, file.size() - 4);
  const std::size_t pointers = word_at(file, reference + offsetof(ravo_file_reference_table, ecp_ref));
  const std::size_t end = pointers + word_at(file, pointers + 4);
  std::set<std::uint32_t> seen;  // a block of each type and way of storing is enough
  for (std::size_t at = pointers + 12; at + 16 <= end; at += 16) {
    const std::size_t event = word_at(file, at), server = word_at(file, at + 4),
                      subhead = word_at(file, at + 8);
    if (subhead == 0) continue;
    const std::size_t length = word_at(file, subhead + size.subhead - 4);
    const bool zipped = (word_at(file, subhead + size.subhead - 8) & 0x40000000u) != 0;
    const std::uint32_t flags = zipped ? word_at(file, subhead + size.subhead) : 0;
    const std::uint32_t dtype = word_at(file, subhead + size.subhead - 12);
    if (!seen.insert(dtype << 4 | flags).second) continue;
    const char is_current = generation == ravo_file_generation::current ? '\1' : '\0';
    for (const char subchannel : {'\xff', '\0', '\1'})
      seeds.add("decode", is_current + half(0) + half(0) + half(0) + half(size.subhead) + subchannel +
                              ended("CHANNEL") + half(sizeof(ravo_eventheader)) + half(size.server_block) +
                              '\0' + file.substr(event, sizeof(ravo_eventheader)) +
                              file.substr(server, size.server_block) + file.substr(subhead, length));
    if (zipped)
      seeds.add("unzip",
                (flags & RAVO_ZIP_ZLIB ? std::string(1, '\0') : std::string(1, '\1')) +
                    half(word_at(file, subhead + size.subhead + 4) - 1) +
                    file.substr(subhead + size.subhead + zip_head, length - size.subhead - zip_head));
  }
}

/// The data of each type that a channel delivers, in file order and in host order.
void add_payloads(simulator::settings what, seed_folder& seeds) {
  std::set<int> seen;
  what.files = 1;
  what.counts.cameras = what.counts.cameras_ext = 1;
  simulator::simulate(
      what,
      [&](const simulator::answer& put_in) {
        const int dtype = put_in.what->dtype();
        if (!seen.insert(dtype).second) return;
        std::string stored(put_in.payload.begin(), put_in.payload.end());
        if (ravo_store_data(stored.data(), stored.data(), dtype, static_cast<int>(stored.size())) != 0)
          throw std::runtime_error("a simulated block cannot be stored");
        if (stored.size() <= 4096) seeds.add("convert", row_of(dtype) + ended("CHANNEL") + stored);
        const simulator::delivered_block block = simulator::deliver(put_in);
        if (block.payload.size() > 4096) return;
        const char is_current = what.generation == ravo_file_generation::current ? '\1' : '\0';
        seeds.add("getdata", is_current + ended("NAME") + '\5' + static_cast<char>(put_in.event_type) +
                                 row_of(block.dtype) + '\0' + ended("NAME") + half(block.payload.size()) +
                                 std::string(block.payload.begin(), block.payload.end()));
      },
      {});
}

void add_generation(ravo_file_generation generation, seed_folder& seeds) {
  const test::temporary_folder folder;
  const simulator::settings small = small_settings(folder.path().string(), generation);
  for (const std::string& file : simulator::simulate(small, {}, {}).files) {
    const std::string content = content_of(file);
    add_stored_blocks(content, generation, seeds);
    const std::size_t reference = word_at(content, content.size() - 4);
    const std::size_t xml = word_at(content, reference + offsetof(ravo_file_reference_table, xcd_ref));
    seeds.add("descriptions", content.substr(xml + 8, word_at(content, xml + 4) - 8));
  }
  const test::temporary_folder payload_folder;
  simulator::settings payloads = small;
  payloads.folder = payload_folder.path().string();
  add_payloads(payloads, seeds);
}

/// Files with everything that a loader reads, as small as possible: a text, an environment channel, a
/// description.
template <class Writer>
void add_small_file(seed_folder& seeds) {
  const test::temporary_folder folder;
  Writer writer;
  chan_descr_2010 description{};
  std::strcpy(description.prop_name, "A/TEXT");
  const time_stamp time{1'740'816'000, 0};
  const char text[] = "beam on";
  const ravo_env_data_block_2010 reading{4, 0, time, 21.5f};
  bool fine = writer.open({.folder = folder.path().string()}) == RAVO_DAQ_WRITER_OK;
  const int first = writer.add_channel({.name = "A/TEXT",
                                        .dtype = RAVO_BLOCK_NAME_VALUE_STRING,
                                        .compression = ravo_compression::none,
                                        .description = &description});
  const int second = writer.add_channel({.name = "B/TEMP", .dtype = RAVO_ENV_BLOCK, .env_index = 4});
  for (const auto type : {RAVO_EV_NORMAL, RAVO_EV_ENV}) {
    const bool fast = type == RAVO_EV_NORMAL;
    fine =
        fine &&
        writer.begin_event({.event_number = 7, .event_type = type, .time = time}) == RAVO_DAQ_WRITER_OK &&
        writer.begin_server_block({.server = "S", .time = time}) == RAVO_DAQ_WRITER_OK &&
        (fast ? writer.add_data(first, text, sizeof text)
              : writer.add_data(second, &reading, sizeof reading)) == RAVO_DAQ_WRITER_OK &&
        writer.end_event() == RAVO_DAQ_WRITER_OK;
  }
  if (!fine || writer.close() != RAVO_DAQ_WRITER_OK) throw std::runtime_error(writer.get_last_error());
  seeds.add("loader", content_of(writer.get_files().front()));
}

void add_unzip_contents(seed_folder& seeds) {
  for (const char level : {'\0', '\1', '\6', '\x9'})
    seeds.add("unzip",
              '\2' + std::string(1, level) + std::string(300, 'a') + "and something that is not repeated");
}

void add_catalogue(seed_folder& seeds) {
  catalogue::run_entry run;
  run.experiment = "linac";
  run.stream = "main";
  run.run = 1207;
  run.start = {1'740'816'000, 0};
  run.end = {1'740'819'600, 250'000};
  run.files = {{"/data/linac_main_run1207_file1_20250301T080000Z.raw", 4096, 1'740'819'000'000'000'000, 30,
                run.start, run.end, true},
               {"more/linac_main_run1207_file2_20250301T085000Z.raw", 0, 0, 0, {}, {}, false}};
  seeds.add("catalogue", '\0' + catalogue::run_document(run));
  const catalogue::day_index day{
      "linac", "main", "2025-03-01", {{1207, run.start, run.end}, {1208, run.start, run.end}}};
  seeds.add("catalogue", '\1' + catalogue::day_document(day));
  seeds.add("catalogue", '\2' + catalogue::day_document({"linac", "main", "long", day.runs}));
}

void add_texts(seed_folder& seeds) {
  seeds.add(
      "file_names",
      "linac_main_run1207_file2_20250301T085000Z.raw\n/data/linac_main_run1207_file1_20250301T080000Z.raw\n"
      "linac_main_run9_file10_20250301T080000Z.raw\nlinac_main_20240229T235959Z.raw\nnotes.txt");
  const std::string moment = word(1'740'816'000);
  for (const char* text :
       {"2025-03-01", "2025-03-01T08:00:00.25Z", "2025-03-01 08:00 +01:00", "1740816000.5", "now", "-5min",
        "-1d2h3min4.5s", "+10s", "today", "yesterday 14:00", "08:15:30"})
    for (const char* zone : {"UTC", "+01:00", "Europe/Berlin"})
      seeds.add("time_grammar", moment + '\1' + moment + half(0) + ended(zone) + text);
}

void add_requests(seed_folder& seeds) {
  for (const char generation : {'\0', '\1'})
    for (int i = 0; i < 8; ++i) {
      const std::string wish{generation, static_cast<char>(1 << i % 7), static_cast<char>(i & 3),
                             static_cast<char>(i << 4 | (i & 1)), static_cast<char>(i > 3 ? i * 7 : 0)};
      seeds.add("reader", wish);
      // A word of a table in each of the files, and a file that is cut.
      for (int kind : {0, 4, 8, 12, 18, 21, 24})
        seeds.add("reader", wish + static_cast<char>(kind) + half(static_cast<std::size_t>(i) * 3) + '\1' +
                                word(0x7fffffff));
    }
}

// Runs, periods and both, with and without a catalogue, and a further file name.
void add_searches(seed_folder& seeds) {
  const std::string point = half(0) + '\6' + half(0);
  for (const char generation : {'\0', '\1'})
    for (const char catalogue : {'\0', '\4'})
      for (int debug = 0; debug < 3; ++debug) {
        const std::string rest = static_cast<char>(debug) + std::string(1, '\1') +
                                 ended("linac_main_run1_file4_20250301T080001Z.raw");
        const auto seed = [&](int kind, const std::string& fields) {
          seeds.add("requests",
                    std::string{generation, static_cast<char>(kind | catalogue)} + fields + rest);
        };
        seed(0, "");
        seed(16, "\1\2");
        seed(32 | 64, point + point);
        seed(16 | 32 | 64, "\1\1" + point + point);
        seed(8 | 32, ended("/nowhere") + point);
      }
}

void add_selections(seed_folder& seeds) {
  for (const char* text :
       {"linac/main run=1207-1210 chan=BPM*,CAM/1:0 from=2025-03-01T08:00:00.25Z to=1740816000 step=10",
        "file=/data/a.raw,\"/data/b c.raw\" chan=~LINAC/.* synch=time tolerance=50ms join=with:LINAC/BPM "
        "slow=hold max_age=2h",
        "file=/b.raw context=/a.raw exact=fast.0.CHARGE:LINAC/BPM,slow:S left_out=missing:/c.raw step=3 "
        "phase=2 "
        "gap=2025-03-01T08:00:00Z/2025-03-01T08:00:01Z,/1740816000,/",
        "manifest=/list,sha256:e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855",
        "catalog=/cat data=/a:/b event=5- join=all slow=nearest", "event=-7", ""})
    seeds.add("selection", text);
  for (const char generation : {'\0', '\1'})
    for (int i = 0; i < 18; ++i) {
      const std::string wish{generation, static_cast<char>(i), static_cast<char>(i % 5 * 0x15)};
      seeds.add("dataset", wish);
      for (int kind : {0, 7, 14, 18, 21})
        seeds.add("dataset", wish + static_cast<char>(kind) + half(static_cast<std::size_t>(i) * 5) + '\1' +
                                 word(0x7fffffff));
    }
}

void add_all(const std::string& folder) {
  seed_folder seeds(folder);
  add_generation(ravo_file_generation::current, seeds);
  add_generation(ravo_file_generation::older, seeds);
  add_small_file<ravo_daq_writer_2010>(seeds);
  add_small_file<ravo_daq_writer>(seeds);
  add_unzip_contents(seeds);
  add_catalogue(seeds);
  add_texts(seeds);
  add_requests(seeds);
  add_searches(seeds);
  add_selections(seeds);
}

}  // namespace
}  // namespace ravo::fuzz

int main(int count, char** arguments) {
  if (count != 2) {
    std::fprintf(stderr, "usage: fuzz_make_seeds FOLDER\n");
    return 2;
  }
  try {
    ravo::fuzz::add_all(arguments[1]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "fuzz_make_seeds: %s\n", failure.what());
    return 1;
  }
  return 0;
}
