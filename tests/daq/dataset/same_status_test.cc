// One rule for the status of a block: read with its event or in a column, a value has the same status,
// whatever its payload says of itself. Payloads of every shape, sound and odd, plain and compressed, whole
// and by member; and frames that are not pictures.
#include <gtest/gtest.h>

#include <random>

#include "ravo_data_types.h"
#include "written_files.h"

namespace {

using namespace ravo;
using namespace ravo::test;

class payloads {
 public:
  explicit payloads(unsigned seed) : random_(seed) {}

  /// Words and texts that a payload of a shape may begin with: mostly as they should be, now and then not.
  bytes make(const data_type& type) {
    bytes made;
    switch (type.shape) {
      case payload_shape::spectrum: {
        const int members = type.code == RAVO_BLOCK_GENERIC_SPECT ? odd(2) : odd(type.members);
        const int samples = odd(3), groups = odd(1);
        made.i32(members).i32(samples).i32(groups).f32(0).f32(1).f32(0).i32(chance(8) ? 8 : 0);
        fill(made, sizeof(ravo_spect_head_2010));
        return floats(made, std::int64_t{members} * samples % 1000 * groups);
      }
      case payload_shape::spectrum_older: {
        const int members = odd(type.members), samples = odd(3);
        made.i32(members).i32(samples).f32(0).f32(1);
        fill(made, sizeof(ravo_spect_head));
        return floats(made, members * (std::int64_t{samples} + 1));
      }
      case payload_shape::roi: {
        fill(made, sizeof(ravo_roi_head));
        const int width = odd(3), height = odd(2);
        made.set_i32(offsetof(ravo_roi_head, width), width);
        made.set_i32(offsetof(ravo_roi_head, height), height);
        return floats(made, std::int64_t{width} + height);
      }
      case payload_shape::image:
        return image(made, sizeof(ravo_image_frame_head), offsetof(ravo_image_frame_head, length),
                     offsetof(ravo_image_frame_head, w), offsetof(ravo_image_frame_head, h),
                     offsetof(ravo_image_frame_head, bpp), offsetof(ravo_image_frame_head, compr));
      case payload_shape::image_ext:
        return image(made, sizeof(ravo_image_ext_frame_head), offsetof(ravo_image_ext_frame_head, length),
                     offsetof(ravo_image_ext_frame_head, aoi_width),
                     offsetof(ravo_image_ext_frame_head, aoi_height),
                     offsetof(ravo_image_ext_frame_head, bpp), 0);
      case payload_shape::name_value: {
        const int records = odd(2);
        fill(made, sizeof(ravo_name_value_block));
        made.set_i32(offsetof(ravo_name_value_block, ndata), records);
        for (int i = 0; i < records && i < 4; ++i)
          fill(made, made.size() + sizeof(ravo_name_value_channel));
        if (chance(6))
          spoil_text(made, offsetof(ravo_name_value_block, comment),
                     sizeof(ravo_name_value_block::comment));
        return made;
      }
      case payload_shape::text:
        made.text("beam on", 12);
        if (chance(4)) spoil_text(made, 0, 12);
        return made;
      default:
        fill(made, sizeof(ravo_env_dictionary_entry_2010) * (1 + random_() % 2) + (chance(4) ? 4 : 0));
        return made;
    }
  }

 private:
  bool chance(unsigned one_in) { return random_() % one_in == 0; }
  int odd(int usual) {
    constexpr int others[] = {0, -1, 1, 2, 70000, 0x7fffffff};
    return chance(8) ? others[random_() % 6] : usual;
  }
  static void fill(bytes& made, std::size_t size) {
    while (made.size() < size) made.i32(0);
  }
  static void spoil_text(bytes& made, std::size_t at, std::size_t length) {
    for (std::size_t i = 0; i < length; ++i) made.data()[at + i] = 'x';
  }
  bytes floats(bytes made, std::int64_t count) {
    if (chance(8) && count < 64) ++count;
    for (std::int64_t i = 0; i < count && i < 64; ++i) made.f32(static_cast<float>(i));
    return made;
  }
  bytes image(bytes made, std::size_t head, std::size_t length_at, std::size_t width_at,
              std::size_t height_at, std::size_t bpp_at, std::size_t compressed_at) {
    fill(made, head);
    const int width = odd(3), height = odd(4), bpp = odd(static_cast<int>(1 + random_() % 4));
    const std::int64_t filling = std::int64_t{width} * height % 100000 * (bpp < 1 ? 1 : bpp % 100);
    const int length = chance(6) ? odd(5) : static_cast<int>(filling);
    made.set_i32(length_at, length);
    made.set_i32(width_at, width);
    made.set_i32(height_at, height);
    made.set_i32(bpp_at, bpp);
    if (compressed_at != 0 && chance(4)) made.set_i32(compressed_at, 1);
    for (int i = 0; i < length && i < 256; i += 4) made.i32(0x01020304);
    return made;
  }

  std::mt19937 random_;
};

template <class layout>
class SameStatus : public testing::Test {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(SameStatus, layouts);

TYPED_TEST(SameStatus, HasAValueWithItsEventAndInAColumn) {
  constexpr bool is_current = std::is_same_v<TypeParam, layout_2010>;
  payloads made(1);
  unsigned sound = 0, refused = 0;
  for (unsigned round = 0; round < 40; ++round) {
    const temporary_folder folder;
    handmade_file_of<TypeParam> file;
    file.events.push_back(event_at(1, 0));
    std::vector<std::string> channels;
    for (const data_type& type : data_types) {
      const type_generation other = is_current ? type_generation::older : type_generation::current;
      // Updates and the environment lie in files in their own way.
      if (type.shape == payload_shape::update || type.shape == payload_shape::update_older ||
          type.shape == payload_shape::environment || type.generation == other)
        continue;
      for (const std::uint32_t zip : {0u, 1u}) {
        handmade_channel channel("C" + std::to_string(channels.size() / 4));
        handmade_block block;
        block.dtype = type.code;
        block.payload = made.make(type);
        channel.blocks.push_back(zip != 0 ? zipped(block, zip) : block);
        file.channels.push_back(channel);
        for (const char* const member : {"", ":0", ":1", ":2"}) channels.push_back(channel.name + member);
      }
    }
    const dataset data = dataset::open(of_files({write(folder, "a.raw", file)}, channels));
    const auto one = data.at(1);
    ASSERT_TRUE(one);
    const std::vector<named_digest> digests = data.digest();
    for (std::size_t i = 0; i < channels.size(); ++i) {
      SCOPED_TRACE(channels[i] + " of round " + std::to_string(round));
      const value seen = (*one)[i];
      const column_data column = data.column(channels[i]);
      ASSERT_EQ(column.size(), 1u);
      ASSERT_EQ(column.status[0], seen.status());
      if (seen.has_value()) {
        ASSERT_EQ(column.layout.kind, seen.kind());
      }
      channel_digest by_event;
      by_event.add(seen);
      ASSERT_EQ(digests[i].digest, by_event);
      ++(seen.has_value() ? sound : refused);
    }
  }
  EXPECT_GT(sound, 500u);
  EXPECT_GT(refused, 500u);
}

/// A channel of camera frames, all 4 x 3 with a byte a pixel, of which some are compressed or cut off.
class Frames : public testing::Test {
 protected:
  struct frame {
    std::int32_t length;
    bool is_compressed;
  };
  dataset make(const std::vector<frame>& frames) {
    handmade_file file;
    handmade_channel camera("CAMERA");
    for (std::size_t i = 0; i < frames.size(); ++i) {
      file.events.push_back(
          event_at(static_cast<std::uint32_t>(i + 1), static_cast<std::uint32_t>(i * 100)));
      handmade_block block;
      block.event = i;
      block.dtype = RAVO_BLOCK_IMAGE;
      while (block.payload.size() < sizeof(ravo_image_frame_head)) block.payload.i32(0);
      block.payload.set_i32(offsetof(ravo_image_frame_head, length), frames[i].length);
      block.payload.set_i32(offsetof(ravo_image_frame_head, w), 4);
      block.payload.set_i32(offsetof(ravo_image_frame_head, h), 3);
      block.payload.set_i32(offsetof(ravo_image_frame_head, bpp), 1);
      block.payload.set_i32(offsetof(ravo_image_frame_head, compr), frames[i].is_compressed ? 1 : 0);
      for (int word = 0; word < 3; ++word) block.payload.i32(static_cast<std::int32_t>(0x10203040 + i));
      camera.blocks.push_back(block);
    }
    file.channels = {camera};
    return dataset::open(of_files({write(folder, "a.raw", file)}));
  }
  temporary_folder folder;
};

TEST_F(Frames, ThatAreNoPicturesAreTheBytesThatTheCameraSent) {
  const dataset data = make({{9, true}, {12, true}, {7, false}});
  const column_data column = data.column("CAMERA");
  ASSERT_TRUE(column.is_ragged());
  EXPECT_EQ(column.layout.kind, value_kind::image);
  EXPECT_EQ(column.ledger.delivered(), 3u);
  const std::size_t lengths[] = {9, 12, 7};
  std::size_t n = 0;
  for (event_range events = data.events(); const event& one : events) {
    const image_view image = one[0].image();
    EXPECT_EQ(one[0].status(), value_status::ok);
    EXPECT_FALSE(image.is_complete());
    ASSERT_EQ(image.pixels.size(), lengths[n]);
    const auto row = column.row<std::uint8_t>(n);
    EXPECT_TRUE(std::equal(row.begin(), row.end(), image.pixels.begin(), image.pixels.end()));
    EXPECT_EQ(column.shapes[n][1], 0u);
    EXPECT_EQ(column.shapes[n][2], lengths[n]);
    ++n;
  }
  EXPECT_EQ(n, 3u);
}

TEST_F(Frames, ThatAreNoPicturesAreAnotherKindAmongPictures) {
  const dataset data = make({{12, false}, {12, true}, {12, false}});
  const column_data column = data.column("CAMERA");
  using enum value_status;
  EXPECT_EQ(column.status, (std::vector<value_status>{ok, type_changed, ok}));
  EXPECT_EQ(column.layout.dimensions,
            (std::vector<dimension_size>{{column_dimension::y, 3}, {column_dimension::x, 4}}));
  EXPECT_EQ((*data.at(2))[0].status(), ok);
}

template <class Number>
void expect_pixels(const column_data& column, const std::vector<std::uint32_t>& expected) {
  const auto seen = column.row<Number>(0);
  EXPECT_EQ(std::vector<std::uint32_t>(seen.begin(), seen.end()), expected);
}

TEST_F(Frames, HaveTheirPixelsAsNumbersWhateverTheirWidth) {
  constexpr std::int32_t width = 21, height = 3;  // more than what is swapped at a time, and no multiple
  for (std::int32_t pixel_bytes = 1; pixel_bytes <= 4; ++pixel_bytes) {
    handmade_file file;
    file.events = {event_at(1, 0)};
    handmade_block block;
    block.event = 0;
    block.dtype = RAVO_BLOCK_IMAGE;
    while (block.payload.size() < sizeof(ravo_image_frame_head)) block.payload.i32(0);
    block.payload.set_i32(offsetof(ravo_image_frame_head, length), width * height * pixel_bytes);
    block.payload.set_i32(offsetof(ravo_image_frame_head, w), width);
    block.payload.set_i32(offsetof(ravo_image_frame_head, h), height);
    block.payload.set_i32(offsetof(ravo_image_frame_head, bpp), pixel_bytes);
    std::vector<std::uint32_t> expected;
    std::string sent;
    for (std::uint32_t i = 0; i < width * height; ++i) {
      const std::uint32_t number = i * 0x9e3779b1u >> (32 - 8 * pixel_bytes);
      expected.push_back(number);
      for (std::int32_t byte = pixel_bytes; byte-- > 0;)
        sent.push_back(static_cast<char>(number >> 8 * byte));
    }
    block.payload.text(sent, (sent.size() + 3) / 4 * 4);
    handmade_channel camera("CAMERA");
    camera.blocks = {block};
    file.channels = {camera};
    const dataset data = dataset::open(of_files({write(folder, "a.raw", file)}));
    const column_data column = data.column("CAMERA");
    ASSERT_EQ(column.layout.dimensions,
              (std::vector<dimension_size>{{column_dimension::y, height}, {column_dimension::x, width}}));
    switch (column.layout.element) {
      case element_type::uint8:
        EXPECT_EQ(pixel_bytes, 1);
        expect_pixels<std::uint8_t>(column, expected);
        break;
      case element_type::uint16:
        EXPECT_EQ(pixel_bytes, 2);
        expect_pixels<std::uint16_t>(column, expected);
        break;
      default:
        EXPECT_GT(pixel_bytes, 2);
        expect_pixels<std::uint32_t>(column, expected);
    }
  }
}

TEST(Axes, ThatChangeAreThoseOfEachRow) {
  const temporary_folder folder;
  handmade_file file;
  handmade_channel wave("WAVE"), same("SAME");
  for (std::uint32_t i = 0; i < 6; ++i) {
    file.events.push_back(event_at(i + 1, i * 100));
    handmade_block block;
    block.event = i;
    block.payload = spectrum({{1, 2, 3}}, i < 3 ? 0.5f : 10.0f, i == 5 ? 4.0f : 2.0f);
    wave.blocks.push_back(block);
    block.payload = spectrum({{1, 2, 3}}, 0.5f, 2.0f);
    same.blocks.push_back(block);
  }
  file.channels = {wave, same};
  const dataset data = dataset::open(of_files({write(folder, "a.raw", file)}));
  EXPECT_TRUE(data.column("SAME").axes.empty());
  const column_data column = data.column("WAVE");
  EXPECT_EQ(column.start, 0.5f);
  ASSERT_EQ(column.axes.size(), 6u);
  std::size_t row = 0;
  for (event_range events = data.events(); const event& one : events) {
    EXPECT_EQ(column.axes[row].start, one["WAVE"].spectrum().start);
    EXPECT_EQ(column.axes[row].increment, one["WAVE"].spectrum().increment);
    ++row;
  }
  EXPECT_EQ(column.axes[5].increment, 4.0f);
}

}  // namespace
