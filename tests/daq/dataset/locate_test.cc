// Where blocks lie: what the library says of a place is read there by hand, without the library, and has to
// be the data that were put in.
#include <gtest/gtest.h>
#include <lzo/lzo1x.h>
#include <zlib.h>

#include <bit>
#include <filesystem>
#include <fstream>

#include "damaged_file.h"
#include "slow_sets.h"

namespace {

using namespace ravo;
using namespace ravo::test;

std::vector<unsigned char> read_at(const std::string& path, std::uint64_t offset, std::uint64_t size) {
  std::ifstream file(path, std::ios::binary);
  std::vector<unsigned char> bytes(size);
  file.seekg(static_cast<std::streamoff>(offset));
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
  EXPECT_EQ(file.gcount(), static_cast<std::streamsize>(size));
  return bytes;
}

/// The data of a block, in file order; empty if they cannot be inflated.
std::vector<unsigned char> decoded_by_hand(const block_place& place) {
  const std::vector<unsigned char> stored = read_at(place.path, place.data_offset, place.stored_bytes);
  std::vector<unsigned char> decoded(place.decoded_bytes);
  switch (place.compression) {
    case block_compression::none:
      return stored;
    case block_compression::zlib: {
      uLongf size = decoded.size();
      if (uncompress(decoded.data(), &size, stored.data(), stored.size()) != Z_OK) return {};
      EXPECT_EQ(size, decoded.size());
      return decoded;
    }
    case block_compression::lzo1x: {
      lzo_uint size = decoded.size();
      if (lzo1x_decompress_safe(stored.data(), stored.size(), decoded.data(), &size, nullptr) != LZO_E_OK)
        return {};
      EXPECT_EQ(size, decoded.size());
      return decoded;
    }
    case block_compression::unknown:
      break;
  }
  return {};
}

std::string name_at(const block_place& place) {
  const std::vector<unsigned char> name = read_at(place.path, place.offset, 16);
  return reinterpret_cast<const char*>(name.data());
}

template <class layout>
class Place : public testing::Test {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Place, layouts);

TYPED_TEST(Place, HasTheDataThatWerePutIn) {
  std::size_t decoded = 0, damaged = 0;
  for (unsigned seed = 1; seed <= sets_to_try(60); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed);
    const temporary_folder folder;
    const generated all = random.make<TypeParam>(folder, true, random.chance(2) ? harms::all : harms::no);
    selection wanted = of_files(all.files, all.channels);
    wanted.step = 1 + random.below(2);
    const dataset data = dataset::open(wanted);
    for (std::size_t channel = 0; channel < all.channels.size(); ++channel) {
      const channel_index index = data.index({all.channels[channel]}).channels.front();
      for (std::size_t row = 0; row < index.size(); ++row) {
        const auto place = data.locate(all.channels[channel], row);
        ASSERT_TRUE(place);
        ASSERT_EQ(place->recorded_with.event_number, index.numbers()[row]);
        ASSERT_EQ(place->status, index.status[row]);
        ASSERT_EQ(place->generation, generation_of<TypeParam>);
        const put_in* const put = all.at(channel, milliseconds(place->recorded_with.time));
        ASSERT_NE(put, nullptr);
        if (put->done != harm::name) {
          ASSERT_EQ(name_at(*place), all.channels[channel]);
        }
        if (put->done == harm::server_pointer) {
          ASSERT_EQ(place->stored_bytes, 0u);
          continue;
        }
        ASSERT_EQ(place->data_type, TypeParam::single_type);
        ASSERT_EQ(place->compression == block_compression::unknown, put->done == harm::unknown_compressor);
        const std::vector<unsigned char> bytes = decoded_by_hand(*place);
        if (status_of(put->done) != value_status::ok) {
          ASSERT_TRUE(bytes.empty());
          ++damaged;
          continue;
        }
        ASSERT_EQ(bytes, scalar<TypeParam>(0, put->content).payload.vector());
        ++decoded;
      }
      EXPECT_THROW(data.locate(all.channels[channel], index.size()), access_error);
    }
  }
  EXPECT_GT(decoded, 500u);
  EXPECT_GT(damaged, 5u);
}

bool is_same_place(const std::optional<block_place>& a, const std::optional<block_place>& b) {
  if (!a || !b) return a.has_value() == b.has_value();
  return a->status == b->status && a->path == b->path && a->offset == b->offset &&
         a->data_offset == b->data_offset && a->stored_bytes == b->stored_bytes &&
         a->decoded_bytes == b->decoded_bytes && a->compression == b->compression &&
         a->recorded_with.event_number == b->recorded_with.event_number;
}

// Where the places themselves are tested, above and below, they are found one by one.
TYPED_TEST(Place, OfAListOfRowsIsThatOfEachRow) {
  std::size_t found = 0;
  for (unsigned seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed);
    const temporary_folder folder;
    const slow_set all = make_slow_set<TypeParam>(folder, random, harms::all);
    selection wanted = of_files(all.files, {"FAST", "SLOW"});
    wanted.slow = static_cast<slow_policy>(random.below(3));
    wanted.step = 1 + random.below(2);
    const dataset data = dataset::open(wanted);
    for (const std::string channel : {"FAST", "SLOW"})
      for (const column_rows kind : {column_rows::recorded, column_rows::events}) {
        index_options options;
        options.rows = kind;
        const std::size_t count = data.index({channel}, options).channels.front().size();
        std::vector<std::uint64_t> rows;
        for (std::size_t i = 0; i < 2 * count; ++i)
          rows.push_back(random.below(static_cast<unsigned>(count)));
        const auto places = data.locate(channel, rows, kind);
        ASSERT_EQ(places.size(), rows.size());
        for (std::size_t i = 0; i < rows.size(); ++i) {
          ASSERT_TRUE(is_same_place(places[i], data.locate(channel, rows[i], kind))) << rows[i];
          found += places[i].has_value();
        }
        rows.push_back(count);
        EXPECT_THROW(data.locate(channel, rows, kind), access_error);
      }
    EXPECT_TRUE(data.locate("FAST", std::vector<std::uint64_t>{}).empty());
  }
  EXPECT_GT(found, 1000u);
}

TYPED_TEST(Place, OfAListIsNotFoundAfterAStop) {
  const temporary_folder folder;
  handmade_file_of<TypeParam> file;
  file.events = {event_at(1, 0)};
  file.channels = {numbers_at<TypeParam>("A", {{0, 1.0f}})};
  const dataset data = dataset::open(of_files({write(folder, "a.raw", file)}));
  std::stop_source source;
  source.request_stop();
  EXPECT_THROW(data.locate("A", std::vector<std::uint64_t>{0}, column_rows::recorded, source.get_token()),
               read_cancelled);
  EXPECT_TRUE(data.locate("A", std::vector<std::uint64_t>{0}).front());
}

TYPED_TEST(Place, IsFoundForPlainBlocksOfAnyLength) {
  const temporary_folder folder;
  handmade_file_of<TypeParam> file;
  handmade_channel wave("WAVE");
  for (std::uint32_t i = 0; i < 3; ++i) {
    file.events.push_back(event_at(i + 1, i * 100));
    handmade_block block;
    block.event = i;
    block.dtype = TypeParam::single_type;
    block.payload = spectrum<TypeParam>({std::vector<float>(1 + i * 4000, 2.5f)});
    wave.blocks.push_back(i == 2 ? zipped(block, RAVO_ZIP_LZO1X) : block);
  }
  file.channels = {wave};
  const dataset data = dataset::open(of_files({write(folder, "a.raw", file)}));
  for (std::size_t row = 0; row < 3; ++row) {
    const auto place = data.locate("WAVE", row);
    ASSERT_TRUE(place);
    EXPECT_EQ(place->compression, row == 2 ? block_compression::lzo1x : block_compression::none);
    EXPECT_EQ(place->decoded_bytes, file.channels[0].blocks[row].payload.size());
  }
  handmade_block& plain = file.channels[0].blocks[1];
  EXPECT_EQ(decoded_by_hand(*data.locate("WAVE", 1)), plain.payload.vector());
}

TYPED_TEST(Place, OfAHeldValueIsThatOfItsOwnEvent) {
  std::size_t held = 0;
  for (unsigned seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed);
    const temporary_folder folder;
    const slow_set all = make_slow_set<TypeParam>(folder, random, harms::all);
    selection wanted = of_files(all.files, {"FAST", "SLOW"});
    wanted.slow = slow_policy::hold;
    const dataset data = dataset::open(wanted);
    index_options options;
    options.rows = column_rows::events;
    const channel_index index = data.index({"SLOW"}, options).channels.front();
    for (std::size_t row = 0; row < index.size(); ++row) {
      const auto place = data.locate("SLOW", row, column_rows::events);
      ASSERT_EQ(place.has_value(), index.status[row] != index_status::not_recorded);
      if (!place) continue;
      ASSERT_EQ(place->status, index.status[row]);
      if (place->status != index_status::held) continue;
      ASSERT_EQ(microseconds_of(place->recorded_with.time), index.times_us()[row] - index.ages[row]);
      const update_view update = data.at(index.numbers()[row])->operator[]("SLOW").update();
      const std::vector<unsigned char> bytes = decoded_by_hand(*place);
      ASSERT_GE(bytes.size(), 4u);
      const unsigned char* const last = bytes.data() + bytes.size() - 4;
      const std::uint32_t word = static_cast<std::uint32_t>(last[0]) << 24 |
                                 static_cast<std::uint32_t>(last[1]) << 16 |
                                 static_cast<std::uint32_t>(last[2]) << 8 | last[3];
      ASSERT_EQ(std::bit_cast<float>(word), update.value);
      ++held;
    }
  }
  EXPECT_GT(held, 20u);
}

template <class layout>
class PlaceOfDamage : public damaged_file<layout> {};
TYPED_TEST_SUITE(PlaceOfDamage, layouts);

TYPED_TEST(PlaceOfDamage, IsNotGivenForABlockThatRunsOutOfItsBasket) {
  handmade_block& last = this->file.channels[1].blocks.back();
  last.zipp_length = 1u << 20;
  const dataset data = dataset::open(of_files({write(this->folder, "a.raw", this->file)}));
  const auto place = data.locate("BAD", 5);
  ASSERT_TRUE(place);
  EXPECT_EQ(place->status, index_status::truncated);
  EXPECT_EQ(place->data_offset, 0u);
  EXPECT_EQ(data.column("BAD").status[5], value_status::truncated);
}

TYPED_TEST(PlaceOfDamage, IsNotGivenForABlockOfAnotherChannel) {
  bytes built = this->file.build();
  this->rename(built, this->places_of_blocks(built)[this->damaged], "GOOD");
  const dataset data =
      dataset::open(of_files({this->folder.write("a.raw", built.vector())}, {"GOOD", "BAD"}));
  EXPECT_EQ(data.locate("BAD", this->damaged)->status, index_status::misdirected);
  EXPECT_EQ(data.column("BAD").status[this->damaged], value_status::misdirected);
}

// A column finds no block of a file that is gone, whatever the tables said of it.
TYPED_TEST(PlaceOfDamage, IsNotGivenForAFileThatIsGone) {
  bytes built = this->file.build();
  built.set_u32(this->at_pointer(TestFixture::pointer::server_block),
                static_cast<std::uint32_t>(this->file.at.at("GOOD")));
  const std::string path = this->folder.write("a.raw", built.vector());
  handmade_file_of<TypeParam> later;
  later.events = {event_at(2000, 60'000)};
  later.channels = {numbers_at<TypeParam>("BAD", {{0, 1.0f}})};
  dataset_options options;
  options.open_files = 1;
  options.threads = 1;  // so that the second file is the one that stays open
  const dataset data =
      dataset::open(of_files({path, write(this->folder, "b.raw", later)}, {"BAD"}), options);
  EXPECT_EQ(data.index().of("BAD").status[this->damaged], index_status::truncated);
  EXPECT_EQ(data.locate("BAD", this->damaged)->status, index_status::truncated);
  EXPECT_EQ(data.locate("BAD", 6)->status, index_status::recorded);
  std::filesystem::remove(path);
  std::vector<value_status> expected(6, value_status::file_missing);
  expected.push_back(value_status::ok);
  EXPECT_EQ(data.column("BAD").status, expected);
  std::vector<index_status> of_index(6, index_status::file_missing);
  of_index.push_back(index_status::recorded);
  EXPECT_EQ(data.index().of("BAD").status, of_index);
  for (std::size_t row = 0; row < of_index.size(); ++row) {
    const auto place = data.locate("BAD", row);
    ASSERT_TRUE(place);
    EXPECT_EQ(place->status, of_index[row]) << row;
  }
}

TEST(PlaceOfMember, IsThatOfTheBlock) {
  const temporary_folder folder;
  handmade_file file;
  file.events = {event_at(1, 0)};
  handmade_block block;
  block.dtype = RAVO_BLOCK_BPM_2010;
  block.payload = spectrum({{1, 2}, {3, 4}, {5, 6}});
  handmade_channel bpm("BPM");
  bpm.blocks = {block};
  file.channels = {bpm};
  const dataset data = dataset::open(of_files({write(folder, "a.raw", file)}, {"BPM:CHARGE", "BPM"}));
  // By name as by number.
  ASSERT_TRUE(data.find_channel("BPM:CHARGE"));
  EXPECT_EQ(data.channels()[*data.find_channel("BPM:CHARGE")].label, "BPM:2");
  EXPECT_EQ(data.column("BPM:CHARGE").row<float>(0)[1], 6.0f);
  EXPECT_EQ(data.describe("BPM:CHARGE").members.front().name, "CHARGE");
  EXPECT_EQ(data.index({"BPM:CHARGE"}).channels.front().channel, "BPM:2");
  EXPECT_EQ(data.locate("BPM:CHARGE", 0)->data_offset, data.locate("BPM:2", 0)->data_offset);
}

}  // namespace
