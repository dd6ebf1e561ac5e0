#include "raw_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "failure.h"
#include "ravo_daq_unzip.h"
#include "ravo_data_types.h"
#include "ravo_evutl.h"
#include "ravo_payload.h"
#include "read_exactly.h"
#include "refusal.h"
#include "times.h"
#include "uninterrupted.h"

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

// The data of a compressed block, from its zip header on; empty when they cannot be inflated.
std::vector<unsigned char> inflate(std::vector<unsigned char>& stored) {
  // Neither method makes more of a byte: a larger length is a damaged one.
  constexpr std::uint64_t most_from_one_byte = 1100;
  if (stored.size() <= sizeof(ravo_zip_header)) return {};
  const std::uint32_t flags = word(stored.data());
  const std::uint32_t length = word(stored.data() + offsetof(ravo_zip_header, orig_length));
  const std::size_t compressed = stored.size() - sizeof(ravo_zip_header);
  if (length > compressed * most_from_one_byte || length > std::numeric_limits<int>::max()) return {};
  std::vector<unsigned char> data(length);
  int produced = static_cast<int>(length);
  unsigned char* from = stored.data() + sizeof(ravo_zip_header);
  const int failed = flags & RAVO_ZIP_ZLIB
                         ? make_zlib(from, static_cast<int>(compressed), data.data(), &produced)
                     : flags & RAVO_ZIP_LZO1X
                         ? make_lzo(from, static_cast<int>(compressed), data.data(), &produced, nullptr)
                         : 1;
  if (failed) return {};
  data.resize(static_cast<std::size_t>(produced));
  return data;
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

void tell_description_problem(const raw_file& file) {
  if (!file.description_problem().empty())
    fmt::print(stderr, "ravo: {}: {}; the rest is shown without them\n", file.path(),
               file.description_problem());
}

std::optional<std::string> why_not_readable(const std::string& path) {
  if (path.empty()) return "the name is empty";
  struct stat about {};
  if (uninterrupted::stat(path.c_str(), &about) != 0) return std::strerror(errno);
  if (S_ISDIR(about.st_mode)) return "is a folder, not a file";
  if (!S_ISREG(about.st_mode)) return "is not a regular file";
  if (uninterrupted::access(path.c_str(), R_OK) != 0) return std::strerror(errno);
  if (about.st_size == 0) return "is empty";
  return std::nullopt;
}

const char* name_of(ravo_file_generation generation) {
  return generation == ravo_file_generation::older ? "older" : "current";
}

raw_file::raw_file(const std::string& path) : path_(path) {
  if (const auto reason = why_not_readable(path_)) throw data_failure(path_ + ": " + *reason);
  // A file that is of neither generation is refused by the current one's loader, in its words.
  auto generation = ravo_file_generation::current;
  ravo_get_file_generation(path_.c_str(), &generation);
  if (generation == ravo_file_generation::older) tables_.emplace<ravo_file_get_tables>(0);
  load();
  std::visit([this](auto& tables) { take(tables); }, tables_);
}

void raw_file::load() {
  const auto load_tables = [this](int descr_mode) {
    return std::visit(
        [&](auto& tables) { return tables.get_all_tables(path_.c_str(), descr_mode, nullptr); }, tables_);
  };
  int code = load_tables(1);
  if (code == descriptions_refused) {
    description_problem_ = explain_refusal(path_, code);
    code = load_tables(0);
  }
  if (code != 0) throw data_failure(path_ + ": " + explain_refusal(path_, code));
}

template <class Tables>
void raw_file::take(Tables& tables) {
  descriptor_ = tables.get_file_descr();
  size_ = static_cast<std::uint64_t>(tables.get_file_len());
  reference_ = tables.get_ref_tbl();
  index_ = tables.get_eit_table();
  pointers_ = tables.get_ecp_table();
  descriptions_ = tables.get_descr_list();
  const auto* environment = tables.get_eidt_table();
  environment_ = {environment->dictionary_entry(),
                  (static_cast<std::size_t>(environment->length) - sizeof *environment) /
                      sizeof *environment->dictionary_entry()};
  const auto* dictionary = tables.get_cdt_table();
  const auto* entry = dictionary->channel_entry();
  const auto bytes = static_cast<std::size_t>(dictionary->length) - sizeof *dictionary;
  for (std::size_t i = 0; i < bytes / sizeof *entry; ++i, ++entry)
    channels_.push_back({entry->chan_name, entry->key, entry->ev_mask, entry->dtype_mask, entry->count});
}

std::vector<event_summary> raw_file::events() const {
  std::vector<event_summary> all;
  const ravo_event_index_table_2010* table = index_;
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
  if (offset == 0 || !read_exactly(descriptor_, offset, head, sizeof head)) return 0;
  return word(head + 4);
}

// The last three words of the subheader, behind the name, and the zip header if one follows.
std::optional<raw_file::first_block> raw_file::read_first_block(std::size_t channel) const {
  if (channels_[channel].count < 1) return std::nullopt;
  const bool is_older = generation() == ravo_file_generation::older;
  const auto head_size = static_cast<std::uint32_t>(is_older ? sizeof(ravo_serv_block_subhead)
                                                             : sizeof(ravo_serv_block_subhead_2010));
  std::vector<unsigned char> head(head_size);
  const std::uint32_t at = places_of(channel).front().chhd;
  if (!read_at(at, head)) return std::nullopt;
  const unsigned char* words = head.data() + head_size - 12;
  first_block block{static_cast<std::int32_t>(word(words)), static_cast<std::int32_t>(word(words + 4)),
                    word(words + 8), 0, head_size};
  unsigned char flags[4];
  if ((block.error & RAVO_CHAN_ZIP_FLAG) != 0 && read_at(at + head_size, flags))
    block.zip_flags = word(flags);
  return block;
}

stored_as raw_file::form_of(std::size_t channel) const {
  if (channels_[channel].count < 1) return stored_as::nothing;
  const auto block = read_first_block(channel);
  if (!block) return stored_as::unknown;
  if (!(block->error & RAVO_CHAN_ZIP_FLAG)) return stored_as::plain;
  if (block->zip_flags & RAVO_ZIP_ZLIB) return stored_as::zlib;
  if (block->zip_flags & RAVO_ZIP_LZO1X) return stored_as::lzo1x;
  return stored_as::unknown;
}

std::optional<RAVO_SUBBLOCK_TYPE> raw_file::dtype_of(std::size_t channel) const {
  const auto block = read_first_block(channel);
  if (!block) return std::nullopt;
  return static_cast<RAVO_SUBBLOCK_TYPE>(block->dtype & 0xffff);
}

std::span<const ravo_event_chan_ptr_entry> raw_file::places_of(std::size_t channel) const {
  const int count = std::clamp(channels_[channel].count, 0, pointers_->maxev);
  return {pointers_->chptr() + channel * static_cast<std::size_t>(pointers_->maxev),
          static_cast<std::size_t>(count)};
}

bool raw_file::read_at(std::uint32_t offset, std::span<unsigned char> bytes) const {
  return read_exactly(descriptor_, offset, bytes.data(), bytes.size());
}

int raw_file::members_of(std::size_t channel) const {
  const auto dtype = dtype_of(channel);
  const data_type* type = dtype ? find_data_type(*dtype) : nullptr;
  if (!type) return 0;
  if (type->code != RAVO_BLOCK_GENERIC_SPECT) return type->members;
  std::vector<unsigned char> data = first_block_data(channel);
  // The conversion refuses data whose counts do not fit together.
  if (data.size() < sizeof(ravo_spect_head_2010) ||
      ravo_convert_data(data.data(), data.data(), type->code, static_cast<int>(data.size())) != 0)
    return type->members;
  ravo_spect_head_2010 head;
  std::memcpy(&head, data.data(), sizeof head);
  return head.members;
}

// The data of the channel's first block, as they are on disk but inflated; empty when they cannot be had.
std::vector<unsigned char> raw_file::first_block_data(std::size_t channel) const {
  const auto block = read_first_block(channel);
  if (!block || block->ldata < block->head_size || block->ldata > size()) return {};
  std::vector<unsigned char> data(block->ldata - block->head_size);
  if (!read_at(places_of(channel).front().chhd + block->head_size, data)) return {};
  return (block->error & RAVO_CHAN_ZIP_FLAG) != 0 ? inflate(data) : data;
}

const chan_descr_2010* raw_file::description(const char* name) {
  for (const chan_descr_2010* one : *descriptions_)
    if (one && std::strcmp(one->prop_name, name) == 0) return one;
  return nullptr;
}

}  // namespace ravo::tool
