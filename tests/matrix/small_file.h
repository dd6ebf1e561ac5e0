// A small raw file put together by hand, of which every word is known: its purpose, and what happens to
// the data when it changes. It knows what readers may hand out of a mutant; it reads nothing with the
// library.
#ifndef RAVO_TEST_MATRIX_SMALL_FILE_H
#define RAVO_TEST_MATRIX_SMALL_FILE_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "generations.h"
#include "handmade_file.h"
#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"

namespace ravo::test {

/// What depends on a word, and so what may happen to the data when it changes.
enum class word_role {
  nothing,     ///< readers need it for nothing: exactly the good data
  passed_on,   ///< readers hand it out and nothing else in the file says the same: the good data, with this
               ///< word
  identity,    ///< number or time of an event, or a type: as passed on; what is asked for by it may be
               ///< missing
  of_channel,  ///< it leads to, or is needed to decode, blocks of one channel: these are good, or missing
  of_file,     ///< it leads to any of the data: they are good, or missing
};
inline constexpr const char* role_names[] = {"nothing", "passed on", "identity", "of a channel",
                                             "of the file"};

/// A word that is needed for all channels or for none.
inline constexpr int no_channel = -1;

struct word_meaning {
  word_role role = word_role::nothing;
  int channel = no_channel;
  const char* what = "padding";
};

inline std::uint32_t word_at(const std::vector<unsigned char>& image, std::size_t at) {
  std::uint32_t word = 0;
  for (std::size_t i = 0; i < 4; ++i) word = word << 8 | image.at(at + i);
  return word;
}

inline void set_word(std::vector<unsigned char>& image, std::size_t at, std::uint32_t word) {
  for (std::size_t i = 0; i < 4; ++i) image.at(at + i) = static_cast<unsigned char>(word >> (24 - 8 * i));
}

template <class generation>
class small_file {
 public:
  using layout = typename generation::layout;
  static constexpr std::size_t events = 4;

  enum class form { plain, update, environment, zlib, lzo };
  struct block_place {
    int channel;
    std::size_t event;
    std::size_t head;    ///< of the subheader
    std::size_t stored;  ///< bytes after it, without padding
    form stored_as;
    bytes payload;  ///< in file order
  };

  /// `number` is that of the file in its run: events follow those of the file before.
  explicit small_file(unsigned number) {
    handmade_file_of<layout> made = describe(number);
    const bytes built = made.build();
    at_ = made.at;
    image_ = built.vector();
    find_blocks(made);
    find_meanings(made);
  }

  const std::vector<unsigned char>& image() const { return image_; }
  const std::vector<block_place>& blocks() const { return blocks_; }
  std::size_t at(const std::string& piece) const { return at_.at(piece); }
  /// Of the word at an offset, when it becomes `value`.
  word_meaning meaning(std::size_t offset, std::uint32_t value) const {
    word_meaning meaning = meanings_.at(offset / 4);
    const bool turns_compression = ((word_at(image_, offset) ^ value) & RAVO_CHAN_ZIP_FLAG) != 0;
    if (meaning.what == error_bits && turns_compression) meaning.role = word_role::of_channel;
    return meaning;
  }
  static const std::vector<std::string>& channel_names() {
    static const std::vector<std::string> names{"PLAIN", "ZLIB", "LZO", "SLOW", "ENV", "IMAGE"};
    return names;
  }

  /// What a reader has to hand out of a block whose headers lie in `image` where they do in the good file:
  /// event header, server block head, and the block, as they are in memory.
  std::string expected(const block_place& block, const std::vector<unsigned char>& image) const {
    std::string all = in_host_order(image, header_of(block), 36);
    return all + expected_server(server_of(block), image) +
           expected_block(block, image, expected_payload(block, image));
  }

  /// What the classic readers hand out of an entry of the pointers that may lead anywhere: they follow each
  /// word, and compare nothing. Nothing where a word leads out of its basket, or where a subheader would
  /// begin that is not valid.
  std::optional<std::string> as_followed(int channel, std::size_t entry,
                                         const std::vector<unsigned char>& image) const {
    const std::size_t at = pointer_of(channel, entry, image);
    const std::size_t evhd = word_at(image, at), sbhd = word_at(image, at + 4),
                      data = word_at(image, at + 12);
    const std::size_t headers = this->at("events") + 8, servers = this->at("servers") + 8;
    const bool is_in_baskets = evhd >= headers && evhd + 36 <= headers + 36 * events && sbhd >= servers &&
                               sbhd + layout::server_block <= servers + layout::server_block * events &&
                               (sbhd - servers) % layout::server_block == 0;
    const auto block = std::find_if(blocks_.begin(), blocks_.end(), [&](const block_place& one) {
      return one.channel == channel && one.head == word_at(image, at + 8);
    });
    if (!is_in_baskets || block == blocks_.end()) return std::nullopt;
    const bool is_reading = block->stored_as == form::update || block->stored_as == form::environment;
    const std::size_t basket = this->at(channel_names()[static_cast<std::size_t>(channel)]);
    if (is_reading && (data < basket + 8 || data + block->stored > basket + word_at(image, basket + 4)))
      return std::nullopt;
    const std::string payload =
        expected_payload(*block, image, is_reading ? data : block->head + layout::subhead);
    return in_host_order(image, evhd, 36) + expected_server(sbhd, image) +
           expected_block(*block, image, payload);
  }
  /// The same of a plain block whose type has become that of an update or a reading: these are as long as
  /// their type says, and continue into the bytes after the block.
  std::optional<std::string> as_reading(std::size_t type_at,
                                        const std::vector<unsigned char>& image) const {
    const int type = static_cast<int>(word_at(image, type_at) & 0xffff);
    const bool is_update =
        type == layout::update_type || type == generation::begin_of_run || type == generation::end_of_run;
    const auto found = std::find_if(blocks_.begin(), blocks_.end(), [&](const block_place& one) {
      return one.head + layout::block_name == type_at;
    });
    if (found == blocks_.end() || found->stored_as == form::zlib || found->stored_as == form::lzo ||
        (!is_update && type != 3))
      return std::nullopt;
    block_place block = *found;
    block.stored_as = is_update ? form::update : form::environment;
    block.stored = is_update ? layout::update_name + 16 : 20;
    const std::size_t basket = at(channel_names()[static_cast<std::size_t>(block.channel)]);
    if (block.head + layout::subhead + block.stored > basket + word_at(image, basket + 4))
      return std::nullopt;
    return expected(block, image);
  }
  /// Where an entry of the pointers lies.
  std::size_t pointer_of(int channel, std::size_t entry, const std::vector<unsigned char>& image) const {
    return at("pointers") + 12 +
           16 * (static_cast<std::size_t>(channel) * word_at(image, at("pointers") + 8) + entry);
  }

  /// The data of a block, as they are in memory.
  std::string expected_payload(const block_place& block, const std::vector<unsigned char>& image) const {
    return expected_payload(block, image, block.head + layout::subhead);
  }
  /// The same where an entry says that they lie elsewhere.
  std::string expected_payload(const block_place& block, const std::vector<unsigned char>& image,
                               std::size_t data) const {
    switch (block.stored_as) {
      case form::plain:
        return in_host_order(image, data, block.stored);
      case form::update: {
        std::string host = in_host_order(image, data, block.stored);
        for (std::size_t i = 0; i < layout::update_name; ++i)
          host[i] = static_cast<char>(image.at(data + i));
        return host;
      }
      case form::environment: {
        std::string host = channel_names()[static_cast<std::size_t>(block.channel)];
        host.resize(layout::update_name);
        return host + in_host_order(image, data + 4, 16);
      }
      default: {
        // Pixels are bytes.
        const bool is_image = channel_names()[static_cast<std::size_t>(block.channel)] == "IMAGE";
        const std::vector<unsigned char>& payload = block.payload.vector();
        const std::size_t words = is_image ? 28 : payload.size();
        return in_host_order(payload, 0, words) +
               std::string(payload.begin() + static_cast<std::ptrdiff_t>(words), payload.end());
      }
    }
  }

  /// The part of an entry that identifies it: headers and subheader.
  static constexpr std::size_t head_of_entry = 36 + layout::server_block + layout::subhead;
  /// LZO data carry no checksum: what is decoded of damaged ones has other values, in the same place.
  bool is_without_checksum(std::size_t offset) const {
    return offset / 4 < meanings_.size() && std::string_view(meanings_[offset / 4].what) == "LZO data";
  }

  /// What a reader may hand out when the word at `at` is `value`, by channel.
  std::vector<std::set<std::string>> allowed(std::size_t at, std::uint32_t value) const {
    std::vector<unsigned char> mutant = image_;
    const word_role role = meaning(at, value).role;
    if (role == word_role::passed_on || role == word_role::identity) set_word(mutant, at, value);
    return allowed_of(mutant);
  }
  /// What the classic readers may hand out besides, since they follow a changed pointer.
  std::vector<std::set<std::string>> followed(std::size_t offset, std::uint32_t value) const {
    std::vector<std::set<std::string>> by_channel(channel_names().size());
    const word_meaning changed = meaning(offset, value);
    const bool is_type = std::string_view(changed.what) == "data type";
    if (!is_type && std::string_view(changed.what) != "pointers") return by_channel;
    std::vector<unsigned char> mutant = image_;
    set_word(mutant, offset, value);
    auto& of_channel = by_channel[static_cast<std::size_t>(changed.channel)];
    if (is_type) {
      if (const auto one = as_reading(offset, mutant)) of_channel.insert(*one);
      return by_channel;
    }
    const std::size_t entry = (offset - pointer_of(changed.channel, 0, image_)) / 16;
    if (const auto one = as_followed(changed.channel, entry, mutant)) of_channel.insert(*one);
    return by_channel;
  }
  std::vector<std::set<std::string>> allowed_of(const std::vector<unsigned char>& image) const {
    std::vector<std::set<std::string>> by_channel(channel_names().size());
    for (const block_place& block : blocks_)
      by_channel[static_cast<std::size_t>(block.channel)].insert(expected(block, image));
    return by_channel;
  }

  /// Where each structure of the file begins, in order, and the file's end.
  std::set<std::size_t> structure_begins() const {
    std::set<std::size_t> begins{0, image_.size() - 4, image_.size()};
    for (const auto& [name, offset] : at_) begins.insert(offset);
    for (std::size_t event = 0; event < events; ++event) {
      begins.insert(at("events") + 8 + event * 36);
      begins.insert(at("servers") + 8 + event * layout::server_block);
    }
    for (const block_place& block : blocks_) {
      begins.insert(block.head);
      begins.insert(block.head + layout::subhead);
      begins.insert(block.head + layout::subhead + 12);
      begins.insert(block.head + layout::subhead + block.stored);
    }
    for (std::size_t i = 0; i < channel_names().size(); ++i)
      begins.insert(at("dictionary") + 8 + i * layout::dictionary_entry);
    for (std::size_t i = 0; i < blocks_.size(); ++i) begins.insert(at("pointers") + 12 + i * 16);
    return begins;
  }

 private:
  static constexpr const char* error_bits = "error bits";

  static float value_of(unsigned channel, unsigned number) {
    return static_cast<float>(number) + 0.125f * static_cast<float>(channel);
  }

  static handmade_file_of<layout> describe(unsigned file) {
    handmade_file_of<layout> made;
    const auto first = static_cast<unsigned>(100 + file * events);
    for (unsigned i = 0; i < events; ++i)
      made.events.push_back(
          {first + i, 1700000000 + file, i * 100000, i == 2 ? RAVO_EV_UPD : RAVO_EV_NORMAL});
    for (std::size_t c = 0; c < channel_names().size(); ++c) {
      handmade_channel channel(channel_names()[c]);
      for (unsigned i = 0; i < events; ++i)
        if (auto block = describe_block(static_cast<unsigned>(c), i, first + i))
          channel.blocks.push_back(*block);
      channel.ev_mask = 1u << made.events[channel.blocks.front().event].type;
      const int type = channel.blocks.front().dtype;
      channel.dtype_mask = type < 32 ? 1u << type : 0;
      made.channels.push_back(channel);
    }
    made.environment = {{1001, 4}};
    made.xml =
        "<channel_descriptions version=\"1\"><channel prop_name=\"PLAIN\" "
        "units=\"mm\"/></channel_descriptions>";
    return made;
  }

  static std::optional<handmade_block> describe_block(unsigned channel, unsigned i, unsigned number) {
    const bool is_slow = i == 2;
    const std::string& name = channel_names()[channel];
    const float value = value_of(channel, number);
    handmade_block block = scalar<layout>(i, value);
    if (name == "SLOW" || name == "ENV") {
      if (!is_slow) return std::nullopt;
      block.dtype = name == "SLOW" ? layout::update_type : 3;
      block.payload = {};
      if (name == "SLOW")
        block.payload.text(name, layout::update_name);
      else
        block.payload.i32(4);
      block.payload.i32(5).u32(1700000000).u32(number).f32(value);
      return block;
    }
    if (is_slow) return std::nullopt;
    if (name == "PLAIN") return block;
    if (name == "IMAGE") {
      if (i != 0) return std::nullopt;
      block.dtype = RAVO_BLOCK_IMAGE;
      block.payload = {};
      block.payload.u32(4).u32(2).u32(1).i32(0).u32(1).u32(number).i32(8).raw("pixels..");
      return zipped(block, 1);
    }
    const int members = name == "ZLIB" ? 3 : 2;
    block.dtype = name == "ZLIB" ? generation::bpm : generation::rf;
    std::vector<std::vector<float>> samples(static_cast<std::size_t>(members),
                                            std::vector<float>(8, value));
    samples[0][3] = -value;
    block.payload = spectrum<layout>(samples);
    return zipped(block, name == "ZLIB" ? 1 : 2);
  }

  void find_blocks(const handmade_file_of<layout>& made) {
    const std::size_t row_length = word_at(image_, at("pointers") + 8);
    for (std::size_t c = 0; c < made.channels.size(); ++c)
      for (std::size_t i = 0; i < made.channels[c].blocks.size(); ++i) {
        const handmade_block& from = made.channels[c].blocks[i];
        const std::size_t head = word_at(image_, at("pointers") + 12 + 16 * (c * row_length + i) + 8);
        const std::size_t stored = word_at(image_, head + layout::subhead - 4) - layout::subhead;
        const form stored_as = from.zip_flags == 1                 ? form::zlib
                               : from.zip_flags == 2               ? form::lzo
                               : from.dtype == layout::update_type ? form::update
                               : from.dtype == 3                   ? form::environment
                                                                   : form::plain;
        blocks_.push_back({static_cast<int>(c), from.event, head, stored, stored_as, from.payload});
      }
  }

  // ---- what is handed out

  static std::string in_host_order(const std::vector<unsigned char>& image, std::size_t at,
                                   std::size_t size) {
    std::string host(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
      host[i] = static_cast<char>(image.at(at + (i / 4 * 4 + 3 - i % 4)));
    return host;
  }
  /// A text is as in the file, and has an end.
  static void keep_text(std::string& host, const std::vector<unsigned char>& image, std::size_t at,
                        std::size_t offset, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) host[offset + i] = static_cast<char>(image.at(at + offset + i));
    host[offset + width - 1] = '\0';
  }
  static std::string host_words(std::initializer_list<std::uint32_t> words) {
    std::string host;
    for (const std::uint32_t word : words)
      for (int shift = 0; shift < 32; shift += 8) host.push_back(static_cast<char>(word >> shift));
    return host;
  }

  std::size_t header_of(const block_place& block) const { return at("events") + 8 + block.event * 36; }
  std::size_t server_of(const block_place& block) const {
    return at("servers") + 8 + block.event * layout::server_block;
  }

  static std::string expected_server(std::size_t head, const std::vector<unsigned char>& image) {
    std::string server = in_host_order(image, head, layout::server_block);
    keep_text(server, image, head, 16, layout::server_name);
    return server;
  }

  std::string expected_block(const block_place& block, const std::vector<unsigned char>& image,
                             const std::string& payload) const {
    std::string head = in_host_order(image, block.head, layout::subhead);
    keep_text(head, image, block.head, 0, layout::block_name);
    const std::uint32_t type = word_at(image, block.head + layout::block_name);
    const std::uint32_t error = word_at(image, block.head + layout::block_name + 4);
    const bool is_reading = block.stored_as == form::update || block.stored_as == form::environment;
    const bool is_plain = block.stored_as == form::plain;
    head.replace(layout::block_name, 12,
                 host_words({is_reading ? static_cast<std::uint32_t>(layout::update_type) : type,
                             is_reading || is_plain ? error : error & ~0x40000000u,
                             static_cast<std::uint32_t>(layout::subhead + payload.size())}));
    return head + payload;
  }

  // ---- what each word is for

  void mean(std::size_t offset, std::size_t size, word_role role, const char* what,
            int channel = no_channel) {
    for (std::size_t at = offset; at < offset + size; at += 4) meanings_.at(at / 4) = {role, channel, what};
  }

  void find_meanings(const handmade_file_of<layout>& made) {
    meanings_.resize(image_.size() / 4);
    mean(0, 16, word_role::nothing, "signature");
    mean_headers();
    for (std::size_t c = 0; c < made.channels.size(); ++c) {
      const std::size_t basket = at(made.channels[c].name);
      mean(basket, 4, word_role::nothing, "basket marker");
      mean(basket + 4, 4, word_role::of_channel, "basket length", static_cast<int>(c));
    }
    for (const block_place& block : blocks_) mean_block(block);
    mean_tables(made);
  }

  void mean_headers() {
    mean(at("events"), 4, word_role::nothing, "basket marker");
    mean(at("events") + 4, 4, word_role::of_file, "basket length");
    mean(at("servers"), 4, word_role::nothing, "basket marker");
    mean(at("servers") + 4, 4, word_role::of_file, "basket length");
    for (std::size_t event = 0; event < events; ++event) {
      const std::size_t header = at("events") + 8 + event * 36;
      mean(header, 36, word_role::passed_on, "event header");
      mean(header, 4, word_role::passed_on, "event header's marker");
      mean(header + 8, 4, word_role::identity, "event number");
      mean(header + 12, 4, word_role::passed_on, "event type");
      mean(header + 16, 8, word_role::identity, "event time");
      mean(at("servers") + 8 + event * layout::server_block, layout::server_block, word_role::passed_on,
           "server block head");
    }
  }

  void mean_block(const block_place& block) {
    const int channel = block.channel;
    const std::size_t name = channel_names()[static_cast<std::size_t>(channel)].size() + 1;
    const std::size_t words_of_name = (name + 3) / 4 * 4;
    mean(block.head, words_of_name, word_role::passed_on, "channel's name", channel);
    mean(block.head + words_of_name, layout::block_name - words_of_name, word_role::passed_on,
         "after a name");
    const std::size_t type = block.head + layout::block_name;
    mean(type, 4, word_role::identity, "data type", channel);
    mean(type + 4, 4, word_role::passed_on, error_bits, channel);
    const bool is_reading = block.stored_as == form::update || block.stored_as == form::environment;
    if (is_reading)
      mean(type + 8, 4, word_role::nothing, "length of a reading", channel);
    else
      mean(type + 8, 4, word_role::of_channel, "block length", channel);
    const std::size_t data = block.head + layout::subhead;
    switch (block.stored_as) {
      case form::plain: {
        mean(data, block.payload.size(), word_role::passed_on, "plain data", channel);
        const bool is_current = std::is_same_v<layout, layout_2010>;
        mean(data, is_current ? 12 : 8, word_role::of_channel, "counts of plain data", channel);
        if (is_current) mean(data + 24, 4, word_role::of_channel, "flags of plain data", channel);
        break;
      }
      case form::update:
        mean(data, layout::update_name, word_role::identity, "name in a reading", channel);
        mean(data + layout::update_name, 16, word_role::passed_on, "reading", channel);
        break;
      case form::environment:
        mean(data, 4, word_role::nothing, "environment index");
        mean(data + 4, 16, word_role::passed_on, "reading", channel);
        break;
      default:
        mean(data, 12, word_role::of_channel, "zip header", channel);
        mean(data + 12, (block.stored - 12 + 3) / 4 * 4, word_role::of_channel,
             block.stored_as == form::lzo ? "LZO data" : "zlib data", channel);
    }
  }

  void mean_tables(const handmade_file_of<layout>& made) {
    const std::size_t pointers = at("pointers"), dictionary = at("dictionary");
    const std::size_t row_length = word_at(image_, pointers + 8);
    mean(pointers, 12, word_role::of_file, "pointers' head");
    for (std::size_t c = 0; c < made.channels.size(); ++c) {
      mean(pointers + 12 + 16 * c * row_length, 16 * made.channels[c].blocks.size(), word_role::of_channel,
           "pointers", static_cast<int>(c));
      const std::size_t entry = dictionary + 8 + c * layout::dictionary_entry;
      mean(entry, layout::dictionary_entry, word_role::nothing, "dictionary entry");
      mean(entry + 4, layout::dictionary_name, word_role::of_file, "name in the dictionary");
      mean(entry + layout::dictionary_entry - 8, 4, word_role::nothing, "data types in the dictionary",
           static_cast<int>(c));
      mean(entry + layout::dictionary_entry - 4, 4, word_role::of_file, "count in the dictionary");
    }
    mean(dictionary, 8, word_role::of_file, "dictionary's head");
    mean(at("index"), at("environment") - at("index"), word_role::of_file, "event index");
    // One entry for each type of event: its head, then its events.
    for (std::size_t entry = at("index") + 8; entry + 32 <= at("environment");) {
      const std::size_t events_of_entry = word_at(image_, entry + 28);
      mean(entry + 32, events_of_entry * 16, word_role::of_file, "events of the index");
      entry += 32 + events_of_entry * 16;
    }
    mean(at("environment"), at("xml") - at("environment"), word_role::of_file, "environment dictionary");
    mean(at("xml"), at("reference") - at("xml"), word_role::of_file, "descriptions");
    mean(at("reference"), image_.size() - at("reference"), word_role::of_file, "reference table and tail");
  }

  std::vector<unsigned char> image_;
  std::map<std::string, std::size_t> at_;
  std::vector<block_place> blocks_;
  std::vector<word_meaning> meanings_;
};

}  // namespace ravo::test

#endif
