// What a column says about its rows: dimensions by name, elements by type, and that asking for what does
// not exist is an error that says both what exists and what was asked for. Pixels that are not numbers stay
// bytes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "member_payloads.h"

namespace {

using namespace ravo;
using namespace ravo::test;
using enum column_dimension;
using dimensions = std::vector<dimension_size>;

/// A file with one channel, C, and a block at each of its events.
class ColumnOf : public testing::Test {
 protected:
  dataset open(const std::vector<handmade_block>& blocks, const std::vector<std::string>& channels = {}) {
    handmade_file file;
    handmade_channel channel("C");
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      file.events.push_back(
          event_at(static_cast<std::uint32_t>(i + 1), static_cast<std::uint32_t>(i * 100)));
      channel.blocks.push_back(blocks[i]);
      channel.blocks.back().event = i;
    }
    file.channels = {channel};
    return dataset::open(of_files({write(folder, "a.raw", file)}, channels));
  }
  static handmade_block spectrum_of(int members, int groups, int samples) {
    handmade_block block;
    block.dtype = RAVO_BLOCK_GENERIC_SPECT;
    block.payload.i32(members).i32(samples).i32(groups).f32(0).f32(1).f32(0).u32(0).i32(0);
    for (int i = 0; i < members * groups * samples; ++i) block.payload.f32(static_cast<float>(i));
    return block;
  }
  static handmade_block region(int x_start, int y_start, int width, int height) {
    handmade_block block;
    block.dtype = RAVO_BLOCK_IMG_ROI1;
    block.payload.i32(x_start).i32(y_start).i32(width).i32(height);
    for (int i = 0; i < width + height; ++i) block.payload.f32(static_cast<float>(i));
    return block;
  }
  static handmade_block frame(std::uint32_t width, std::uint32_t height, std::uint32_t pixel_bytes) {
    handmade_block block;
    block.dtype = RAVO_BLOCK_IMAGE;
    const std::uint32_t size = width * height * pixel_bytes;
    block.payload.u32(width).u32(height).u32(pixel_bytes).i32(0).u32(0).u32(0).u32(size);
    for (std::uint32_t i = 0; i < size; ++i) block.payload.fill(1, static_cast<unsigned char>(i + 1));
    return block;
  }
  static handmade_block extended_frame(std::int32_t width, std::int32_t height, std::int32_t pixel_bytes) {
    handmade_block block;
    block.dtype = RAVO_BLOCK_IMAGE_EXT;
    const std::int32_t size = width * height * pixel_bytes;
    block.payload.fill(8).i32(width).i32(height).fill(8).i32(pixel_bytes).fill(68).i32(size);
    for (std::int32_t i = 0; i < size; ++i) block.payload.fill(1, static_cast<unsigned char>(i + 1));
    return block;
  }
  temporary_folder folder;
};

TEST_F(ColumnOf, SpectraSaysWhichDimensionIsWhich) {
  for (const int members : {1, 2})
    for (const int groups : {1, 3})
      for (const int samples : {1, 4}) {
        dimensions expected;
        if (members > 1) expected.push_back({member, 2});
        if (groups > 1) expected.push_back({group, 3});
        if (samples > 1) expected.push_back({sample, 4});
        const dataset data = open({spectrum_of(members, groups, samples)});
        const column_data column = data.column("C");
        EXPECT_EQ(column.layout.dimensions, expected) << members << groups << samples;
        EXPECT_EQ(column.dimensions_of_row(0), expected);
        EXPECT_EQ(data.layout("C").dimensions, expected);
      }
}

TEST_F(ColumnOf, OneMemberHasItsGroupsAndNoMembers) {
  const dataset data = open({spectrum_of(2, 3, 4)}, {"C:1"});
  const column_data column = data.column("C:1");
  EXPECT_EQ(column.layout.dimensions, (dimensions{{group, 3}, {sample, 4}}));
  EXPECT_EQ(column.row<float>(0)[0], 12.0f);
}

TEST_F(ColumnOf, SpectraOfDifferentShapesSaysThatOfEachRow) {
  const column_data column =
      open({spectrum_of(2, 1, 4), spectrum_of(1, 3, 4), spectrum_of(1, 1, 1)}).column("C");
  ASSERT_TRUE(column.is_ragged());
  EXPECT_EQ(column.dimensions_of_row(0), (dimensions{{member, 2}, {sample, 4}}));
  EXPECT_EQ(column.dimensions_of_row(1), (dimensions{{group, 3}, {sample, 4}}));
  EXPECT_EQ(column.dimensions_of_row(2), dimensions{});
  EXPECT_EQ(column.shape_of_row(1), (row_shape{1, 3, 4}));
}

TEST_F(ColumnOf, RegionsHasBothProfilesAndSaysWhereTheSecondOneBegins) {
  const column_data column = open({region(10, 20, 3, 2)}).column("C");
  EXPECT_EQ(column.layout.dimensions, (dimensions{{profile, 5}}));
  EXPECT_EQ(column.layout.shape, (row_shape{2, 3, 2}));
  EXPECT_EQ(column.start, 10.0f);
  EXPECT_EQ(column.y_start, 20.0f);
}

TEST_F(ColumnOf, RegionsOfEqualSumAndDifferentProfilesIsRagged) {
  const column_data column = open({region(10, 20, 3, 2), region(10, 20, 2, 3)}).column("C");
  ASSERT_TRUE(column.is_ragged());
  EXPECT_EQ(column.shape_of_row(0), (row_shape{2, 3, 2}));
  EXPECT_EQ(column.shape_of_row(1), (row_shape{2, 2, 3}));
}

TEST_F(ColumnOf, RegionsThatMoveAlongYHasTheAxisOfEachRow) {
  const column_data column = open({region(10, 20, 3, 2), region(10, 21, 3, 2)}).column("C");
  ASSERT_EQ(column.axes.size(), 2u);
  EXPECT_EQ(column.axes[1].start, 10.0f);
  EXPECT_EQ(column.axes[1].y_start, 21.0f);
}

TEST_F(ColumnOf, ARegionsMemberBeginsAtItsOwnFirstPixel) {
  const dataset data = open({region(10, 20, 3, 2)}, {"C", "C:0", "C:1"});
  const auto one = data.at(1);
  const spectrum_view whole = (*one)["C"].spectrum();
  EXPECT_EQ(whole.start, 10.0f);
  EXPECT_EQ(whole.y_start, 20.0f);
  EXPECT_EQ((*one)["C:0"].spectrum().start, 10.0f);
  EXPECT_EQ((*one)["C:1"].spectrum().start, 20.0f);
  EXPECT_EQ(data.column("C:0").start, 10.0f);
  EXPECT_EQ(data.column("C:1").start, 20.0f);
}

TEST_F(ColumnOf, PicturesHasYBeforeX) {
  EXPECT_EQ(open({frame(4, 3, 1)}).column("C").layout.dimensions, (dimensions{{y, 3}, {x, 4}}));
  EXPECT_EQ(open({frame(1, 1, 1)}).column("C").layout.dimensions, (dimensions{{y, 1}, {x, 1}}));
}

TEST_F(ColumnOf, TextsHasTheBytesOfEachRow) {
  handmade_block text;
  text.dtype = RAVO_BLOCK_NAME_VALUE_STRING;
  text.payload.text("beam", 8);
  const column_data column = open({text}).column("C");
  EXPECT_EQ(column.layout.dimensions, dimensions{});
  EXPECT_EQ(column.dimensions_of_row(0), (dimensions{{byte, 4}}));
}

/// A picture consists of numbers: pixels that no number here can hold are the bytes that the camera sent.
TEST_F(ColumnOf, PicturesHasPixelsOfMoreThanFourBytesAsBytes) {
  for (std::uint32_t pixel_bytes = 1; pixel_bytes <= 15; ++pixel_bytes) {
    SCOPED_TRACE(pixel_bytes);
    const auto signed_bytes = static_cast<std::int32_t>(pixel_bytes);
    for (const handmade_block& block : {frame(2, 1, pixel_bytes), extended_frame(2, 1, signed_bytes)}) {
      const dataset data = open({block});
      const column_data column = data.column("C");
      const auto event = data.at(1);  // the pixels are its own
      ASSERT_TRUE(event);
      const image_view image = (*event)[0].image();
      EXPECT_EQ(column.status[0], value_status::ok);
      EXPECT_EQ(image.bytes_per_pixel, pixel_bytes);
      ASSERT_EQ(image.pixels.size(), 2 * pixel_bytes);
      EXPECT_EQ(image.is_complete(), pixel_bytes <= 4);
      if (pixel_bytes <= 4) {
        std::uint32_t second = 0;
        for (std::uint32_t i = 0; i < pixel_bytes; ++i) second = second << 8 | (pixel_bytes + i + 1);
        EXPECT_EQ(image.pixel(1, 0), second);
        EXPECT_EQ(column.layout.dimensions, (dimensions{{y, 1}, {x, 2}}));
      } else {
        EXPECT_THROW(image.pixel(1, 0), access_error);
        EXPECT_EQ(column.layout.dimensions, (dimensions{{byte, 2 * pixel_bytes}}));
        const auto row = column.row<std::uint8_t>(0);
        EXPECT_TRUE(std::equal(row.begin(), row.end(), image.pixels.begin(), image.pixels.end()));
      }
    }
  }
}

template <class Call>
std::string message_of(Call call) {
  try {
    call();
  } catch (const access_error& error) {
    return error.what();
  }
  return "nothing was thrown";
}

TEST_F(ColumnOf, OneTypeRefusesToBeReadAsAnother) {
  const column_data column = open({frame(2, 2, 2)}).column("C");
  EXPECT_EQ(column.values<std::uint16_t>().size(), 4u);
  EXPECT_EQ(message_of([&] { column.values<float>(); }),
            "The column C holds values of type uint16, and float32 was asked for");
  EXPECT_EQ(message_of([&] { column.row<std::uint8_t>(0); }),
            "The column C holds values of type uint16, and uint8 was asked for");
}

TEST_F(ColumnOf, SomeRowsRefusesARowThatItLacks) {
  const column_data column = open({frame(2, 2, 2)}).column("C");
  EXPECT_EQ(message_of([&] { column.row<std::uint16_t>(1); }),
            "The column C has 1 rows, counted from 0, and row 1 was asked for");
  EXPECT_EQ(message_of([&] { column.dimensions_of_row(7); }),
            "The column C has 1 rows, counted from 0, and row 7 was asked for");
}

TEST_F(ColumnOf, NoReadableBlockIsNanAsFloatAndEmptyAsAnythingElse) {
  handmade_block damaged = frame(2, 2, 2);
  damaged.payload.resize(8);
  const column_data column = open({damaged}).column("C");
  ASSERT_EQ(column.status[0], value_status::cannot_convert);
  ASSERT_EQ(column.row<float>(0).size(), 1u);
  EXPECT_TRUE(std::isnan(column.row<float>(0)[0]));
  EXPECT_TRUE(column.row<std::uint16_t>(0).empty());
}

TEST_F(ColumnOf, APictureSaysWhereOnTheSensorItLies) {
  handmade_block plain;
  plain.dtype = RAVO_BLOCK_IMAGE;
  plain.payload.u32(7u << 16 | 2)
      .u32(5u << 16 | 1)
      .u32(3u << 18 | 4u << 4 | 1)
      .i32(0)
      .u32(99)
      .u32(0)
      .i32(2);
  plain.payload.fill(2, 1);
  handmade_block extended;
  extended.dtype = RAVO_BLOCK_IMAGE_EXT;
  extended.payload.i32(640).i32(480).i32(2).i32(1).i32(7).i32(5).i32(1).i32(12).i32(3).i32(4);
  extended.payload.fill(8).u32(99).fill(44).i32(2).fill(2, 1);
  for (const handmade_block& block : {plain, extended}) {
    const dataset data = open({block});
    const auto event = data.at(1);
    ASSERT_TRUE(event);
    const image_view image = (*event)[0].image();
    ASSERT_TRUE(image.is_complete());
    EXPECT_EQ(image.number, 99u);
    EXPECT_EQ(image.x_start, 7);
    EXPECT_EQ(image.y_start, 5);
    EXPECT_EQ(image.x_increment, 3);
    EXPECT_EQ(image.y_increment, 4);
    EXPECT_EQ(image.effective_bits, image.ext_frame != nullptr ? 12 : 0);
  }
}

TEST_F(ColumnOf, APictureRefusesAPixelOutsideIt) {
  const dataset data = open({frame(3, 2, 1)});
  const event one = *data.at(1);
  EXPECT_EQ(message_of([&] { one[0].image().pixel(0, 2); }),
            "The frame has 3 x 2 pixels, and that at x = 0, y = 2 was asked for");
}

TEST_F(ColumnOf, AnEventRefusesAChannelThatItLacks) {
  const dataset data = open({frame(3, 2, 1)});
  const event one = *data.at(1);
  EXPECT_EQ(message_of([&] { one[99]; }),
            "The event has 1 channels, counted from 0, and channel 99 was asked for");
}

}  // namespace
