// Camera frames through the cursor: parameters, pixels and the converted image, of good frames and of
// frames that contradict themselves.
#include <gtest/gtest.h>

#include "handmade_event.h"
#include "ravo_daq_data.h"
#include "refusals.h"

namespace ravo::test {
namespace {

struct axes : ravo_daq_getdata {
  using ravo_daq_getdata::ImageNx;
  using ravo_daq_getdata::ImageNy;
  using ravo_daq_getdata::ImageXinc;
  using ravo_daq_getdata::ImageXstart;
  using ravo_daq_getdata::ImageYinc;
  using ravo_daq_getdata::ImageYstart;
};

ravo_image_ext_frame_head extended(int nx, int ny, int bpp, int length) {
  ravo_image_ext_frame_head head{};
  head.aoi_width = nx;
  head.aoi_height = ny;
  head.x_start = 10;
  head.y_start = 20;
  head.bpp = bpp;
  head.hbin = 2;
  head.vbin = 4;
  head.frame = 7;
  head.length = length;
  return head;
}

template <class generation>
struct Image : testing::Test {
  handmade_event event;
  axes cursor;

  void show(const std::string& frame, int type = RAVO_BLOCK_IMAGE) {
    event.add<generation>("CAM", type, frame, RAVO_EV_IMAGE);
    cursor.Clean();
    ASSERT_GT(cursor.SetRes(event.result()), 0);
    cursor.SetChan(cursor.GetNchan() - 1);
  }
  void show_extended(const ravo_image_ext_frame_head& head, const std::string& pixels) {
    show(bytes_of(head) + pixels, RAVO_BLOCK_IMAGE_EXT);
  }
};
TYPED_TEST_SUITE(Image, event_generations, event_generation_name);

TYPED_TEST(Image, HasTheParametersOfThePlainFrame) {
  this->show(plain_frame(5u << 16 | 3, 6u << 16 | 2, 8u << 18 | 9u << 4 | 0, "abcdef"));
  int number = 0, compression = 0, bpp = 0, length = 0;
  ASSERT_EQ(this->cursor.GetImagePar(&number, &compression, &bpp, &length), 0);
  EXPECT_EQ(number, 7);
  EXPECT_EQ(compression, 9);
  EXPECT_EQ(bpp, 1);
  EXPECT_EQ(length, 6);
  int xstart = 0, xinc = 0, nx = 0, ystart = 0, yinc = 0, ny = 0;
  ASSERT_EQ(this->cursor.GetImageSize(&xstart, &xinc, &nx, &ystart, &yinc, &ny), 6);
  EXPECT_EQ(xstart, 5);
  EXPECT_EQ(xinc, 8);
  EXPECT_EQ(nx, 3);
  EXPECT_EQ(ystart, 6);
  EXPECT_EQ(yinc, 9);
  EXPECT_EQ(ny, 2);
  EXPECT_EQ(this->cursor.GetImageHeader(), nullptr);
  EXPECT_EQ(this->cursor.GetImage(), this->cursor.GetData() + 28);
  EXPECT_EQ(this->cursor.GetImagePar(nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(this->cursor.GetImageSize(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 6);
}

TYPED_TEST(Image, HasTheParametersOfTheExtendedFrame) {
  this->show_extended(extended(3, 2, 1, 6), "abcdef");
  int number = 0, compression = 5, bpp = 0, length = 0;
  ASSERT_EQ(this->cursor.GetImagePar(&number, &compression, &bpp, &length), 0);
  EXPECT_EQ(number, 7);
  EXPECT_EQ(compression, 0);
  EXPECT_EQ(bpp, 1);
  EXPECT_EQ(length, 6);
  int xstart = 0, xinc = 0, nx = 0, ystart = 0, yinc = 0, ny = 0;
  ASSERT_EQ(this->cursor.GetImageSize(&xstart, &xinc, &nx, &ystart, &yinc, &ny), 6);
  EXPECT_EQ(xstart, 10);
  EXPECT_EQ(xinc, 2);
  EXPECT_EQ(nx, 3);
  EXPECT_EQ(ystart, 20);
  EXPECT_EQ(yinc, 4);
  EXPECT_EQ(ny, 2);
  ASSERT_NE(this->cursor.GetImageHeader(), nullptr);
  EXPECT_EQ(this->cursor.GetImageHeader()->aoi_width, 3);
  EXPECT_EQ(this->cursor.GetImage(), this->cursor.GetData() + 100);
}

TYPED_TEST(Image, IsNotToBeHadOfAnotherChannelOrOfNone) {
  int value = 0;
  EXPECT_EQ(this->cursor.GetImagePar(&value, nullptr, nullptr, nullptr), no_data);
  EXPECT_EQ(this->cursor.GetImageSize(&value, nullptr, nullptr, nullptr, nullptr, nullptr), no_data);
  EXPECT_EQ(this->cursor.GetImage(), nullptr);
  EXPECT_EQ(this->cursor.ConvertImage(), nullptr);
  this->show(two_spectra<TypeParam>(), TypeParam::spectrum_type);
  EXPECT_EQ(this->cursor.GetImagePar(&value, nullptr, nullptr, nullptr), other_kind);
  EXPECT_EQ(this->cursor.GetImageSize(&value, nullptr, nullptr, nullptr, nullptr, nullptr), other_kind);
  EXPECT_EQ(this->cursor.GetImage(), nullptr);
  EXPECT_EQ(this->cursor.GetImageHeader(), nullptr);
  EXPECT_EQ(this->cursor.ConvertImage(), nullptr);
}

TYPED_TEST(Image, ConvertsRowByRowWithoutTheIncrementsOfAPlainFrame) {
  this->show(plain_frame(5u << 16 | 3, 6u << 16 | 2, 8u << 18 | 9u << 4, std::string("\1\2\3\4\5\xff")));
  const float* const image = this->cursor.ConvertImage();
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(std::vector<float>(image, image + 6), (std::vector<float>{1, 2, 3, 4, 5, 255}));
  EXPECT_EQ(this->cursor.GetImageFloat(), image);
  EXPECT_EQ(this->cursor.ImageNx, 3);
  EXPECT_EQ(this->cursor.ImageNy, 2);
  EXPECT_EQ(this->cursor.ImageXstart, 5.0f);
  EXPECT_EQ(this->cursor.ImageYstart, 6.0f);
  EXPECT_EQ(this->cursor.ImageXinc, 0.0f);
  EXPECT_EQ(this->cursor.ImageYinc, 0.0f);
  EXPECT_EQ(this->cursor.GetImageVal(2, 1), 255.0f);
  EXPECT_EQ(this->cursor.GetImageVal(3, 0), 0.0f);
  EXPECT_EQ(this->cursor.GetImageVal(-1, 0), 0.0f);
  EXPECT_EQ(this->cursor.GetImageVal(0, 2), 0.0f);
}

TYPED_TEST(Image, ConvertsPixelsWithTheMostSignificantByteFirst) {
  this->show_extended(extended(1, 2, 2, 4), std::string("\1\2\0\3", 4));
  const float* const image = this->cursor.ConvertImage();
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image[0], 258.0f);
  EXPECT_EQ(image[1], 3.0f);
  EXPECT_EQ(this->cursor.ImageXinc, 2.0f);
  EXPECT_EQ(this->cursor.ImageYinc, 4.0f);
}

TYPED_TEST(Image, TakesTheLastFourBytesOfWiderPixels) {
  this->show_extended(extended(1, 1, 6, 6), std::string("\1\1\0\0\1\2", 6));
  const float* const image = this->cursor.ConvertImage();
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image[0], 258.0f);
}

TYPED_TEST(Image, ConvertsToNothingWhenItsLengthIsOneByteOff) {
  const said heard = listen([&] {
    this->show(plain_frame(3, 2, 1, "abcde"));
    EXPECT_EQ(this->cursor.ConvertImage(), nullptr);
    this->show(plain_frame(3, 2, 1, "abcdefg"));
    EXPECT_EQ(this->cursor.ConvertImage(), nullptr);
    this->show(plain_frame(0, 0, 1, ""));
    EXPECT_EQ(this->cursor.ConvertImage(), nullptr);
  });
  EXPECT_EQ(heard.error + heard.out, "");
}

TYPED_TEST(Image, HasNoPixelsWhereTheBlockIsShorterThanTheFrame) {
  this->show_extended(extended(3, 2, 1, 6), "abcde");
  EXPECT_EQ(this->cursor.GetImage(), nullptr);
  EXPECT_EQ(this->cursor.ConvertImage(), nullptr);
  this->show(std::string(27, 'x'));
  EXPECT_EQ(this->cursor.GetImage(), nullptr);
  EXPECT_EQ(this->cursor.GetImagePar(nullptr, nullptr, nullptr, nullptr), no_data);
  EXPECT_EQ(this->cursor.GetImageSize(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), no_data);
  this->show(std::string(99, 'x'), RAVO_BLOCK_IMAGE_EXT);
  EXPECT_EQ(this->cursor.GetImageHeader(), nullptr);
  EXPECT_EQ(this->cursor.ConvertImage(), nullptr);
}

// 65537 x 65537 is 131073 in 32 bits.
TYPED_TEST(Image, SaysWhichPixelIsBeyondAFrameWhoseSizeWraps) {
  this->show_extended(extended(65537, 65537, 1, 131073), std::string(131073, 'x'));
  const said heard = listen([&] { EXPECT_EQ(this->cursor.ConvertImage(), nullptr); });
  EXPECT_EQ(heard.error, "*** error: idx2 131074 len 131073 ix 0 iy 2 bpp 1\n");
  EXPECT_NE(this->cursor.GetImageFloat(), nullptr);
  EXPECT_EQ(this->cursor.ImageNx, 0);
}

// In 32 bits 65536 x 43691 is negative, and three times that is 65536.
TYPED_TEST(Image, SaysWhichPixelIsBeyondAnArrayWhoseSizeWraps) {
  this->show_extended(extended(65536, 43691, 3, 65536), std::string(65536, 'x'));
  const said heard = listen([&] { EXPECT_EQ(this->cursor.ConvertImage(), nullptr); });
  EXPECT_EQ(heard.error, "*** error: idx1 0 size -1431633920 ix 0 iy 0 nx 65536 ny 43691\n");
}

TYPED_TEST(Image, ReadsNothingForNegativeSizes) {
  this->show_extended(extended(-2, -3, 1, 6), "abcdef");
  const float* const image = this->cursor.ConvertImage();
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image[5], 0.0f);
  EXPECT_EQ(this->cursor.ImageNx, -2);
  EXPECT_EQ(this->cursor.GetImageVal(0, 0), 0.0f);
  this->show_extended(extended(2, 3, -1, -6), "abcdef");
  EXPECT_EQ(this->cursor.ConvertImage(), nullptr);
}

// 641 x 6700417 is 1 in 32 bits: the array has one element, the axes are still those of the good image.
TYPED_TEST(Image, ReadsNothingBeyondAnImageThatFailedAfterAGoodOne) {
  this->show(plain_frame(300, 2, 1, std::string(600, 'x')));
  ASSERT_NE(this->cursor.ConvertImage(), nullptr);
  this->event.template add<TypeParam>("BAD", RAVO_BLOCK_IMAGE_EXT,
                                      bytes_of(extended(641, 6700417, 1, 1)) + "x", RAVO_EV_IMAGE);
  ravo_daq_getdata& shown = this->cursor;
  ASSERT_EQ(shown.SetRes(this->event.result()), 2);
  ASSERT_EQ(shown.SetProp("BAD"), 4);
  listen([&] { EXPECT_EQ(shown.ConvertImage(), nullptr); });
  EXPECT_EQ(this->cursor.ImageNx, 300);
  EXPECT_EQ(shown.GetImageVal(299, 1), 0.0f);
}

TYPED_TEST(Image, KeepsEarlierArraysUntilClean) {
  this->show(plain_frame(1, 1, 1, "a"));
  const float* const first = this->cursor.ConvertImage();
  const float* const second = this->cursor.ConvertImage();
  EXPECT_NE(first, second);
  EXPECT_EQ(*first, *second);
  this->cursor.Clean();
  EXPECT_EQ(this->cursor.GetImageFloat(), nullptr);
  EXPECT_EQ(this->cursor.GetImageVal(0, 0), 0.0f);
}

TYPED_TEST(Image, TakesTheLastFourOfFifteenBytesOfAPlainPixel) {
  this->show(plain_frame(1, 1, 0xf, std::string("\1\1\1\1\1\1\1\1\1\1\1\0\0\1\2", 15)));
  int bpp = 0;
  EXPECT_EQ(this->cursor.GetImagePar(nullptr, nullptr, &bpp, nullptr), 0);
  EXPECT_EQ(bpp, 15);
  const float* const image = this->cursor.ConvertImage();
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image[0], 258.0f);
}

TYPED_TEST(Image, HasThePackedIncrementsAtTheirGreatest) {
  this->show(plain_frame(0xffff0001, 0xfffe0001, 0xffffffff, "abcdefghijklmno"));
  int xstart = 0, xinc = 0, nx = 0, ystart = 0, yinc = 0, ny = 0;
  EXPECT_EQ(this->cursor.GetImageSize(&xstart, &xinc, &nx, &ystart, &yinc, &ny), 15);
  EXPECT_EQ(xstart, 0xffff);
  EXPECT_EQ(xinc, 0x3fff);
  EXPECT_EQ(nx, 1);
  EXPECT_EQ(ystart, 0xfffe);
  EXPECT_EQ(yinc, 0x3fff);
  EXPECT_EQ(ny, 1);
}

// Two thousand million columns, none of which has a pixel: 2147483645 x -715827883 is 1 in 32 bits.
TYPED_TEST(Image, VisitsNoColumnsWithoutPixels) {
  ASSERT_EQ(2147483645u * static_cast<unsigned>(-715827883), 1u);
  this->show_extended(extended(2147483645, -715827883, 1, 1), "x");
  EXPECT_NE(this->cursor.ConvertImage(), nullptr);
  EXPECT_EQ(this->cursor.GetImageVal(0, 0), 0.0f);
}

TYPED_TEST(Image, HasItsParametersButNoPixelsWithANegativeLength) {
  this->show_extended(extended(3, 2, 1, -6), "abcdef");
  int length = 0;
  EXPECT_EQ(this->cursor.GetImagePar(nullptr, nullptr, nullptr, &length), 0);
  EXPECT_EQ(length, -6);
  EXPECT_EQ(this->cursor.ConvertImage(), nullptr);
}

}  // namespace
}  // namespace ravo::test
