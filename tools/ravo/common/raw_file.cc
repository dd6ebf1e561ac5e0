#include "common/raw_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <utility>

#include "common/failure.h"
#include "common/refusal.h"
#include "common/sizes.h"
#include "common/times.h"
#include "decode/stored_block.h"
#include "decode/table_operations.h"
#include "format/read_exactly.h"
#include "format/uninterrupted.h"
#include "ravo_block_access.h"
#include "ravo_data_types.h"
#include "ravo_evutl.h"
#include "ravo_evutl_status.h"
#include "ravo_xml.h"
#include "shared/escaping.h"

namespace ravo::tool {
namespace {

// The loader's code when all tables are good but the descriptions' text is not.
constexpr int descriptions_refused = 7;
// The largest block, stored or inflated, that is decoded to count its members.
constexpr std::uint32_t most_block_bytes = 16u << 20;

// The median, because a few gaps in the run move the mean.
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

void report_description_problem(const raw_file& file) {
  if (!file.description_problem().empty())
    print_message("ravo: {}: {}; the rest is shown without them\n", file.path(),
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

raw_file::raw_file(const std::string& path, std::uint64_t memory) : path_(path), descriptor_(path.c_str()) {
  const int why_not_open = errno;
  if (const auto reason = why_not_readable(path_)) throw data_failure(path_ + ": " + *reason);
  if (descriptor_ < 0) throw data_failure(path_ + ": " + text_of_unreadable(why_not_open));
  // A file that is of neither generation is refused as one of the current generation.
  if (ravo_get_file_generation(path_.c_str(), &generation_) == RAVO_TABLE_UNREADABLE)
    throw data_failure(path_ + ": " + text_of_unreadable(errno));
  load(memory);
}

raw_file::~raw_file() { ravo_free_chan_descr(&descriptions_); }

void raw_file::load(std::uint64_t memory) {
  struct stat about {};
  if (uninterrupted::fstat(descriptor_, &about) != 0)
    throw data_failure(path_ + ": " + text_of_unreadable(errno));
  size_ = static_cast<std::uint64_t>(about.st_size);
  const int code = generation_ == ravo_file_generation::older ? load_tables<raw_format_2009>(memory)
                                                              : load_tables<raw_format_2010>(memory);
  if (code == descriptions_refused)
    description_problem_ = explain_refusal(path_, code);
  else if (code != 0)
    throw data_failure(path_ + ": " + explain_refusal(path_, code));
}

namespace {

// Takes ownership of the table that an operation loads; returns false if it loads none.
template <class Owner, class Load>
bool take(Owner& owner, Load load) {
  typename Owner::pointer table = nullptr;
  const int status = load(&table);
  owner.reset(table);
  return status == 0;
}

}  // namespace

// The codes are those of the loader; explain_refusal() explains them.
template <class G>
int raw_file::load_tables(std::uint64_t memory) {
  using library = table_operations<G>;
  constexpr int table_refused = 3;
  constexpr std::size_t tail_size = 4;
  const auto length = static_cast<long>(size_);
  unsigned char tail[tail_size];
  if (size_ < tail_size || !read_exactly(descriptor_, size_ - tail_size, tail, tail_size)) return -3;
  if (!take(reference_, [&](auto** table) {
        return library::get_reference_table(tail, tail_size, length, descriptor_, table);
      }))
    return 2;
  const std::uint64_t taken = memory_of_tables<G>();
  if (taken > memory)
    throw tables_too_large(fmt::format(
        "{}: its tables claim {} channels, {} of events and {} of environment, which would take {} of "
        "memory; "
        "no more than {} are used for a file, so it is left out. `ravo verify` says whether it is damaged",
        path_,
        library::table_memory(length, reference_.get(), descriptor_, RAVO_TABLE_OF_CHANNELS) /
            sizeof(typename G::dictionary_entry),
        format_size(library::table_memory(length, reference_.get(), descriptor_, RAVO_TABLE_OF_EVENTS)),
        format_size(
            library::table_memory(length, reference_.get(), descriptor_, RAVO_TABLE_OF_ENVIRONMENT)),
        format_size(taken), format_size(memory)));
  if (!take(index_, [&](auto** table) {
        return library::get_event_index_table(length, reference_.get(), descriptor_, table);
      }))
    return table_refused;
  malloc_owner<typename G::dictionary_table> dictionary;
  if (!take(dictionary, [&](auto** table) {
        return library::get_dictionary_table(length, reference_.get(), descriptor_, table);
      }))
    return table_refused;
  const auto* entry = dictionary->channel_entry();
  const auto bytes = static_cast<std::size_t>(dictionary->length) - sizeof *dictionary;
  channels_.reserve(bytes / sizeof *entry);
  for (std::size_t i = 0; i < bytes / sizeof *entry; ++i, ++entry)
    channels_.push_back({entry->chan_name, entry->key, entry->ev_mask, entry->dtype_mask, entry->count});
  dictionary_.reset(dictionary.release());
  check_pointers();
  if (!take(environment_table_, [&](auto** table) {
        return library::get_env_dictionary_table(length, reference_.get(), descriptor_, table);
      }))
    return table_refused;
  environment_ = {environment_table_->dictionary_entry(),
                  (static_cast<std::size_t>(environment_table_->length) - sizeof *environment_table_) /
                      sizeof *environment_table_->dictionary_entry()};
  if (!is_basket(reference_->evhdb_ref)) return -5;
  if (!is_basket(reference_->srvbb_ref)) return -7;
  return load_descriptions<G>(memory - taken);
}

/// Besides its row in the dictionary a channel takes memory for what
/// the verbs make of it, and so does an event besides its entry.
template <class G>
std::uint64_t raw_file::memory_of_tables() const {
  const auto of = [&](ravo_table_kind table) {
    return table_operations<G>::table_memory(static_cast<long>(size_), reference_.get(), descriptor_,
                                             table);
  };
  constexpr std::uint64_t of_channel = 512;
  const std::uint64_t dictionary = of(RAVO_TABLE_OF_CHANNELS), events = of(RAVO_TABLE_OF_EVENTS);
  return dictionary + dictionary / sizeof(typename G::dictionary_entry) * of_channel + events + events / 2 +
         of(RAVO_TABLE_OF_ENVIRONMENT);
}

template <class G>
int raw_file::load_descriptions(std::uint64_t memory) {
  using library = table_operations<G>;
  const auto length = static_cast<long>(size_);
  const std::uint64_t text =
      library::table_memory(length, reference_.get(), descriptor_, RAVO_TABLE_OF_DESCRIPTIONS);
  const auto leave_out = [&](std::uint64_t needed) {
    description_problem_ = fmt::format(
        "its channel descriptions have {} and would take {} of memory; no more than {} are left for them",
        format_size(text), format_size(needed), format_size(memory));
    return 0;
  };
  if (text > memory) return leave_out(text);
  malloc_owner<ravo_xml_chan_descr_header_2010> header;
  if (!take(header, [&](auto** table) {
        return library::get_chan_descr_table(length, reference_.get(), descriptor_, table);
      }))
    return 6;
  const std::uint64_t needed = text + ravo_get_chan_descr_memory(header.get());
  if (needed > memory) return leave_out(needed);
  return library::load_chan_descr(header.get(), &descriptions_) == 0 ? 0 : descriptions_refused;
}

/// There may be as many pointers as the file has bytes for, so only the head is checked:
/// a row for each channel, and no channel with more events than its row has room for.
void raw_file::check_pointers() {
  if (channels_.empty()) return;
  ravo_event_chan_pointers_table head{};
  unsigned char bytes[sizeof head];
  const std::uint32_t at = reference_->ecp_ref;
  const auto refuse = [this](int status) {
    if (status == RAVO_TABLE_UNREADABLE) throw data_failure(path_ + ": " + text_of_unreadable(errno));
    throw data_failure(fmt::format("{}: damaged: event channel pointer table: {} (status {})", path_,
                                   ravo_evutl_status_text(status), status));
  };
  unsigned long row = 0;
  if (const int status = ravo_get_table_memory(static_cast<long>(size_), reference_.get(), descriptor_,
                                               RAVO_ROW_OF_POINTERS, &row);
      status != 0)
    refuse(status);
  if (!read_at(at, bytes)) refuse(RAVO_TABLE_OUT_OF_FILE);
  ravo_swap4(bytes, &head, sizeof head / 4);
  row_length_ = static_cast<std::uint32_t>(head.maxev);
  if (static_cast<std::uint64_t>(head.length) != sizeof head + channels_.size() * row)
    refuse(RAVO_TABLE_WRONG_LENGTH);
  for (const listed_channel& channel : channels_)
    if (channel.count > head.maxev) refuse(RAVO_TABLE_WRONG_ENTRY);
}

bool raw_file::is_basket(std::uint32_t offset) const {
  constexpr std::uint32_t head = 8;
  const std::uint32_t length = length_at(offset);
  return length >= head && offset <= size_ && length <= size_ - offset;
}

std::vector<event_summary> raw_file::events() const {
  std::vector<event_summary> all;
  const ravo_event_index_table_2010* table = index_.get();
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
  if (offset == 0 || !read_at(offset, head)) return 0;
  return word(head + 4);
}

namespace {

// The part of a block that the decoder needs.
template <class G>
struct located_block {
  typename G::subhead head;
  decode_outcome outcome;
  stored_payload payload;
};

template <class G>
std::optional<located_block<G>> locate(const std::vector<unsigned char>& bytes, std::uint32_t at) {
  const file_part part(bytes.data(), bytes.size(), at);
  const auto head = read_subheader<G>(part, at);
  if (!head) return std::nullopt;
  located_block<G> block{*head, decode_outcome::outside, {}};
  block.outcome = locate_payload<G>(part, at, at + sizeof *head, block.head, block.payload);
  return block;
}

stored_as how_stored(decode_outcome outcome, const stored_payload& payload) {
  if (outcome != decode_outcome::decoded) return stored_as::unknown;
  if (payload.form != stored_form::compressed) return stored_as::plain;
  return payload.by == unzipper::zlib ? stored_as::zlib : stored_as::lzo1x;
}

// How many members a block of a type without a fixed number has; `nullopt` if it cannot be decoded.
template <class G>
std::optional<int> count_members(const located_block<G>& block, const char* channel) {
  using subhead = typename G::subhead;
  if (block.outcome != decode_outcome::decoded || block.payload.room > most_block_bytes)
    return std::nullopt;
  std::vector<std::max_align_t> memory((sizeof(subhead) + block.payload.room) / sizeof(std::max_align_t) +
                                       1);
  auto* decoded = reinterpret_cast<subhead*>(memory.data());
  const decoded_payload data = decode_payload<G>(block.payload, block.head, channel,
                                                 reinterpret_cast<unsigned char*>(decoded + 1), nullptr);
  if (data.outcome != decode_outcome::decoded) return std::nullopt;
  *decoded = block.head;
  decoded->error &= ~RAVO_CHAN_ZIP_FLAG;
  decoded->ldata = static_cast<std::int32_t>(sizeof(subhead) + data.length);
  return get_channel_number(block.head.dtype, decoded);
}

}  // namespace

// At most `most` bytes of a channel's first block; fewer if the file ends before.
std::vector<unsigned char> raw_file::first_bytes(std::size_t channel, std::size_t most) const {
  if (channels_[channel].count < 1) return {};
  const std::uint32_t at = place(channel, 0).chhd;
  std::vector<unsigned char> bytes(at < size_ ? std::min<std::uint64_t>(most, size_ - at) : 0);
  if (!read_at(at, bytes)) bytes.clear();
  return bytes;
}

template <class G>
raw_file::first_block raw_file::read_first_block(std::size_t channel) const {
  constexpr std::size_t heads = sizeof(typename G::subhead) + sizeof(ravo_zip_header);
  const std::vector<unsigned char> bytes = first_bytes(channel, heads);
  if (bytes.empty()) return {};
  const auto block = locate<G>(bytes, place(channel, 0).chhd);
  if (!block) return {};
  return {block->head.dtype, block->head.ldata, how_stored(block->outcome, block->payload)};
}

raw_file::first_block raw_file::read_first_block(std::size_t channel) const {
  return generation_ == ravo_file_generation::older ? read_first_block<raw_format_2009>(channel)
                                                    : read_first_block<raw_format_2010>(channel);
}

stored_as raw_file::form_of(std::size_t channel) const {
  return channels_[channel].count < 1 ? stored_as::nothing : read_first_block(channel).form;
}

std::optional<RAVO_SUBBLOCK_TYPE> raw_file::dtype_of(std::size_t channel) const {
  const auto dtype = read_first_block(channel).dtype;
  if (!dtype) return std::nullopt;
  return static_cast<RAVO_SUBBLOCK_TYPE>(*dtype & 0xffff);
}

std::size_t raw_file::places(std::size_t channel) const {
  return static_cast<std::size_t>(std::max(channels_[channel].count, 0));
}

ravo_event_chan_ptr_entry raw_file::place(std::size_t channel, std::size_t event) const {
  ravo_event_chan_ptr_entry entry;
  unsigned char bytes[sizeof entry];
  // The sum fits, because the length of the table is a word: check_pointers() has checked it.
  const std::size_t at = reference_->ecp_ref + sizeof(ravo_event_chan_pointers_table) +
                         (channel * row_length_ + event) * sizeof entry;
  if (!read_at(static_cast<std::uint32_t>(at), bytes))
    throw data_failure(path_ + ": the event channel pointer table cannot be read");
  ravo_swap4(bytes, &entry, sizeof entry / 4);
  return entry;
}

template <class G>
void raw_file::load_pointers() const {
  const auto load = [&](auto** table) {
    return table_operations<G>::get_chan_pointers_table(static_cast<long>(size_), reference_.get(),
                                                        descriptor_, table);
  };
  if (!take(pointers_, load)) throw data_failure(path_ + ": " + explain_refusal(path_, 3));
}

std::span<const ravo_event_chan_ptr_entry> raw_file::places_of(std::size_t channel) const {
  if (!pointers_ && generation_ == ravo_file_generation::older) load_pointers<raw_format_2009>();
  if (!pointers_) load_pointers<raw_format_2010>();
  const int count = std::clamp(channels_[channel].count, 0, pointers_->maxev);
  return {pointers_->chptr() + channel * static_cast<std::size_t>(pointers_->maxev),
          static_cast<std::size_t>(count)};
}

bool raw_file::read_at(std::uint32_t offset, std::span<unsigned char> bytes) const {
  if (offset > size_ || bytes.size() > size_ - offset) return false;
  if (!read_exactly(descriptor_, offset, bytes.data(), bytes.size()))
    throw data_failure(path_ + ": " + text_of_unreadable(errno));
  return true;
}

template <class G>
std::optional<int> raw_file::count_members_of(std::size_t channel) const {
  const std::int32_t length = read_first_block<G>(channel).length;
  if (length < 0 || static_cast<std::uint32_t>(length) > most_block_bytes) return std::nullopt;
  const std::vector<unsigned char> bytes = first_bytes(channel, static_cast<std::size_t>(length));
  if (bytes.empty()) return std::nullopt;
  const auto block = locate<G>(bytes, place(channel, 0).chhd);
  return block ? count_members(*block, channels_[channel].chan_name) : std::nullopt;
}

int raw_file::members_of(std::size_t channel) const {
  const auto dtype = dtype_of(channel);
  const data_type* type = dtype ? find_data_type(*dtype) : nullptr;
  if (!type) return 0;
  if (type->code != RAVO_BLOCK_GENERIC_SPECT) return type->members;
  const bool is_older = generation_ == ravo_file_generation::older;
  const auto counted =
      is_older ? count_members_of<raw_format_2009>(channel) : count_members_of<raw_format_2010>(channel);
  return counted.value_or(type->members);
}

// Verbs ask for every channel of the file: there may be tens of thousands.
// If several descriptions have the same name, the first one counts.
const chan_descr_2010* raw_file::description(const char* name) {
  if (by_name_.empty() && !descriptions_.empty()) {
    std::vector<const chan_descr_2010*> sorted(descriptions_.begin(), descriptions_.end());
    std::erase(sorted, nullptr);
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto* a, const auto* b) {
      return std::strcmp(a->prop_name, b->prop_name) < 0;
    });
    by_name_ = std::move(sorted);
  }
  const auto found = std::lower_bound(
      by_name_.begin(), by_name_.end(), name,
      [](const auto* one, const char* wanted) { return std::strcmp(one->prop_name, wanted) < 0; });
  return found != by_name_.end() && std::strcmp((*found)->prop_name, name) == 0 ? *found : nullptr;
}

}  // namespace ravo::tool
