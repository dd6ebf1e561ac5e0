// A raw file of either generation put together by hand, byte by byte: a test says which events there are
// and which blocks each channel has, may falsify any word, and knows the offset of each piece. It
// shares nothing with the writer or the table-access library but the marker words common to both
// generations.
#ifndef RAVO_TEST_HANDMADE_FILE_H
#define RAVO_TEST_HANDMADE_FILE_H

#include <lzo/lzo1x.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bytes.h"
#include "ravo_raw_format.h"
#include "raw_layouts.h"

namespace ravo::test {

struct handmade_event {
  std::uint32_t number = 0;
  std::uint32_t seconds = 0;
  std::uint32_t microseconds = 0;
  int type = RAVO_EV_NORMAL;
};

/// One block as it lies in the file. The payload is in file order already.
struct handmade_block {
  std::size_t event = 0;  ///< position in the file's events
  int dtype = RAVO_BLOCK_1CHAN_2010;
  bytes payload;
  std::uint32_t zip_flags = 0;  ///< bits: 1 zlib, 2 LZO1X; the payload is then compressed here
  bool zip_flag_set = false;    ///< RAVO_CHAN_ZIP_FLAG in the subheader
  std::int32_t error = 0;
  std::optional<std::uint32_t> orig_length;  ///< what the zip header says, if not the truth
  std::optional<std::uint32_t> zipp_length;
  std::optional<std::int32_t> ldata;
};

struct handmade_channel {
  explicit handmade_channel(std::string its_name) : name(std::move(its_name)) {}

  std::string name;
  std::vector<handmade_block> blocks;
  std::uint32_t ev_mask = 1u << RAVO_EV_NORMAL;
  std::uint32_t dtype_mask = 0;
  std::optional<std::int32_t> count;          ///< what the dictionary says, if not the truth
  std::optional<std::int32_t> basket_length;  ///< what the basket says, if not the truth
};

inline std::string compress_zlib(const bytes& from, int level = 6) {
  uLongf size = compressBound(from.size());
  std::string to(size, '\0');
  compress2(reinterpret_cast<Bytef*>(to.data()), &size, from.data(), from.size(), level);
  to.resize(size);
  return to;
}

inline std::string compress_lzo(const bytes& from) {
  std::vector<unsigned char> work(LZO1X_1_MEM_COMPRESS);
  std::string to(from.size() + from.size() / 16 + 67, '\0');
  lzo_uint size = to.size();
  lzo1x_1_compress(from.data(), from.size(), reinterpret_cast<unsigned char*>(to.data()), &size,
                   work.data());
  to.resize(size);
  return to;
}

/// What goes before the samples of a spectrum of one group.
inline bytes spectrum_head(layout_2010, std::size_t members, std::size_t samples, float start, float inc) {
  bytes to;
  to.i32(static_cast<int>(members)).i32(static_cast<int>(samples)).i32(1);
  return to.f32(start).f32(inc).f32(0).u32(0).i32(0);
}
/// In the older generation with a mean, 0.5, for each member.
inline bytes spectrum_head(layout_2009, std::size_t members, std::size_t samples, float start, float inc) {
  bytes to;
  to.i32(static_cast<int>(members)).i32(static_cast<int>(samples)).f32(start).f32(inc);
  for (std::size_t i = 0; i < members; ++i) to.f32(0.5f);
  return to;
}

/// A spectrum payload of `members` members with one group of samples, in file order.
template <class layout = layout_2010>
bytes spectrum(const std::vector<std::vector<float>>& members, float start = 0, float inc = 1) {
  bytes to = spectrum_head(layout{}, members.size(), members.at(0).size(), start, inc);
  for (const auto& member : members)
    for (float sample : member) to.f32(sample);
  return to;
}

/// A plain block of one float.
template <class layout = layout_2010>
handmade_block scalar(std::size_t event, float value) {
  handmade_block block;
  block.event = event;
  block.dtype = layout::single_type;
  block.payload = spectrum<layout>({{value}});
  return block;
}

inline handmade_block zipped(handmade_block block, std::uint32_t flags) {
  block.zip_flags = flags;
  block.zip_flag_set = true;
  return block;
}

template <class layout>
struct handmade_file_of {
  std::vector<handmade_event> events;
  std::vector<handmade_channel> channels;
  std::string xml = "<channel_descriptions version=\"1\"/>";
  std::vector<std::pair<std::uint32_t, std::int32_t>> environment;  ///< key and index
  /// The offsets of the pieces: "events", "servers", "pointers", "dictionary", "index", "environment",
  /// "xml", "reference", and by channel name the first byte of its basket.
  std::map<std::string, std::size_t> at;

  bytes build() {
    bytes file;
    file.raw(layout::signature);
    add_event_headers(file);
    add_server_blocks(file);
    std::vector<std::vector<row_entry>> rows;
    for (const auto& channel : channels) rows.push_back(add_basket(file, channel));
    add_pointers(file, rows);
    add_dictionary(file);
    add_index(file);
    add_environment(file);
    add_xml(file);
    add_reference(file);
    return file;
  }

 private:
  struct row_entry {
    std::uint32_t words[4];
  };
  static std::uint32_t word(std::size_t value) { return static_cast<std::uint32_t>(value); }

  void begin(bytes& file, const std::string& name) {
    while (file.size() % 4 != 0) file.fill(1);
    at[name] = file.size();
  }
  std::size_t header_of(std::size_t event) const { return at.at("events") + 8 + event * 36; }
  std::size_t server_block_of(std::size_t event) const {
    return at.at("servers") + 8 + event * layout::server_block;
  }

  void add_event_headers(bytes& file) {
    begin(file, "events");
    file.u32(RAVO_EVENT_HEADER_BASKET_PATTERN).u32(word(8 + events.size() * 36));
    for (const auto& event : events)
      file.u32(layout::event_header_marker)
          .u32(word(36 + layout::server_block))
          .u32(event.number)
          .i32(event.type)
          .u32(event.seconds)
          .u32(event.microseconds)
          .i32(3)
          .i32(0)
          .i32(1);
  }

  void add_server_blocks(bytes& file) {
    begin(file, "servers");
    file.u32(RAVO_SERVER_BLOCK_BASKET_PATTERN).u32(word(8 + events.size() * layout::server_block));
    for (const auto& event : events)
      file.u32(event.seconds)
          .u32(event.microseconds)
          .u32(word(layout::server_block))
          .i32(7)
          .text("server1", layout::server_name)
          .i32(3)
          .i32(0)
          .i32(1);
  }

  static void add_block(bytes& file, const std::string& name, const handmade_block& block) {
    std::string data(reinterpret_cast<const char*>(block.payload.data()), block.payload.size());
    if (block.zip_flag_set) {
      if ((block.zip_flags & 1) != 0)
        data = compress_zlib(block.payload);
      else if ((block.zip_flags & 2) != 0)
        data = compress_lzo(block.payload);
    }
    const std::size_t zip_head = block.zip_flag_set ? 12 : 0;
    file.text(name, layout::block_name)
        .i32(block.dtype)
        .i32(block.error | (block.zip_flag_set ? RAVO_CHAN_ZIP_FLAG : 0));
    file.i32(block.ldata.value_or(static_cast<std::int32_t>(layout::subhead + zip_head + data.size())));
    if (block.zip_flag_set)
      file.u32(block.zip_flags)
          .u32(block.orig_length.value_or(word(block.payload.size())))
          .u32(block.zipp_length.value_or(word(data.size())));
    file.raw(data);
    while (file.size() % 4 != 0) file.fill(1);
  }

  std::vector<row_entry> add_basket(bytes& file, const handmade_channel& channel) {
    begin(file, channel.name);
    const std::size_t basket = file.size();
    std::vector<row_entry> row;
    if (channel.blocks.empty()) return row;
    file.u32(RAVO_CHANNEL_BASKET_PATTERN).u32(0);
    for (const auto& block : channel.blocks) {
      const std::size_t head = file.size();
      row.push_back({{word(header_of(block.event)), word(server_block_of(block.event)), word(head),
                      word(head + layout::subhead)}});
      add_block(file, channel.name, block);
    }
    file.set_i32(basket + 4,
                 channel.basket_length.value_or(static_cast<std::int32_t>(file.size() - basket)));
    return row;
  }

  void add_pointers(bytes& file, const std::vector<std::vector<row_entry>>& rows) {
    begin(file, "pointers");
    std::size_t most = 1;
    for (const auto& row : rows) most = std::max(most, row.size());
    file.u32(RAVO_EVENT_CHAN_POINTERS_PATTERN).u32(word(12 + rows.size() * most * 16)).u32(word(most));
    for (const auto& row : rows)
      for (std::size_t i = 0; i < most; ++i)
        for (int w = 0; w < 4; ++w) file.u32(i < row.size() ? row[i].words[w] : 0);
  }

  void add_dictionary(bytes& file) {
    begin(file, "dictionary");
    file.u32(0xdcadcaf3u).u32(word(8 + channels.size() * layout::dictionary_entry));
    std::uint32_t key = 1000;
    for (const auto& channel : channels)
      file.u32(++key)
          .text(channel.name, layout::dictionary_name)
          .u32(channel.ev_mask)
          .u32(channel.dtype_mask)
          .i32(channel.count.value_or(static_cast<std::int32_t>(channel.blocks.size())));
  }

  void add_index(bytes& file) {
    begin(file, "index");
    std::map<int, std::vector<std::size_t>> by_type;
    for (std::size_t i = 0; i < events.size(); ++i) by_type[events[i].type].push_back(i);
    file.u32(0xedaedaf3u).u32(word(by_type.size()));
    for (const auto& [type, members] : by_type) {
      index_entry_[type] = file.size();
      const auto& first = events[members.front()];
      const auto& last = events[members.back()];
      file.i32(type)
          .u32(first.seconds)
          .u32(first.microseconds)
          .u32(last.seconds)
          .u32(last.microseconds)
          .u32(first.number)
          .u32(last.number)
          .u32(word(members.size()));
      for (std::size_t i : members)
        file.u32(events[i].seconds)
            .u32(events[i].microseconds)
            .u32(events[i].number)
            .u32(word(header_of(i)));
    }
  }

  void add_environment(bytes& file) {
    begin(file, "environment");
    file.u32(RAVO_ENV_DICTIONARY_PATTERN).u32(word(8 + environment.size() * 8));
    for (const auto& [key, index] : environment) file.u32(key).i32(index);
  }

  void add_xml(bytes& file) {
    begin(file, "xml");
    file.u32(RAVO_XML_CHAN_DESCR_PATTERN).u32(word(8 + xml.size())).raw(xml);
  }

  void add_reference(bytes& file) {
    begin(file, "reference");
    file.u32(layout::reference_marker).u32(168).u32(word(at["index"]));
    for (int type = 0; type < 32; ++type)
      file.u32(index_entry_.contains(type) ? word(index_entry_[type]) : 0);
    file.u32(word(at["dictionary"]))
        .u32(word(at["pointers"]))
        .u32(word(at["environment"]))
        .u32(word(at["xml"]));
    file.u32(word(at["events"])).u32(word(at["servers"]));
    file.u32(channels.empty() ? 0 : word(at[channels.front().name]));
    file.u32(word(at["reference"]));
  }

  std::map<int, std::size_t> index_entry_;
};
using handmade_file = handmade_file_of<layout_2010>;

}  // namespace ravo::test

#endif
