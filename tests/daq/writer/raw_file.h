// A reader of raw files for the tests of the writer alone: it walks the bytes by the documented layout
// and shares no code with the library. It throws when something does not lie as documented.
#ifndef RAVO_TEST_WRITER_RAW_FILE_H
#define RAVO_TEST_WRITER_RAW_FILE_H

#include <lzo/lzo1x.h>
#include <zlib.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "raw_layouts.h"
#include "temporary_folder.h"

namespace ravo::test {

template <class layout>
class raw_file_of {
 public:
  struct event {
    std::uint32_t length, number, type, seconds, microseconds, tmask, status, server_blocks;
  };
  struct server_block {
    std::uint32_t seconds, microseconds, length, mpulse;
    std::string server;
    std::uint32_t tmask, status, channels;
  };
  struct pointers {
    std::uint32_t evhd, sbhd, chhd, data;
  };
  struct channel {
    std::uint32_t key;
    std::string name;
    std::uint32_t ev_mask, dtype_mask, count;
    std::vector<pointers> row;
  };
  struct block {
    std::string name;
    std::uint32_t dtype, error, length;
    std::uint32_t zip_flags = 0;        // 0: not compressed
    std::vector<unsigned char> data{};  // unpacked, in file order
  };
  struct index_entry {
    std::uint32_t seconds, microseconds, number, offset;
  };
  struct index_of_type {
    std::uint32_t type, first_seconds, first_microseconds, last_seconds, last_microseconds;
    std::uint32_t first_number, last_number;
    std::vector<index_entry> entries;
  };

  explicit raw_file_of(const std::string& path) : raw_file_of(read_file(path)) {}
  explicit raw_file_of(std::vector<unsigned char> content) : bytes_(std::move(content)) {
    need(bytes_.size() > 200 && bytes_.size() < 0x100000000u, "length of the file");
    reference_ = word(bytes_.size() - 4);
    need(word(reference_) == layout::reference_marker && word(reference_ + 4) == 168, "reference table");
    need(reference_ + 172 == bytes_.size(), "end of the file");
    read_dictionary();
    read_index();
    read_baskets();
  }

  std::size_t size() const { return bytes_.size(); }
  const std::vector<unsigned char>& content() const { return bytes_; }
  const std::vector<channel>& channels() const { return channels_; }
  const channel& find(const std::string& name) const {
    for (const channel& one : channels_)
      if (one.name == name) return one;
    throw std::runtime_error("no channel " + name);
  }
  const std::vector<index_of_type>& index() const { return index_; }
  std::size_t events() const {
    std::size_t count = 0;
    for (const index_of_type& one : index_) count += one.entries.size();
    return count;
  }

  std::uint32_t word(std::size_t offset) const {
    need(offset + 4 <= bytes_.size(), "offset of a word");
    return std::uint32_t{bytes_[offset]} << 24 | std::uint32_t{bytes_[offset + 1]} << 16 |
           std::uint32_t{bytes_[offset + 2]} << 8 | bytes_[offset + 3];
  }
  std::uint32_t reference(std::size_t offset) const { return word(reference_ + offset); }
  std::string text(std::size_t offset, std::size_t width) const {
    need(offset + width <= bytes_.size(), "offset of a text");
    const auto first = bytes_.begin() + static_cast<std::ptrdiff_t>(offset);
    std::string all(first, first + static_cast<std::ptrdiff_t>(width));
    const std::size_t end = all.find('\0');
    need(end != all.npos && all.find_first_not_of('\0', end) == all.npos, "end of a text");
    return all.substr(0, end);
  }

  event event_at(std::size_t at) const {
    need(word(at) == layout::event_header_marker, "event header");
    return {word(at + 4),  word(at + 8),  word(at + 12), word(at + 16),
            word(at + 20), word(at + 24), word(at + 28), word(at + 32)};
  }
  server_block server_block_at(std::size_t at) const {
    return {word(at),
            word(at + 4),
            word(at + 8),
            word(at + 12),
            text(at + 16, layout::server_name),
            word(at + layout::server_block - 12),
            word(at + layout::server_block - 8),
            word(at + layout::server_block - 4)};
  }
  block block_at(std::size_t at) const {
    constexpr std::size_t head = layout::subhead;
    block result{text(at, layout::block_name), word(at + head - 12), word(at + head - 8),
                 word(at + head - 4)};
    need(result.length >= head && at + result.length <= bytes_.size(), "length of a block");
    if (!(result.error & 0x40000000u)) {
      result.data = cut(at + head, result.length - head);
      return result;
    }
    result.zip_flags = word(at + head);
    need(result.length == head + 12 + word(at + head + 8), "length of a compressed block");
    result.data = unpack(result.zip_flags, cut(at + head + 12, word(at + head + 8)), word(at + head + 4));
    return result;
  }
  std::string descriptions() const {
    const std::size_t at = reference(152);
    need(word(at) == 0xcddcddf3u, "channel descriptions");
    const std::vector<unsigned char> xml = cut(at + 8, word(at + 4) - 8);
    return {xml.begin(), xml.end()};
  }
  /// Key and index of each environment channel.
  std::vector<std::pair<std::uint32_t, std::uint32_t>> environment() const {
    const std::size_t at = reference(148);
    need(word(at) == 0xeddeddf3u, "environment dictionary");
    std::vector<std::pair<std::uint32_t, std::uint32_t>> list;
    for (std::size_t i = 8; i < word(at + 4); i += 8) list.emplace_back(word(at + i), word(at + i + 4));
    return list;
  }

 private:
  static void need(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(std::string("not as documented: ") + what);
  }
  std::vector<unsigned char> cut(std::size_t offset, std::size_t length) const {
    need(offset + length <= bytes_.size(), "end of a block");
    const auto first = bytes_.begin() + static_cast<std::ptrdiff_t>(offset);
    return {first, first + static_cast<std::ptrdiff_t>(length)};
  }
  static std::vector<unsigned char> unpack(std::uint32_t flags, const std::vector<unsigned char>& packed,
                                           std::uint32_t length) {
    std::vector<unsigned char> data(length);
    if (flags == 1) {
      uLongf produced = length;
      need(uncompress(data.data(), &produced, packed.data(), packed.size()) == Z_OK, "zlib data");
      need(produced == length, "length of zlib data");
      return data;
    }
    need(flags == 2, "zip flags");
    lzo_uint produced = length;
    need(lzo1x_decompress_safe(packed.data(), packed.size(), data.data(), &produced, nullptr) == LZO_E_OK,
         "LZO data");
    need(produced == length, "length of LZO data");
    return data;
  }

  void read_dictionary() {
    const std::size_t dictionary = reference(140), table = reference(144);
    constexpr std::size_t size = layout::dictionary_entry;
    need(word(dictionary) == 0xdcadcaf3u && (word(dictionary + 4) - 8) % size == 0, "dictionary");
    const std::size_t count = (word(dictionary + 4) - 8) / size;
    const std::size_t maxev = word(table + 8);
    need(word(table) == 0xecbecbf3u && word(table + 4) == 12 + 16 * count * maxev, "pointer table");
    std::uint32_t longest = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t at = dictionary + 8 + size * i;
      channel one{word(at),
                  text(at + 4, layout::dictionary_name),
                  word(at + size - 12),
                  word(at + size - 8),
                  word(at + size - 4),
                  {}};
      need(one.count <= maxev, "count of a channel");
      longest = std::max(longest, one.count);
      for (std::size_t e = 0; e < maxev; ++e) {
        const std::size_t entry = table + 12 + 16 * (i * maxev + e);
        pointers p{word(entry), word(entry + 4), word(entry + 8), word(entry + 12)};
        if (e < one.count)
          one.row.push_back(p);
        else
          need((p.evhd | p.sbhd | p.chhd | p.data) == 0, "entries after the last one");
      }
      channels_.push_back(std::move(one));
    }
    need(longest == maxev, "maxev");
  }

  void read_index() {
    std::size_t at = reference(8);
    need(word(at) == 0xedaedaf3u, "event index");
    const std::size_t types = word(at + 4);
    at += 8;
    std::uint32_t present = 0;
    for (std::size_t t = 0; t < types; ++t) {
      index_of_type one{word(at),      word(at + 4),  word(at + 8),  word(at + 12),
                        word(at + 16), word(at + 20), word(at + 24), {}};
      need(one.type < 32 && reference(12 + 4 * one.type) == at, "offset of an index entry");
      need(index_.empty() || one.type > index_.back().type, "order of the event types");
      present |= 1u << one.type;
      const std::size_t length = word(at + 28);
      at += 32;
      for (std::size_t e = 0; e < length; ++e, at += 16)
        one.entries.push_back({word(at), word(at + 4), word(at + 8), word(at + 12)});
      index_.push_back(std::move(one));
    }
    for (std::uint32_t t = 0; t < 32; ++t)
      need((present >> t & 1) != 0 || reference(12 + 4 * t) == 0, "offset of an absent event type");
  }

  // Every basket begins with its head, and every block lies in the basket of its channel.
  void read_baskets() const {
    need(word(reference(156)) == 0xebaebaf3u && word(reference(156) + 4) == 8 + 36 * events(),
         "event header basket");
    need(word(reference(160)) == 0xb5bb5bf3u && (word(reference(160) + 4) - 8) % layout::server_block == 0,
         "server block basket");
    bool first = true;
    for (const channel& one : channels_) {
      if (one.row.empty()) continue;
      const std::size_t basket = one.row[0].chhd - 8;
      need(!first || basket == reference(164), "first channel basket");
      first = false;
      need(word(basket) == 0xcbacbaf3u, "channel basket");
      std::size_t next = basket + 8;
      for (const pointers& p : one.row) {
        need(p.chhd == next && p.chhd % 4 == 0 && p.data == p.chhd + layout::subhead, "place of a block");
        next += (word(p.chhd + layout::subhead - 4) + 3) / 4 * 4;
      }
      need(next == basket + word(basket + 4), "length of a channel basket");
    }
    need(!first || reference(164) == 0, "absent channel baskets");
  }

  std::vector<unsigned char> bytes_;
  std::size_t reference_;
  std::vector<channel> channels_;
  std::vector<index_of_type> index_;
};

using raw_file = raw_file_of<layout_2010>;

}  // namespace ravo::test

#endif
