#include "align/file_descriptions.h"

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "align/reference_table.h"
#include "ravo_raw_generations.h"

namespace ravo::detail {
namespace {

/// The parsed descriptions of a file.
class parsed_descriptions {
 public:
  parsed_descriptions() = default;
  ~parsed_descriptions() { ravo_free_chan_descr(&all_); }
  parsed_descriptions(const parsed_descriptions&) = delete;
  parsed_descriptions& operator=(const parsed_descriptions&) = delete;

  bool parse(const ravo_xml_chan_descr_header_2010& header) {
    return shared_table_operations::load_chan_descr(&header, &all_) == 0;
  }
  const std::vector<chan_descr_2010*>& all() const { return all_; }

 private:
  std::vector<chan_descr_2010*> all_;
};

template <std::size_t Size>
std::string text_of(const char (&field)[Size]) {
  return {field, strnlen(field, Size)};
}

/// The first dimension is that of the samples.
described_channel taken_from(const chan_descr_2010& description) {
  described_channel channel{text_of(description.prop_desc), text_of(description.units), "", ""};
  if (description.dims.empty() || description.dims.front() == nullptr) return channel;
  const dim_descr& samples = *description.dims.front();
  channel.axis_label = *samples.dim_name != 0 ? text_of(samples.dim_name) : text_of(samples.dim_desc);
  channel.axis_unit = text_of(samples.units);
  return channel;
}

bool are_equal(const ravo_xml_chan_descr_header_2010& a, const ravo_xml_chan_descr_header_2010& b) {
  return a.length == b.length && std::memcmp(&a, &b, static_cast<std::size_t>(a.length)) == 0;
}

}  // namespace

description_reader::description_reader(const std::vector<std::string_view>& names, room_taker take_room)
    : take_room_(std::move(take_room)), names_(names.size()), described_(names.size()) {
  for (std::size_t i = 0; i < names.size(); ++i) positions_[names[i]].push_back(i);
}

const std::vector<std::optional<described_channel>>& description_reader::read(
    const open_file& file, ravo_file_generation generation) {
  problem_.clear();
  errno = 0;
  if (generation == ravo_file_generation::current)
    read_as<raw_format_2010>(file);
  else
    read_as<raw_format_2009>(file);
  return described_;
}

void description_reader::refuse(std::string why) {
  problem_ = std::move(why);
  described_.assign(names_, std::nullopt);
  text_.reset();
  room_for_text_.release();
}

/// The first description of a channel counts.
void description_reader::take(const std::vector<chan_descr_2010*>& parsed) {
  described_.assign(names_, std::nullopt);
  for (const chan_descr_2010* description : parsed) {
    if (description == nullptr) continue;
    const auto found = positions_.find(text_of(description->prop_name));
    if (found == positions_.end() || described_[found->second.front()]) continue;
    for (const std::size_t position : found->second) described_[position] = taken_from(*description);
  }
}

template <class G>
void description_reader::read_as(const open_file& file) {
  using library = table_operations<G>;
  const auto refuse_as_damaged = [&] {
    const int error = errno;
    refuse(error != 0 && error != EAGAIN
               ? "its channel descriptions cannot be read: " + std::generic_category().message(error)
               : "its channel descriptions are damaged");
  };
  const auto refuse_as_too_large = [&](std::uint64_t bytes) {
    refuse("its channel descriptions take " + std::to_string(bytes) +
           " bytes, which do not fit into the memory limit");
  };
  const auto reference = load_reference<G>(file);
  if (!reference) return refuse_as_damaged();
  reservation room;
  const std::uint64_t size =
      library::table_memory(file.length(), reference.get(), file.descriptor(), RAVO_TABLE_OF_DESCRIPTIONS);
  if (!take_room_(room, size)) return refuse_as_too_large(size);
  auto text = loaded<ravo_xml_chan_descr_header_2010>([&](auto** table) {
    return library::get_chan_descr_table(file.length(), reference.get(), file.descriptor(), table);
  });
  if (!text) return refuse_as_damaged();
  if (text_ && are_equal(*text, *text_)) return;
  const std::uint64_t to_parse =
      ravo_get_chan_descr_memory == nullptr ? 0 : ravo_get_chan_descr_memory(text.get());
  reservation room_to_parse;
  if (!take_room_(room_to_parse, to_parse)) return refuse_as_too_large(size + to_parse);
  parsed_descriptions parsed;
  if (!parsed.parse(*text)) return refuse("its channel descriptions are damaged");
  take(parsed.all());
  text_ = std::move(text);
  room_for_text_ = std::move(room);
}

}  // namespace ravo::detail
