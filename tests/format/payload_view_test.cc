// Payloads of every shape, written by hand in both byte orders: where their parts are, and why those whose
// counts lie are refused.
#include "format/payload_view.h"

#include <gtest/gtest.h>

#include <bit>
#include <iterator>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace {

using namespace ravo;

/// Writes words in the order that is asked for, and text as it is.
class payload_writer {
 public:
  explicit payload_writer(word_order order) : order_(order) {}

  payload_writer& u32(std::uint32_t word) {
    for (int i = 0; i < 4; ++i) {
      const int shift = order_ == word_order::file ? 24 - 8 * i : 8 * i;
      bytes_.push_back(static_cast<unsigned char>(word >> shift));
    }
    return *this;
  }
  payload_writer& i32(std::int32_t word) { return u32(static_cast<std::uint32_t>(word)); }
  payload_writer& f32(float value) { return u32(std::bit_cast<std::uint32_t>(value)); }
  payload_writer& words(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) f32(static_cast<float>(i));
    return *this;
  }
  payload_writer& text(std::string_view value, std::size_t width) {
    raw(value);
    bytes_.resize(bytes_.size() + width - value.size());
    return *this;
  }
  payload_writer& raw(std::string_view value) {
    for (const char byte : value) bytes_.push_back(static_cast<unsigned char>(byte));
    return *this;
  }
  payload_writer& spectrum_head(std::int32_t members, std::int32_t samples, std::int32_t groups,
                                std::uint32_t flags) {
    return i32(members).i32(samples).i32(groups).f32(0.5F).f32(0.25F).f32(100).u32(flags).i32(0);
  }
  payload_writer& extended_head(std::int32_t width, std::int32_t height, std::int32_t bpp,
                                std::int32_t length) {
    return i32(640)
        .i32(480)
        .i32(width)
        .i32(height)
        .i32(1)
        .i32(2)
        .i32(bpp)
        .i32(12)
        .i32(3)
        .i32(4)
        .words(2)
        .u32(7)
        .u32(1234)
        .words(10)
        .i32(length);
  }

  const std::vector<unsigned char>& bytes() const { return bytes_; }

 private:
  word_order order_;
  std::vector<unsigned char> bytes_;
};

using writing = void (*)(payload_writer&);

/// Memory of the exact size, so that a sanitizer sees a read past the end.
class exact_payload {
 public:
  exact_payload(const std::vector<unsigned char>& bytes, word_order order)
      : size_(bytes.size()), order_(order), bytes_(new unsigned char[bytes.size()]) {
    std::copy(bytes.begin(), bytes.end(), bytes_.get());
  }
  byte_view view() const { return {bytes_.get(), size_, order_}; }

 private:
  std::size_t size_;
  word_order order_;
  std::unique_ptr<unsigned char[]> bytes_;
};

exact_payload written(writing write, word_order order) {
  payload_writer to(order);
  write(to);
  return {to.bytes(), order};
}

const data_type& type_of(int dtype) { return *find_data_type(dtype); }

std::string described(const payload_parts& parts) {
  std::ostringstream text;
  const auto axis = [&](const payload_axis& of) {
    text << " axis " << of.start << " " << of.increment << " " << of.groups_increment;
  };
  std::visit(
      overloaded{[&](const spectrum_parts& of) {
                   text << (of.generation == type_generation::older ? "older spectrum" : "spectrum")
                        << " head " << of.head_size << " members " << of.members << " samples "
                        << of.samples << " groups " << of.groups << " means " << of.means << " statistics "
                        << of.statistics << " values " << of.values;
                   axis(of.axis);
                 },
                 [&](const roi_parts& of) {
                   text << "roi " << of.width << " x " << of.height << " at " << of.x_start << " "
                        << of.y_start << " values " << of.values;
                 },
                 [&](const image_parts& of) {
                   text << (of.is_extended ? "extended image " : "image ") << of.width << " x " << of.height
                        << " bytes " << of.bytes_per_pixel() << " frame " << of.frame << " event "
                        << of.event << " from " << of.x_start << " " << of.y_start << " by "
                        << of.x_increment << " " << of.y_increment << " bits " << of.effective_bits
                        << " pixels " << of.pixels << " length " << of.length
                        << (of.is_compressed() ? " compressed" : "") << (of.is_picture() ? " picture" : "");
                 },
                 [&](const name_value_parts& of) {
                   text << "list " << of.id << " of " << of.count << " comment " << of.comment << " names";
                   for (std::size_t i = 0; i < of.count; ++i)
                     text << " " << of.name(i) << " " << of.value(i);
                 },
                 [&](const update_parts& of) {
                   text << "update name " << of.name_size << " status " << of.status << " time " << of.time
                        << " value " << of.value << " of " << of.size;
                 },
                 [&](const text_part& of) { text << "text of " << of.length; },
                 [&](const records_part& of) { text << of.count << " records of " << of.record_size; }},
      parts);
  return text.str();
}

std::string name_of(word_order order) { return order == word_order::file ? "FileOrder" : "HostOrder"; }

template <class Case>
std::string name_of_case(const testing::TestParamInfo<std::tuple<Case, word_order>>& info) {
  return std::get<0>(info.param).name + name_of(std::get<1>(info.param));
}

const auto both_orders = testing::Values(word_order::file, word_order::host);

// ---- good payloads

struct good_payload {
  std::string name;
  int dtype;
  writing write;
  std::string parts;
};

const good_payload good_payloads[] = {
    {"Scalar", RAVO_BLOCK_1CHAN_2010, [](payload_writer& to) { to.spectrum_head(1, 1, 1, 0).f32(1); },
     "spectrum head 32 members 1 samples 1 groups 1 means 0 statistics 0 values 32 axis 0.5 0.25 100"},
    {"SpectrumOfThreeMembers", RAVO_BLOCK_BPM_2010,
     [](payload_writer& to) { to.spectrum_head(3, 2, 4, 0).words(24); },
     "spectrum head 32 members 3 samples 2 groups 4 means 0 statistics 0 values 32 axis 0.5 0.25 100"},
    {"SpectrumWithMeans", RAVO_BLOCK_BPM_2010,
     [](payload_writer& to) { to.spectrum_head(3, 2, 1, 1).words(3 + 6); },
     "spectrum head 32 members 3 samples 2 groups 1 means 32 statistics 0 values 44 axis 0.5 0.25 100"},
    {"SpectrumWithStatistics", RAVO_BLOCK_RF_250K_2010,
     [](payload_writer& to) { to.spectrum_head(2, 2, 1, 2).words(2 * 33 + 4); },
     "spectrum head 32 members 2 samples 2 groups 1 means 0 statistics 32 values 296 axis 0.5 0.25 100"},
    {"GenericSpectrumWithEverything", RAVO_BLOCK_GENERIC_SPECT,
     [](payload_writer& to) { to.spectrum_head(5, 3, 2, 3).words(5 * (1 + 33 + 6)); },
     "spectrum head 32 members 5 samples 3 groups 2 means 32 statistics 52 values 712 axis 0.5 0.25 100"},
    {"SpectrumWithoutSamples", RAVO_BLOCK_1CHAN_2010,
     [](payload_writer& to) { to.spectrum_head(1, 0, 0x7fffffff, 1).f32(9); },
     "spectrum head 32 members 1 samples 0 groups 2147483647 means 32 statistics 0 values 36 axis 0.5 0.25 "
     "100"},
    {"OlderSpectrum", RAVO_BLOCK_RF_250K,
     [](payload_writer& to) { to.i32(2).i32(3).f32(0.5F).f32(0.25F).words(2 + 6); },
     "older spectrum head 16 members 2 samples 3 groups 1 means 16 statistics 0 values 24 axis 0.5 0.25 0"},
    {"Region", RAVO_BLOCK_IMG_ROI1, [](payload_writer& to) { to.i32(10).i32(-20).i32(3).i32(2).words(5); },
     "roi 3 x 2 at 10 -20 values 16"},
    {"RegionOfNoPixels", RAVO_BLOCK_IMG_ROI3, [](payload_writer& to) { to.i32(0).i32(0).i32(0).i32(0); },
     "roi 0 x 0 at 0 0 values 16"},
    {"Frame", RAVO_BLOCK_IMAGE,
     [](payload_writer& to) {
       to.u32(0x00050003)
           .u32(0x00060002)
           .u32(1U << 18 | 2U << 4)
           .i32(0)
           .u32(7)
           .u32(1234)
           .i32(6)
           .raw("pixels");
     },
     "image 3 x 2 bytes 1 frame 7 event 1234 from 5 6 by 1 2 bits 0 pixels 28 length 6 picture"},
    {"FrameWithBytesAfterItsPixels", RAVO_BLOCK_IMAGE,
     [](payload_writer& to) { to.u32(3).u32(1).u32(2).i32(0).u32(7).u32(8).i32(6).raw("pixels and more"); },
     "image 3 x 1 bytes 2 frame 7 event 8 from 0 0 by 0 0 bits 0 pixels 28 length 6 picture"},
    {"CompressedFrame", RAVO_BLOCK_IMAGE,
     [](payload_writer& to) { to.u32(3).u32(2).u32(1).i32(1).u32(7).u32(8).i32(6).raw("pixels"); },
     "image 3 x 2 bytes 1 frame 7 event 8 from 0 0 by 0 0 bits 0 pixels 28 length 6 compressed"},
    {"ExtendedFrame", RAVO_BLOCK_IMAGE_EXT,
     [](payload_writer& to) { to.extended_head(3, 2, 1, 6).raw("pixels"); },
     "extended image 3 x 2 bytes 1 frame 7 event 1234 from 1 2 by 3 4 bits 12 pixels 100 length 6 picture"},
    {"ExtendedFrameOfOddSizes", RAVO_BLOCK_IMAGE_EXT,
     [](payload_writer& to) { to.extended_head(-3, -2, -1, 6).raw("pixels"); },
     "extended image -3 x -2 bytes 1 frame 7 event 1234 from 1 2 by 3 4 bits 12 pixels 100 length 6"},
    {"List", RAVO_BLOCK_NAME_VALUE,
     [](payload_writer& to) {
       to.i32(42).text("settings", 80).i32(2).text("gain", 80).f32(1.5F).text("offset", 80).f32(-2);
     },
     "list 42 of 2 comment 4 names 88 168 172 252"},
    {"EmptyList", RAVO_BLOCK_NAME_VALUE, [](payload_writer& to) { to.i32(-1).text("", 80).i32(0); },
     "list -1 of 0 comment 4 names"},
    {"Update", RAVO_UPD_BLOCK_2010,
     [](payload_writer& to) { to.text("MAGNET/CURRENT", 256).i32(3).u32(17).u32(5).f32(12.5F); },
     "update name 256 status 256 time 260 value 268 of 272"},
    {"OlderUpdate", RAVO_UPD_BLOCK,
     [](payload_writer& to) { to.text("MAGNET/CURRENT", 80).i32(3).u32(17).u32(5).f32(12.5F); },
     "update name 80 status 80 time 84 value 92 of 96"},
    {"Environment", RAVO_ENV_BLOCK_2010,
     [](payload_writer& to) { to.i32(4).i32(0).u32(17).u32(6).f32(21.5F); },
     "update name 0 status 4 time 8 value 16 of 20"},
    {"EnvironmentDictionary", RAVO_ENV_DICT_BLOCK,
     [](payload_writer& to) { to.u32(13).i32(4).u32(14).i32(5); }, "2 records of 8"},
    {"Text", RAVO_BLOCK_NAME_VALUE_STRING, [](payload_writer& to) { to.text("beam on", 10); }, "text of 7"},
};

class PayloadParts : public testing::TestWithParam<std::tuple<good_payload, word_order>> {};

TEST_P(PayloadParts, AreWhereTheLayoutSays) {
  const auto& [good, order] = GetParam();
  const exact_payload payload = written(good.write, order);
  const parsed_payload parsed = parse_payload(type_of(good.dtype), payload.view());
  ASSERT_EQ(parsed.status, RAVO_DATA_OK);
  EXPECT_EQ(described(parsed.parts), good.parts);
  const parsed_payload again = parse_payload(type_of(good.dtype), payload.view(), text_rule::any);
  ASSERT_EQ(again.status, RAVO_DATA_OK);
  EXPECT_EQ(described(again.parts), good.parts);
}

// Only text, records and bytes after pixels have lengths of their own.
TEST_P(PayloadParts, AreRefusedInEveryShorterPayload) {
  const auto& [good, order] = GetParam();
  payload_writer to(order);
  good.write(to);
  const bool is_text = type_of(good.dtype).shape == payload_shape::text;
  for (std::size_t size = 0; size < to.bytes().size(); ++size) {
    const std::vector<unsigned char> cut(to.bytes().begin(),
                                         to.bytes().begin() + static_cast<std::ptrdiff_t>(size));
    const parsed_payload parsed = parse_payload(type_of(good.dtype), exact_payload(cut, order).view());
    if (const auto* records = parsed.get<records_part>())
      EXPECT_EQ(records->count * records->record_size, size);
    else if (const auto* image = parsed.get<image_parts>())
      EXPECT_LE(image->pixels + static_cast<std::size_t>(image->length), size);
    else
      EXPECT_EQ(parsed.is_good(), is_text && size > 7) << size << " bytes";
  }
}

INSTANTIATE_TEST_SUITE_P(OfEachShape, PayloadParts,
                         testing::Combine(testing::ValuesIn(good_payloads), both_orders),
                         name_of_case<good_payload>);

TEST(PayloadTable, CoversEveryShape) {
  std::set<payload_shape> covered{payload_shape::none};
  for (const good_payload& good : good_payloads) covered.insert(type_of(good.dtype).shape);
  for (const data_type& type : data_types) EXPECT_TRUE(covered.contains(type.shape)) << type.name;
}

// ---- refusals

struct refused_payload {
  std::string name;
  int dtype;
  writing write;
  ravo_data_status status;
};

const refused_payload refused_payloads[] = {
    {"MarkerOfTheTable", RAVO_BLOCK_MAX_2010, [](payload_writer&) {}, RAVO_DATA_UNKNOWN_TYPE},
    {"SpectrumOfAnotherTypesMembers", RAVO_BLOCK_BPM_Z_2010,
     [](payload_writer& to) { to.spectrum_head(3, 1, 1, 0).words(3); }, RAVO_DATA_WRONG_VALUE},
    {"GenericSpectrumOfNoMembers", RAVO_BLOCK_GENERIC_SPECT,
     [](payload_writer& to) { to.spectrum_head(0, 1, 1, 0); }, RAVO_DATA_WRONG_VALUE},
    {"GenericSpectrumOfNegativeMembers", RAVO_BLOCK_GENERIC_SPECT,
     [](payload_writer& to) { to.spectrum_head(-1, 1, 1, 0); }, RAVO_DATA_WRONG_VALUE},
    {"GenericSpectrumOfTooManyMembers", RAVO_BLOCK_GENERIC_SPECT,
     [](payload_writer& to) { to.spectrum_head(65536, 0, 1, 0); }, RAVO_DATA_WRONG_VALUE},
    {"SpectrumOfNegativeSamples", RAVO_BLOCK_1CHAN_2010,
     [](payload_writer& to) { to.spectrum_head(1, -1, 1, 0); }, RAVO_DATA_WRONG_VALUE},
    {"SpectrumOfNoGroups", RAVO_BLOCK_1CHAN_2010, [](payload_writer& to) { to.spectrum_head(1, 1, 0, 0); },
     RAVO_DATA_WRONG_VALUE},
    {"SpectrumOfUnknownFlags", RAVO_BLOCK_1CHAN_2010,
     [](payload_writer& to) { to.spectrum_head(1, 1, 1, 4).f32(1); }, RAVO_DATA_WRONG_VALUE},
    {"SpectrumWithASampleMore", RAVO_BLOCK_1CHAN_2010,
     [](payload_writer& to) { to.spectrum_head(1, 2, 1, 0).f32(1); }, RAVO_DATA_WRONG_LENGTH},
    {"SpectrumWithASurplusWord", RAVO_BLOCK_1CHAN_2010,
     [](payload_writer& to) { to.spectrum_head(1, 1, 1, 0).words(2); }, RAVO_DATA_WRONG_LENGTH},
    {"SpectrumWithoutItsMeans", RAVO_BLOCK_1CHAN_2010,
     [](payload_writer& to) { to.spectrum_head(1, 1, 1, 1).f32(1); }, RAVO_DATA_WRONG_LENGTH},
    {"SpectrumWithoutItsStatistics", RAVO_BLOCK_1CHAN_2010,
     [](payload_writer& to) { to.spectrum_head(1, 1, 1, 2).f32(1); }, RAVO_DATA_WRONG_LENGTH},
    {"SpectrumWhoseSizeWrapsAround", RAVO_BLOCK_BPM_Z_2010,
     [](payload_writer& to) { to.spectrum_head(4, 1 << 30, 1 << 30, 0); }, RAVO_DATA_WRONG_LENGTH},
    {"OlderSpectrumOfAnotherTypesMembers", RAVO_BLOCK_RF_250K,
     [](payload_writer& to) { to.i32(1).i32(0).words(3); }, RAVO_DATA_WRONG_VALUE},
    {"OlderSpectrumOfNegativeSamples", RAVO_BLOCK_SINGLE,
     [](payload_writer& to) { to.i32(1).i32(-1).words(2); }, RAVO_DATA_WRONG_VALUE},
    {"OlderSpectrumWithoutItsMean", RAVO_BLOCK_SINGLE,
     [](payload_writer& to) { to.i32(1).i32(1).words(3); }, RAVO_DATA_WRONG_LENGTH},
    {"OlderSpectrumOfAbsurdSamples", RAVO_BLOCK_SINGLE,
     [](payload_writer& to) { to.i32(1).i32(0x7fffffff).words(3); }, RAVO_DATA_WRONG_LENGTH},
    {"RegionOfNegativeWidth", RAVO_BLOCK_IMG_ROI1,
     [](payload_writer& to) { to.i32(0).i32(0).i32(-1).i32(3).words(2); }, RAVO_DATA_WRONG_VALUE},
    {"RegionOfNegativeHeight", RAVO_BLOCK_IMG_ROI1,
     [](payload_writer& to) { to.i32(0).i32(0).i32(3).i32(-1).words(2); }, RAVO_DATA_WRONG_VALUE},
    {"RegionOfAbsurdSize", RAVO_BLOCK_IMG_ROI1,
     [](payload_writer& to) { to.i32(0).i32(0).i32(0x7fffffff).i32(0x7fffffff).words(2); },
     RAVO_DATA_WRONG_LENGTH},
    {"FrameOfNegativeLength", RAVO_BLOCK_IMAGE, [](payload_writer& to) { to.words(6).i32(-1); },
     RAVO_DATA_WRONG_VALUE},
    {"FrameWithoutItsLastPixel", RAVO_BLOCK_IMAGE,
     [](payload_writer& to) { to.words(6).i32(7).raw("pixels"); }, RAVO_DATA_WRONG_LENGTH},
    {"ExtendedFrameOfNegativeLength", RAVO_BLOCK_IMAGE_EXT,
     [](payload_writer& to) { to.extended_head(1, 1, 1, -1); }, RAVO_DATA_WRONG_VALUE},
    {"ExtendedFrameWithoutItsLastPixel", RAVO_BLOCK_IMAGE_EXT,
     [](payload_writer& to) { to.extended_head(1, 1, 1, 7).raw("pixels"); }, RAVO_DATA_WRONG_LENGTH},
    {"ListOfNegativeRecords", RAVO_BLOCK_NAME_VALUE,
     [](payload_writer& to) { to.i32(1).text("c", 80).i32(-1); }, RAVO_DATA_WRONG_VALUE},
    {"ListWithoutItsRecord", RAVO_BLOCK_NAME_VALUE,
     [](payload_writer& to) { to.i32(1).text("c", 80).i32(1); }, RAVO_DATA_WRONG_LENGTH},
    {"UpdateOfTheOtherGeneration", RAVO_UPD_BLOCK_2010,
     [](payload_writer& to) { to.text("P", 80).words(4); }, RAVO_DATA_WRONG_LENGTH},
    {"OlderUpdateOfTheOtherGeneration", RAVO_UPD_BLOCK,
     [](payload_writer& to) { to.text("P", 256).words(4); }, RAVO_DATA_WRONG_LENGTH},
    {"EnvironmentWithASurplusWord", RAVO_ENV_BLOCK, [](payload_writer& to) { to.words(6); },
     RAVO_DATA_WRONG_LENGTH},
    {"DictionaryOfHalfAnEntry", RAVO_ENV_DICT_BLOCK_2010, [](payload_writer& to) { to.words(3); },
     RAVO_DATA_WRONG_LENGTH},
};

class PayloadRefusal : public testing::TestWithParam<std::tuple<refused_payload, word_order>> {};

TEST_P(PayloadRefusal, HasItsReasonWhateverTheTexts) {
  const auto& [refused, order] = GetParam();
  const exact_payload payload = written(refused.write, order);
  for (const text_rule texts : {text_rule::terminated, text_rule::any}) {
    const parsed_payload parsed = parse_payload(type_of(refused.dtype), payload.view(), texts);
    EXPECT_EQ(parsed.status, refused.status);
    EXPECT_EQ(parsed.get<spectrum_parts>(), nullptr);
  }
}

INSTANTIATE_TEST_SUITE_P(OfEachRule, PayloadRefusal,
                         testing::Combine(testing::ValuesIn(refused_payloads), both_orders),
                         name_of_case<refused_payload>);

// ---- texts

struct unended_text {
  std::string name;
  int dtype;
  writing write;
  std::string parts;  ///< where texts may have any end
};

const unended_text unended_texts[] = {
    {"Text", RAVO_BLOCK_NAME_VALUE_STRING, [](payload_writer& to) { to.raw("beam on"); }, "text of 7"},
    {"NoText", RAVO_BLOCK_NAME_VALUE_STRING, [](payload_writer&) {}, "text of 0"},
    {"Comment", RAVO_BLOCK_NAME_VALUE,
     [](payload_writer& to) { to.i32(1).raw(std::string(80, 'x')).i32(0); }, "list 1 of 0 comment 4 names"},
    {"NameOfTheLastRecord", RAVO_BLOCK_NAME_VALUE,
     [](payload_writer& to) {
       to.i32(1).text("c", 80).i32(2).text("a", 80).f32(1).raw(std::string(80, 'x')).f32(2);
     },
     "list 1 of 2 comment 4 names 88 168 172 252"},
    {"Property", RAVO_UPD_BLOCK_2010, [](payload_writer& to) { to.raw(std::string(256, 'x')).words(4); },
     "update name 256 status 256 time 260 value 268 of 272"},
    {"OlderProperty", RAVO_UPD_BLOCK, [](payload_writer& to) { to.raw(std::string(80, 'x')).words(4); },
     "update name 80 status 80 time 84 value 92 of 96"},
};

class TextWithoutItsZero : public testing::TestWithParam<std::tuple<unended_text, word_order>> {};

TEST_P(TextWithoutItsZero, IsRefusedUnlessAnyTextIsTaken) {
  const auto& [text, order] = GetParam();
  const exact_payload payload = written(text.write, order);
  EXPECT_EQ(parse_payload(type_of(text.dtype), payload.view()).status, RAVO_DATA_WRONG_VALUE);
  const parsed_payload taken = parse_payload(type_of(text.dtype), payload.view(), text_rule::any);
  ASSERT_EQ(taken.status, RAVO_DATA_OK);
  EXPECT_EQ(described(taken.parts), text.parts);
}

INSTANTIATE_TEST_SUITE_P(OfEachField, TextWithoutItsZero,
                         testing::Combine(testing::ValuesIn(unended_texts), both_orders),
                         name_of_case<unended_text>);

// ---- members

TEST(SpectrumMember, HasItsMeanStatisticsAndValues) {
  const spectrum_parts spectrum{.head_size = 32,
                                .members = 3,
                                .samples = 2,
                                .groups = 4,
                                .means = 32,
                                .statistics = 44,
                                .values = 440,
                                .axis = {.start = 7}};
  const member_parts last = spectrum.member(2);
  EXPECT_EQ(last.mean, 40u);
  EXPECT_EQ(last.statistics, 44u + 2 * 132);
  EXPECT_EQ(last.values, 440u + 2 * 8 * 4);
  EXPECT_EQ(last.count(), 8u);
  EXPECT_EQ(last.size(), 32u);
  EXPECT_EQ(last.axis.start, 7);
}

TEST(SpectrumMember, HasNoMeanWhereTheSpectrumHasNone) {
  const spectrum_parts spectrum{.members = 2, .samples = 1, .values = 32};
  EXPECT_EQ(spectrum.member(1).mean, 0u);
  EXPECT_EQ(spectrum.member(1).statistics, 0u);
  EXPECT_EQ(spectrum.member(1).values, 36u);
}

TEST(RegionProfile, CountsPixelsFromWhereTheRegionStarts) {
  const roi_parts region{.width = 3, .height = 2, .x_start = 10, .y_start = 20, .values = 16};
  const member_parts x = region.member(0), y = region.member(1);
  EXPECT_EQ(x.count(), 3u);
  EXPECT_EQ(x.values, 16u);
  EXPECT_EQ(x.axis.start, 10);
  EXPECT_EQ(y.count(), 2u);
  EXPECT_EQ(y.values, 28u);
  EXPECT_EQ(y.axis.start, 20);
  EXPECT_EQ(y.axis.increment, 1);
  EXPECT_EQ(y.mean, 0u);
}

// ---- frames

image_parts frame(std::int32_t width, std::int32_t height, std::int32_t bytes, std::int32_t length) {
  return {.width = width, .height = height, .stated_bytes_per_pixel = bytes, .length = length};
}

TEST(Frame, IsAPictureWhereEveryPixelIsANumber) {
  EXPECT_TRUE(frame(3, 2, 1, 6).is_picture());
  EXPECT_TRUE(frame(3, 2, 4, 24).is_picture());
  EXPECT_TRUE(frame(3, 2, 0, 6).is_picture());  // no size is one byte
  EXPECT_TRUE(frame(3, 0, 1, 0).is_picture());
  EXPECT_FALSE(frame(3, 2, 1, 5).is_picture());
  EXPECT_FALSE(frame(3, 2, 1, 7).is_picture());
  EXPECT_FALSE(frame(-3, -2, 1, 6).is_picture());
  EXPECT_FALSE(frame(3, 2, 5, 30).is_picture());
  EXPECT_TRUE(frame(3, 2, 5, 30).has_every_pixel());
  image_parts compressed = frame(3, 2, 1, 6);
  compressed.compression = 1;
  EXPECT_FALSE(compressed.is_picture());
}

TEST(Frame, OfAbsurdSizesHasNotEveryPixel) {
  constexpr std::int32_t most = 0x7fffffff;
  EXPECT_FALSE(frame(most, most, 4, 4).has_every_pixel());
  EXPECT_FALSE(frame(most, most, most, most).has_every_pixel());
  EXPECT_FALSE(frame(1 << 16, 1 << 16, 1 << 16, 0).has_every_pixel());
  EXPECT_FALSE(frame(1, 1, 1, -1).has_every_pixel());
}

TEST(FrameHead, IsReadThoughThePixelsAreNotThere) {
  for (const word_order order : {word_order::file, word_order::host}) {
    payload_writer plain(order), extended(order);
    plain.u32(3).u32(2).u32(1).i32(0).u32(7).u32(8).i32(-6);
    extended.extended_head(3, 2, 1, 6);
    const auto plain_head =
        parse_image_head(type_of(RAVO_BLOCK_IMAGE), exact_payload(plain.bytes(), order).view());
    const auto extended_head =
        parse_image_head(type_of(RAVO_BLOCK_IMAGE_EXT), exact_payload(extended.bytes(), order).view());
    ASSERT_TRUE(plain_head && extended_head);
    EXPECT_EQ(plain_head->event, 8u);
    EXPECT_EQ(plain_head->length, -6);
    EXPECT_EQ(extended_head->event, 1234u);
    EXPECT_FALSE(
        parse_image_head(type_of(RAVO_BLOCK_IMAGE_EXT), exact_payload(plain.bytes(), order).view()));
    EXPECT_FALSE(parse_image_head(type_of(RAVO_BLOCK_BPM), exact_payload(plain.bytes(), order).view()));
  }
}

// ---- slow values

TEST(Reading, HasOneLayoutAShape) {
  EXPECT_EQ(find_reading(payload_shape::update)->name_size, 256u);
  EXPECT_EQ(find_reading(payload_shape::update_older)->status, 80u);
  EXPECT_EQ(find_reading(payload_shape::environment)->time, 8u);
  EXPECT_FALSE(find_reading(payload_shape::spectrum));
}

TEST(Reading, IsOfUpdatesEnvironmentAndRunBoundaries) {
  std::set<int> readings;
  for (const data_type& type : data_types)
    if (is_reading(type.shape)) readings.insert(type.code);
  EXPECT_EQ(readings, (std::set<int>{RAVO_UPD_BLOCK, RAVO_ENV_BLOCK, RAVO_BOR_BLOCK, RAVO_EOR_BLOCK,
                                     RAVO_UPD_BLOCK_DONT_USE_31, RAVO_UPD_BLOCK_2010, RAVO_ENV_BLOCK_2010,
                                     RAVO_BOR_BLOCK_2010, RAVO_EOR_BLOCK_2010}));
}

}  // namespace
