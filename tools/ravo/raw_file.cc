#include "raw_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "failure.h"
#include "refusal.h"
#include "times.h"

namespace ravo::tool {
namespace {

// The loader's code when all tables are good but the descriptions' text is not.
constexpr int descriptions_refused = 7;

// The median, which a few gaps in the run do not move as they move the mean.
double median_spacing(const ravo_event_index_entry_2010& entry) {
  std::vector<double> spacings;
  const ravo_event_info_entry_2010* events = entry.event_info();
  for (int i = 1; i < entry.length; ++i)
    spacings.push_back(microseconds(events[i].time) - microseconds(events[i - 1].time));
  if (spacings.empty()) return 0;
  const auto middle = spacings.begin() + static_cast<std::ptrdiff_t>(spacings.size() / 2);
  std::nth_element(spacings.begin(), middle, spacings.end());
  return *middle;
}

// A word of the file: four bytes, the most significant one first.
std::uint32_t word(const unsigned char* bytes) {
  return static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
         static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
}

}  // namespace

const char* name_of(stored_as form) {
  switch (form) {
    case stored_as::nothing:
      return "-";
    case stored_as::plain:
      return "plain";
    case stored_as::zlib:
      return "zlib";
    case stored_as::lzo1x:
      return "lzo1x";
    case stored_as::unknown:
      break;
  }
  return "unknown";
}

std::optional<std::string> why_not_readable(const std::string& path) {
  if (path.empty()) return "the name is empty";
  struct stat about {};
  if (stat(path.c_str(), &about) != 0) return std::strerror(errno);
  if (S_ISDIR(about.st_mode)) return "is a folder, not a file";
  if (!S_ISREG(about.st_mode)) return "is not a regular file";
  if (access(path.c_str(), R_OK) != 0) return std::strerror(errno);
  if (about.st_size == 0) return "is empty";
  return std::nullopt;
}

raw_file::raw_file(const std::string& path) : path_(path) {
  if (const auto reason = why_not_readable(path_)) throw data_failure(path_ + ": " + *reason);
  int code = tables_.get_all_tables(path_.c_str(), 1, nullptr);
  if (code == descriptions_refused) {
    description_problem_ = explain_refusal(path_, code);
    code = tables_.get_all_tables(path_.c_str(), 0, nullptr);
  }
  if (code != 0) throw data_failure(path_ + ": " + explain_refusal(path_, code));
}

raw_file::~raw_file() { tables_.clean_up(); }

std::uint64_t raw_file::size() const { return static_cast<std::uint64_t>(tables_.get_file_len()); }

std::span<const ravo_chan_dictionary_entry_2010> raw_file::channels() const {
  const ravo_chan_dictionary_table_2010* table = tables_.get_cdt_table();
  const auto bytes = static_cast<std::size_t>(table->length) - sizeof *table;
  return {table->channel_entry(), bytes / sizeof(ravo_chan_dictionary_entry_2010)};
}

std::vector<event_summary> raw_file::events() const {
  std::vector<event_summary> all;
  const ravo_event_index_table_2010* table = tables_.get_eit_table();
  const ravo_event_index_entry_2010* entry = table->event_index_entry();
  for (int i = 0; i < table->nevent_types; ++i, entry = entry->next())
    if (entry->length > 0)
      all.push_back({entry->event_type,
                     entry->length,
                     {entry->event_number_first, entry->event_time_first},
                     {entry->event_number_last, entry->event_time_last},
                     median_spacing(*entry)});
  return all;
}

std::uint32_t raw_file::length_at(std::uint32_t offset) const {
  unsigned char head[8];
  if (offset == 0 || pread(tables_.get_file_descr(), head, sizeof head, offset) != sizeof head) return 0;
  return word(head + 4);
}

// Reads the beginning of the channel's first block; how many bytes there were.
std::size_t raw_file::read_first_block(std::size_t channel, std::span<unsigned char> head) const {
  if (channels()[channel].count < 1) return 0;
  const ravo_event_chan_pointers_table* table = tables_.get_ecp_table();
  const ravo_event_chan_ptr_entry& first = table->chptr()[channel * static_cast<std::size_t>(table->maxev)];
  const ssize_t got = pread(tables_.get_file_descr(), head.data(), head.size(), first.chhd);
  return got > 0 ? static_cast<std::size_t>(got) : 0;
}

stored_as raw_file::form_of(std::size_t channel) const {
  if (channels()[channel].count < 1) return stored_as::nothing;
  unsigned char block[sizeof(ravo_serv_block_subhead_2010) + sizeof(ravo_zip_header)];
  const std::size_t got = read_first_block(channel, block);
  if (got < sizeof(ravo_serv_block_subhead_2010)) return stored_as::unknown;
  if (!(word(block + offsetof(ravo_serv_block_subhead_2010, error)) & RAVO_CHAN_ZIP_FLAG))
    return stored_as::plain;
  if (got < sizeof block) return stored_as::unknown;
  const std::uint32_t flags = word(block + sizeof(ravo_serv_block_subhead_2010));
  if (flags & RAVO_ZIP_ZLIB) return stored_as::zlib;
  if (flags & RAVO_ZIP_LZO1X) return stored_as::lzo1x;
  return stored_as::unknown;
}

std::optional<RAVO_SUBBLOCK_TYPE> raw_file::dtype_of(std::size_t channel) const {
  unsigned char head[sizeof(ravo_serv_block_subhead_2010)];
  if (read_first_block(channel, head) < sizeof head) return std::nullopt;
  return static_cast<RAVO_SUBBLOCK_TYPE>(word(head + offsetof(ravo_serv_block_subhead_2010, dtype)) &
                                         0xffff);
}

const chan_descr_2010* raw_file::description(const char* name) {
  for (const chan_descr_2010* one : *tables_.get_descr_list())
    if (one && std::strcmp(one->prop_name, name) == 0) return one;
  return nullptr;
}

}  // namespace ravo::tool
