// Digests of values against a small implementation that shares nothing with the code: it takes the values
// of events as programs see them. Every way of reading has the same, and so have both generations.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <fstream>

#include "../../evutl/small_file.h"
#include "brute_force.h"
#include "ravo_daq_writer.h"
#include "ravo_daq_writer_2010.h"

namespace {

using namespace ravo;
using namespace ravo::test;

// ---- the definition once more, as docs/dataset.md has it

__extension__ using wide = unsigned __int128;
constexpr std::uint64_t k1 = 0x9E3779B97F4A7C15, k2 = 0xC2B2AE3D27D4EB4F;

std::uint64_t fold(std::uint64_t a, std::uint64_t b) {
  const wide product = wide{a} * b;
  return static_cast<std::uint64_t>(product ^ product >> 64);
}

std::uint64_t hash_of(const std::string& data, std::uint64_t state) {
  std::vector<std::uint64_t> words((data.size() + 7) / 8, 0);
  for (std::size_t i = 0; i < data.size(); ++i)
    words[i / 8] |= std::uint64_t{static_cast<unsigned char>(data[i])} << (i % 8 * 8);
  const std::size_t pairs = data.size() / 16;
  for (std::size_t i = 0; i < pairs; ++i) state += fold(words[2 * i] ^ state ^ k1, words[2 * i + 1] ^ k2);
  for (std::size_t i = 2 * pairs; i < words.size(); ++i) state = fold(words[i] ^ state, k2) + k1;
  return fold(state ^ data.size(), k1);
}

void put(std::string& to, std::uint64_t number, int bytes) {
  for (int i = 0; i < bytes; ++i) to += static_cast<char>(number >> (8 * i) & 0xff);
}

void put(std::string& to, float number) {
  put(to, std::isnan(number) ? 0x7fc00000u : std::bit_cast<std::uint32_t>(number), 4);
}

struct plain_value {
  std::uint64_t type = 0;
  std::vector<std::uint64_t> sizes;
  std::string bytes;
};

plain_value plain_spectrum(const value& one) {
  plain_value made{1, {}, ""};
  const spectrum_view view = one.spectrum();
  if (one.kind() == value_kind::roi)
    made.sizes = {view.values.size()};
  else
    for (const std::uint64_t size : {view.members, view.groups, view.samples})
      if (size != 1) made.sizes.push_back(size);
  for (const float number : view.values) put(made.bytes, number);
  return made;
}

plain_value plain_image(const image_view& view) {
  if (!view.is_complete())
    return {2, {view.pixels.size()}, std::string(view.pixels.begin(), view.pixels.end())};
  const int bytes = view.bytes_per_pixel == 1 ? 1 : view.bytes_per_pixel == 2 ? 2 : 4;
  plain_value made{bytes == 1 ? 2u : bytes == 2 ? 3u : 4u, {view.height, view.width}, ""};
  for (std::size_t y = 0; y < view.height; ++y)
    for (std::size_t x = 0; x < view.width; ++x) put(made.bytes, view.pixel(x, y), bytes);
  return made;
}

plain_value plain_records(const name_value_view& view) {
  std::vector<std::pair<std::string, float>> records;
  for (const ravo_name_value_channel& record : view.records)
    records.emplace_back(record.name, record.value);
  std::stable_sort(records.begin(), records.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  plain_value made{5, {records.size()}, ""};
  for (const auto& [name, number] : records) {
    made.bytes += name + '\0';
    put(made.bytes, number);
  }
  return made;
}

plain_value plain(const value& one) {
  switch (one.kind()) {
    case value_kind::spectrum:
    case value_kind::roi:
      return plain_spectrum(one);
    case value_kind::image:
      return plain_image(one.image());
    case value_kind::name_value:
      return plain_records(one.name_values());
    case value_kind::update: {
      plain_value made{1, {}, ""};
      put(made.bytes, one.update().value);
      return made;
    }
    default:
      return {2, {one.text().size()}, std::string(one.text())};
  }
}

/// The digest of a channel from its events.
std::string digest_of(const dataset& data, const std::string& channel) {
  std::uint64_t first = 0, second = 0, count = 0;
  for (event_range events = data.events(); const event& at : events) {
    const value one = at[channel];
    if (one.is_held() || one.status() == value_status::not_recorded) continue;
    const std::uint64_t time = std::uint64_t{at.time().timeup} << 32 | at.time().timelow;
    const std::uint64_t what = std::uint64_t{at.number()} << 8 | static_cast<std::uint64_t>(one.status());
    std::uint64_t state = fold(time ^ k1, what ^ k2);
    std::string bytes;
    if (one.status() == value_status::ok) {
      const plain_value values = plain(one);
      std::string head;
      put(head, values.type, 8);
      for (const std::uint64_t size : values.sizes) put(head, size, 8);
      state = hash_of(head, state);
      bytes = values.bytes;
    }
    const std::uint64_t mixed = hash_of(bytes, state);
    first += mixed;
    second += fold(mixed ^ k2, mixed + k1);
    ++count;
  }
  char text[33];
  std::snprintf(text, sizeof text, "%016lx%016lx", first + fold(count + 1, k1), second);
  return text;
}

std::string digest_of_events(const dataset& data, const std::string& channel) {
  value_digest digest;
  for (event_range events = data.events(); const event& one : events) digest.add(one.id(), one[channel]);
  return digest.to_text();
}

std::string digest_of(const column_data& column) {
  value_digest digest;
  digest.add(column);
  return digest.to_text();
}

std::string digest_of_channel(const std::vector<named_value_digest>& digests, const std::string& channel) {
  for (const named_value_digest& one : digests)
    if (one.channel == channel) return one.digest.to_text();
  return "";
}

// ---- every way of reading

template <class layout>
class ValueDigests : public testing::Test {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(ValueDigests, layouts);

TYPED_TEST(ValueDigests, AreTheSameInEveryWayOfReading) {
  for (unsigned seed = 1; seed <= sets_to_try(40); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 300);
    const temporary_folder folder;
    selection wanted = of_files(write_kinds<TypeParam>(folder, random));
    wanted.step = 1 + random.below(2);
    dataset_options options;
    options.threads = 1 + random.below(3);
    const dataset data = dataset::open(wanted, options);
    const std::vector<named_value_digest> digests = data.value_digests();
    ASSERT_EQ(digests.size(), data.channels().size());
    for (const named_value_digest& one : digests) {
      SCOPED_TRACE(one.channel);
      const std::string expected = digest_of(data, one.channel);
      EXPECT_EQ(one.digest.to_text(), expected);
      EXPECT_EQ(digest_of_events(data, one.channel), expected);
      const column_data column = data.column(one.channel);
      const bool has_all =
          std::count(column.status.begin(), column.status.end(), value_status::type_changed) == 0;
      EXPECT_EQ(digest_of(column) == expected, has_all);
      column_options by_event;
      by_event.rows = column_rows::events;
      EXPECT_EQ(digest_of(data.column(one.channel, by_event)) == expected, has_all);
    }
  }
}

TYPED_TEST(ValueDigests, OfMembersAreTheSameInEveryWayOfReading) {
  generator random(11);
  const temporary_folder folder;
  const dataset data =
      dataset::open(of_files(write_kinds<TypeParam>(folder, random),
                             {"KIND3:CHARGE", "KIND3:0", "KIND7:0", "KIND7:1", "KIND4:1"}));
  for (const named_value_digest& one : data.value_digests()) {
    EXPECT_EQ(one.digest.to_text(), digest_of(data, one.channel)) << one.channel;
    EXPECT_EQ(digest_of(data.column(one.channel)), one.digest.to_text()) << one.channel;
  }
}

TYPED_TEST(ValueDigests, OfSlowValuesCountEachOnceWhereverItIsHeld) {
  const temporary_folder folder;
  handmade_file_of<TypeParam> file;
  handmade_channel slow("SLOW");
  for (std::uint32_t i = 0; i < 12; ++i) {
    file.events.push_back(event_at(1 + i, 100 * i, i % 4 == 0 ? RAVO_EV_UPD : RAVO_EV_NORMAL));
    if (i % 4 == 0) slow.blocks.push_back(update_of(TypeParam{}, i, static_cast<float>(i), noon));
  }
  slow.ev_mask = 1u << RAVO_EV_UPD;
  std::vector<std::pair<std::size_t, float>> numbers;
  for (std::size_t i = 0; i < 12; ++i)
    if (i % 4 != 0) numbers.emplace_back(i, 1.5f);
  file.channels = {slow, numbers_at<TypeParam>("FAST", numbers)};
  selection wanted = of_files({write(folder, "a.raw", file)});
  const std::string expected = digest_of_channel(dataset::open(wanted).value_digests(), "SLOW");
  wanted.slow = slow_policy::hold;
  const dataset data = dataset::open(wanted);
  EXPECT_EQ(digest_of_channel(data.value_digests(), "SLOW"), expected);
  EXPECT_EQ(digest_of_events(data, "SLOW"), expected);
  column_options by_event;
  by_event.rows = column_rows::events;
  EXPECT_EQ(digest_of(data.column("SLOW", by_event)), expected);
}

TYPED_TEST(ValueDigests, OfPartsAddUp) {
  generator random(12);
  const temporary_folder folder;
  const std::vector<std::string> files = write_kinds<TypeParam>(folder, random);
  const std::vector<ravo_time_id> events = dataset::open(of_files(files)).event_ids();
  const std::uint32_t middle = events[events.size() / 2].event_number;
  selection before = of_files(files), after = of_files(files);
  before.last_event = middle;
  after.first_event = middle + 1;
  std::vector<named_value_digest> sums = dataset::open(before).value_digests();
  const std::vector<named_value_digest> rest = dataset::open(after).value_digests();
  const std::vector<named_value_digest> whole = dataset::open(of_files(files)).value_digests();
  for (std::size_t i = 0; i < whole.size(); ++i) {
    sums[i].digest.add(rest[i].digest);
    EXPECT_EQ(sums[i].digest, whole[i].digest) << whole[i].channel;
    EXPECT_EQ(value_digest::of_sums(whole[i].digest.sums()), whole[i].digest);
  }
}

// ---- generations

/// Writes the same values with the writer of a generation.
template <class Writer>
std::vector<std::string> write_values(const temporary_folder& folder) {
  constexpr bool is_current = std::is_same_v<Writer, ravo_daq_writer_2010>;
  Writer writer;
  ravo_daq_writer_settings settings;
  settings.folder = folder.path().string();
  settings.stream = is_current ? "new" : "old";
  EXPECT_EQ(writer.open(settings), RAVO_DAQ_WRITER_OK);
  const auto add_channel = [&](const char* name, RAVO_SUBBLOCK_TYPE type, ravo_compression how) {
    ravo_daq_writer_channel channel;
    channel.name = name;
    channel.dtype = type;
    channel.compression = how;
    return writer.add_channel(channel);
  };
  using enum ravo_compression;
  const int numbers = add_channel("NUMBER", is_current ? RAVO_BLOCK_ENERGY_2010 : RAVO_BLOCK_ENERGY, none);
  const int waves = add_channel("WAVE", is_current ? RAVO_BLOCK_RF_250K_2010 : RAVO_BLOCK_RF_250K,
                                is_current ? lzo1x : zlib);
  const int lists = add_channel("LIST", RAVO_BLOCK_NAME_VALUE, zlib);
  const int frames = add_channel("FRAME", RAVO_BLOCK_IMAGE, is_current ? zlib : none);
  const int updates = add_channel("UPDATE", is_current ? RAVO_UPD_BLOCK_2010 : RAVO_UPD_BLOCK, none);
  for (std::uint32_t i = 0; i < 20; ++i) {
    ravo_daq_writer_event event;
    event.event_number = 100 + i;
    event.time = {noon + i, 0};
    EXPECT_EQ(writer.begin_event(event), RAVO_DAQ_WRITER_OK);
    EXPECT_EQ(writer.begin_server_block({"server", event.time}), RAVO_DAQ_WRITER_OK);
    const auto add_data = [&](int channel, const bytes& payload) {
      EXPECT_EQ(writer.add_data(channel, payload.data(), payload.size()), RAVO_DAQ_WRITER_OK)
          << writer.get_last_error();
    };
    // In host order: words are turned round, since `bytes` writes them as files have them.
    const auto in_host_order = [](const bytes& payload) {
      bytes turned;
      for (std::size_t at = 0; at + 4 <= payload.size(); at += 4)
        turned.u32(__builtin_bswap32(payload.word(at)));
      return turned;
    };
    using layout = std::conditional_t<is_current, layout_2010, layout_2009>;
    const auto number = static_cast<float>(i);
    add_data(numbers, in_host_order(spectrum<layout>({{number}})));
    add_data(waves, in_host_order(spectrum<layout>({{number, 1.5f, NAN}, {2, number, -0.0f}})));
    bytes list = in_host_order(bytes().i32(1));
    list.text("", 80).append(in_host_order(bytes().i32(2)));
    list.text("B", 80).append(in_host_order(bytes().f32(number)));
    list.text("A", 80).append(in_host_order(bytes().f32(0.25f)));
    add_data(lists, list);
    bytes frame = in_host_order(bytes().i32(2).i32(2).i32(1).i32(0).i32(0).i32(0).i32(4));
    frame.u32(0x01020300 + i);
    add_data(frames, frame);
    bytes update;
    update.text("UPDATE", is_current ? 256 : 80);
    update.append(in_host_order(bytes().i32(0).u32(noon).u32(0).f32(number)));
    add_data(updates, update);
    EXPECT_EQ(writer.end_event(), RAVO_DAQ_WRITER_OK) << writer.get_last_error();
  }
  EXPECT_EQ(writer.close(), RAVO_DAQ_WRITER_OK) << writer.get_last_error();
  return writer.get_files();
}

TEST(ValueDigestsOfGenerations, AreEqualForTheSameValues) {
  const temporary_folder folder;
  const dataset current = dataset::open(of_files(write_values<ravo_daq_writer_2010>(folder)));
  const dataset older = dataset::open(of_files(write_values<ravo_daq_writer>(folder)));
  const auto digests = current.value_digests(), older_digests = older.value_digests();
  ASSERT_EQ(digests.size(), 5u);
  ASSERT_EQ(older_digests.size(), 5u);
  for (std::size_t i = 0; i < digests.size(); ++i) {
    EXPECT_EQ(digests[i].digest.values(), 20u) << digests[i].channel;
    EXPECT_EQ(digests[i].digest.to_text(), digest_of(current, digests[i].channel)) << digests[i].channel;
    EXPECT_EQ(digest_of_channel(older_digests, digests[i].channel), digests[i].digest.to_text())
        << digests[i].channel;
  }
  // The blocks of waves differ: their heads do.
  EXPECT_EQ(digests.back().channel, "WAVE");
  EXPECT_NE(current.digest().back().digest, older.digest().back().digest);
  // And so do other values.
  EXPECT_NE(digests[0].digest, digests[1].digest);
}

// ---- what changes it

std::string digest_of_wave(const temporary_folder& folder, const std::vector<std::vector<float>>& members,
                           std::uint32_t number = 1, std::uint32_t milliseconds = 0) {
  handmade_file file;
  file.events = {event_at(number, milliseconds)};
  handmade_channel channel("C");
  handmade_block block;
  block.dtype = members.size() == 1 ? RAVO_BLOCK_1CHAN_2010 : RAVO_BLOCK_2CHAN_2010;
  block.payload = spectrum(members);
  channel.blocks = {block};
  file.channels = {channel};
  return dataset::open(of_files({write(folder, "a.raw", file)})).value_digests().at(0).digest.to_text();
}

TEST(ValueDigest, IsAnotherOneForAnotherEventShapeOrNumber) {
  const temporary_folder folder;
  const std::string usual = digest_of_wave(folder, {{1, 2, 3, 4}});
  EXPECT_EQ(digest_of_wave(folder, {{1, 2, 3, 4}}), usual);
  EXPECT_NE(digest_of_wave(folder, {{1, 2, 3, 4}}, 2), usual);
  EXPECT_NE(digest_of_wave(folder, {{1, 2, 3, 4}}, 1, 1), usual);
  EXPECT_NE(digest_of_wave(folder, {{1, 2}, {3, 4}}), usual);
  EXPECT_NE(digest_of_wave(folder, {{1, 2, 3, 4, 0}}), usual);
  EXPECT_NE(digest_of_wave(folder, {{0.0f, 2, 3, 4}}), digest_of_wave(folder, {{-0.0f, 2, 3, 4}}));
}

TEST(ValueDigest, IsTheSameForEveryNan) {
  const temporary_folder folder;
  const auto other = std::bit_cast<float>(0xff812345u);
  EXPECT_EQ(digest_of_wave(folder, {{NAN, 2}}), digest_of_wave(folder, {{other, 2}}));
}

TEST(ValueDigest, OfTheDocumentedFileIsThatOfThePage) {
  std::ifstream stream(RAVO_SOURCE_FOLDER "/docs/dataset.md");
  const std::string page{std::istreambuf_iterator<char>(stream), {}};
  const temporary_folder folder;
  const small_file example = small_file_like(layout_2010{});
  const std::string file =
      folder.write("linac_main_run1_file1_20260101T000000Z.raw", example.content.vector());
  const auto digests = dataset::open("file=" + file + " chan=LINAC/BPM1").value_digests();
  EXPECT_THAT(page,
              testing::HasSubstr("$ python3 value_digest.py\n" + digests.at(0).digest.to_text() + "\n"));
}

TEST(ValueDigest, OfPartsTravelsAsTextAndAddsUp) {
  generator random(3);
  const temporary_folder folder;
  const dataset data = dataset::open(of_files(write_kinds<layout_2010>(folder, random)));
  for (const named_value_digest& whole : data.value_digests()) {
    SCOPED_TRACE(whole.channel);
    value_digest sum;
    for (event_range events = data.events(); const event& one : events) {
      value_digest part;
      part.add(one.id(), one[whole.channel]);
      const auto read = value_digest::from_text(part.to_text(), part.values());
      ASSERT_TRUE(read);
      EXPECT_EQ(*read, part);
      sum.add(*read);
    }
    EXPECT_EQ(sum, whole.digest);
    EXPECT_EQ(value_digest::from_text(whole.digest.to_text(), whole.digest.values()), whole.digest);
  }
  EXPECT_FALSE(value_digest::from_text("cf6e724e94d392c84514b8931cee320", 2));
  EXPECT_FALSE(value_digest::from_text("cf6e724e94d392c84514b8931cee320x", 2));
}

}  // namespace
