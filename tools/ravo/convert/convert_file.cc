#include "convert/convert_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <map>
#include <memory>
#include <optional>

#include "common/failure.h"
#include "convert/block_reading.h"
#include "convert/current_form.h"
#include "convert/older_events.h"
#include "ravo_daq_writer_2010.h"
#include "ravo_raw_generations.h"

namespace ravo::tool {
namespace {

// What the blocks of a channel have in common.
struct channel_form {
  std::vector<RAVO_SUBBLOCK_TYPE> types;  ///< mostly one, in order of occurrence; never empty
  ravo_compression compression = ravo_compression::none;
  std::uint32_t event_types = 0;  ///< a bit each, of the events that were written
};

class file_conversion {
 public:
  file_conversion(raw_file& older, const std::string& folder, const part_done& report)
      : older_(older), report_(report), events_(older), blocks_(older) {
    // The name is temporary: the caller gives the file its own.
    ravo_daq_writer_settings settings;
    settings.folder = folder;
    settings.allows_events_without_time = true;
    check(writer_.open(settings));
  }

  conversion run() {
    if (events_.list().empty())
      throw data_failure(older_.path() + ": has no events, and files without events are not written");
    if (!older_.description_problem().empty())
      throw data_failure(fmt::format("{}: {}", older_.path(), older_.description_problem()));
    declare_channels();
    for (const chan_descr_2010* one : older_.descriptions())
      if (one) add_description(*one);
    for (const older_event& event : events_.list()) write(event);
    check(writer_.close());
    check_size(1);
    report_changed_masks();
    if (miscounted_ > 0)
      lose("", fmt::format("{} of {} server blocks state another number of channels than they have",
                           miscounted_, events_.server_blocks()));
    result_.output = writer_.get_files().front();
    result_.events = events_.list().size();
    result_.server_blocks = events_.server_blocks();
    result_.channels = forms_.size();
    result_.blocks = events_.blocks();
    return std::move(result_);
  }

 private:
  void check(int status) const {
    if (status < 0)
      throw data_failure(
          fmt::format("{}: cannot be rewritten: {}", older_.path(), writer_.get_last_error()));
  }

  // The writer continues with another file when one is full.
  void check_size(std::size_t files) const {
    if (writer_.get_files().size() != files)
      throw data_failure(
          older_.path() +
          ": with the longer headers of the current generation it would be larger than the 4 GiB "
          "that a raw file may have");
  }

  // The masks of event types are computed anew; an older one may have been wrong.
  void report_changed_masks() {
    for (std::size_t i = 0; i < forms_.size(); ++i) {
      const listed_channel& listed = older_.channels()[i];
      if (listed.ev_mask != forms_[i].event_types)
        lose(listed.chan_name,
             fmt::format("its mask of event types, {:#x}, became {:#x}, as its events are", listed.ev_mask,
                         forms_[i].event_types));
    }
  }

  void lose(const std::string& channel, std::string text) {
    result_.losses.push_back({channel, std::move(text)});
  }

  [[noreturn]] void refuse(std::size_t channel, const std::string& why) const {
    throw data_failure(fmt::format("{}: cannot be rewritten: channel {} {}", older_.path(),
                                   older_.channels()[channel].chan_name, why));
  }

  void declare_channels() {
    std::map<std::uint32_t, std::int32_t> index_of_key;
    for (const ravo_env_dictionary_entry_2010& entry : older_.environment())
      index_of_key.try_emplace(entry.key, entry.index);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < older_.channels().size(); ++i) {
      const listed_channel& listed = older_.channels()[i];
      forms_.push_back(form_of(i));
      for (const RAVO_SUBBLOCK_TYPE code : forms_.back().types) check_type(i, code);
      if (listed.key == 0) lose(listed.chan_name, "it has no key (0), and the new file gives it one");
      ravo_daq_writer_channel declared;
      declared.name = listed.chan_name;
      declared.dtype = current_type_of(forms_.back().types.front())->type->code;
      declared.compression = forms_.back().compression;
      declared.key = listed.key;
      if (const auto index = index_of_key.find(listed.key);
          index != index_of_key.end() && index->second >= 0) {
        declared.env_index = index->second;
        ++kept;
      }
      check(writer_.add_channel(declared));
    }
    if (const std::size_t entries = older_.environment().size(); kept < entries)
      lose("",
           fmt::format(
               "{} of {} entries of the environment dictionary are left out: they belong to no channel, or "
               "to one that has an entry already, or their index is negative",
               entries - kept, entries));
  }

  void check_type(std::size_t channel, RAVO_SUBBLOCK_TYPE code) {
    const std::optional<current_type> type = current_type_of(code);
    if (!type)
      refuse(channel,
             fmt::format("has blocks of type {}, which is no channel's data in the older generation",
                         name_of(code)));
    if (!type->lost.empty())
      lose(older_.channels()[channel].chan_name,
           fmt::format("{} became {}, which does not say {}", name_of(code), type->type->name, type->lost));
  }

  static std::string name_of(RAVO_SUBBLOCK_TYPE code) {
    const data_type* type = find_data_type(code);
    return type && type->code == code ? std::string(type->name) : std::to_string(code);
  }

  channel_form form_of(std::size_t channel) const {
    channel_form form;
    for (const ravo_event_chan_ptr_entry& where : older_.places_of(channel)) {
      const ravo_serv_block_subhead head = read_subhead(channel, where.chhd);
      const auto type = static_cast<RAVO_SUBBLOCK_TYPE>(head.dtype);
      if (std::find(form.types.begin(), form.types.end(), type) == form.types.end())
        form.types.push_back(type);
      // Blocks that do not become smaller are stored plain in a compressed channel too.
      if ((head.error & RAVO_CHAN_ZIP_FLAG) != 0 && form.compression == ravo_compression::none)
        form.compression = compression_at(channel, where.chhd);
    }
    if (form.types.empty()) form.types.push_back(type_of_mask(older_.channels()[channel].dtype_mask));
    return form;
  }

  // The type of a channel without blocks: that of the mask, if the mask names one.
  static RAVO_SUBBLOCK_TYPE type_of_mask(std::uint32_t mask) {
    const auto type = static_cast<RAVO_SUBBLOCK_TYPE>(std::countr_zero(mask));
    return std::has_single_bit(mask) && current_type_of(type) ? type : RAVO_BLOCK_SINGLE;
  }

  ravo_serv_block_subhead read_subhead(std::size_t channel, std::uint32_t offset) const {
    ravo_serv_block_subhead head;
    if (!older_.read_at(offset, {reinterpret_cast<unsigned char*>(&head), sizeof head}))
      throw data_failure(fmt::format("{}: damaged: a block of channel {} at {} does not lie in the file",
                                     older_.path(), older_.channels()[channel].chan_name, offset));
    ravo_swap4(&head.dtype, &head.dtype, 3);
    if (std::strncmp(head.chname, older_.channels()[channel].chan_name, sizeof head.chname) != 0)
      throw data_failure(
          fmt::format("{}: contradicts itself: the block of channel {} at {} bears another name",
                      older_.path(), older_.channels()[channel].chan_name, offset));
    return head;
  }

  ravo_compression compression_at(std::size_t channel, std::uint32_t offset) const {
    ravo_zip_header zip;
    const auto after_head = offset + static_cast<std::uint32_t>(sizeof(ravo_serv_block_subhead));
    if (!older_.read_at(after_head, {reinterpret_cast<unsigned char*>(&zip), sizeof zip}))
      throw data_failure(fmt::format("{}: damaged: a block of channel {} at {} does not lie in the file",
                                     older_.path(), older_.channels()[channel].chan_name, offset));
    ravo_swap4(&zip, &zip, sizeof zip / 4);
    return (zip.zip_flags & RAVO_ZIP_ZLIB) != 0 ? ravo_compression::zlib : ravo_compression::lzo1x;
  }

  // A description may name the type of the data; here it gets the new type.
  void add_description(const chan_descr_2010& described) {
    const auto code = static_cast<RAVO_SUBBLOCK_TYPE>(described.dtype);
    const auto type = code <= RAVO_UPD_BLOCK_DONT_USE_31 ? current_type_of(code) : std::nullopt;
    chan_descr_2010 current = described;
    if (type) current.dtype = static_cast<std::uint32_t>(type->type->code);
    check(writer_.add_description(current));
  }

  void write(const older_event& event) {
    const ravo_eventheader& header = event.header;
    check(writer_.begin_event(
        {header.event_number, header.event_type, header.event_time, header.tmask, header.status}));
    std::size_t number = event.first_head;
    for (const ravo_serv_block_head& head : events_.heads_of(event)) {
      check(writer_.begin_server_block({head.server, head.time, head.mpulse, head.tmask, head.status}));
      const auto blocks = events_.blocks_of(number++);
      if (static_cast<std::size_t>(head.nchan) != blocks.size()) ++miscounted_;
      for (const block_place& place : blocks) {
        write(place);
        forms_[place.channel].event_types |= std::uint32_t{1} << header.event_type;
      }
      done_ += blocks.size();
    }
    check(writer_.end_event());
    check_size(0);
    report_(static_cast<double>(done_) / static_cast<double>(events_.blocks() + 1));
  }

  void write(const block_place& place) {
    const listed_channel& listed = older_.channels()[place.channel];
    const auto block = blocks_.read(older_.places_of(place.channel)[place.entry], listed.chan_name);
    const ravo_serv_block_subhead& head = *block.decoded.block;
    std::span<const unsigned char> data(reinterpret_cast<const unsigned char*>(&head + 1),
                                        static_cast<std::size_t>(head.ldata) - sizeof head);
    // Readers get environment readings as updates; the file stores the readings.
    if (!block.reading.empty()) data = block.reading;
    const std::vector<unsigned char> current = current_data(*find_data_type(block.stored_type), data);
    check(writer_.add_data_of_type(static_cast<int>(place.channel),
                                   current_type_of(block.stored_type)->type->code, current.data(),
                                   current.size(), block.stored_error & ~RAVO_CHAN_ZIP_FLAG));
  }

  raw_file& older_;
  const part_done& report_;
  older_events events_;
  block_reader<raw_format_2009> blocks_;
  ravo_daq_writer_2010 writer_;
  std::vector<channel_form> forms_;  // one a channel
  std::size_t miscounted_ = 0;
  std::size_t done_ = 0;
  conversion result_;
};

}  // namespace

conversion convert_file(raw_file& older, const std::string& folder, const part_done& report) {
  return file_conversion(older, folder, report).run();
}

}  // namespace ravo::tool
