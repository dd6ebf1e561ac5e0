// Values that are written from arrays come back from the dataset layer, for every kind and both
// generations.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "ravo_daq/payloads.h"
#include "ravo_daq_writer.h"
#include "ravo_daq_writer_2010.h"
#include "ravo_dataset.h"
#include "temporary_folder.h"

namespace {

using namespace ravo;
using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr int events = 5;

time_stamp time_of(int event) { return {1'740'816'000u + static_cast<std::uint32_t>(event), 10}; }

std::vector<float> ramp(std::size_t count, float first) {
  std::vector<float> values(count);
  std::iota(values.begin(), values.end(), first);
  return values;
}

struct types {
  RAVO_SUBBLOCK_TYPE scalar, spectrum, update;
};
constexpr types current{RAVO_BLOCK_1CHAN_2010, RAVO_BLOCK_BPM_2010, RAVO_UPD_BLOCK_2010};
constexpr types older{RAVO_BLOCK_SINGLE, RAVO_BLOCK_BPM, RAVO_UPD_BLOCK};

class WrittenValues : public testing::TestWithParam<bool> {
 protected:
  bool is_older() const { return GetParam(); }
  const types& type() const { return is_older() ? older : current; }

  template <class Writer>
  void write(RAVO_SUBBLOCK_TYPE dtype, RAVO_EVTYPE event_type,
             const std::function<payload_bytes(int event)>& make) {
    Writer writer;
    ravo_daq_writer_settings settings;
    settings.folder = folder.path().string();
    ASSERT_EQ(writer.open(settings), 0) << writer.get_last_error();
    const writer_description description(
        "A/B", dtype, event_type, 1,
        {.description = "made up", .units = "mm", .axis = "time", .axis_units = "us"});
    ravo_daq_writer_channel channel;
    channel.name = "A/B";
    channel.dtype = dtype;
    channel.env_index = dtype == RAVO_ENV_BLOCK ? 0 : -1;
    channel.description = description.get();
    ASSERT_EQ(writer.add_channel(channel), 0) << writer.get_last_error();
    for (int event = 0; event < events; ++event) {
      const payload_bytes block = make(event);
      writer.begin_event({static_cast<std::uint32_t>(100 + event), event_type, time_of(event), 0, 0});
      writer.begin_server_block({"SERVER", time_of(event), 0, 0, 0});
      ASSERT_EQ(writer.add_data(0, block.data(), block.size()), 0) << writer.get_last_error();
      ASSERT_EQ(writer.end_event(), 0) << writer.get_last_error();
    }
    ASSERT_EQ(writer.close(), 0) << writer.get_last_error();
  }

  // Writes one channel and reads it.
  column_data written(RAVO_SUBBLOCK_TYPE dtype, const std::function<payload_bytes(int event)>& make,
                      RAVO_EVTYPE event_type = RAVO_EV_NORMAL) {
    if (is_older())
      write<ravo_daq_writer>(dtype, event_type, make);
    else
      write<ravo_daq_writer_2010>(dtype, event_type, make);
    selection wanted;
    wanted.files = {folder.path().string()};
    opened = dataset::open(wanted);
    column_data column = opened->column("A/B");
    EXPECT_EQ(column.size(), static_cast<std::size_t>(events));
    for (const value_status status : column.status) EXPECT_EQ(status, value_status::ok);
    return column;
  }

  const ravo::test::temporary_folder folder;
  std::optional<dataset> opened;
};

TEST_P(WrittenValues, ScalarsComeBack) {
  const column_data column = written(type().scalar, [&](int event) {
    const float value = 1.5F * static_cast<float>(event);
    return spectrum_payload(type().scalar, {}, {&value, 1});
  });
  EXPECT_THAT(column.values<float>(), ElementsAre(0, 1.5F, 3, 4.5F, 6));
  EXPECT_THAT(column.numbers, ElementsAre(100, 101, 102, 103, 104));
  EXPECT_EQ(opened->describe("A/B").unit, "mm");
}

TEST_P(WrittenValues, SpectraComeBackWithTheirAxis) {
  const spectrum_form form{.members = 3, .samples = 4, .start = 2, .inc = 0.5F};
  const column_data column = written(type().spectrum, [&](int event) {
    return spectrum_payload(type().spectrum, form, ramp(12, static_cast<float>(100 * event)));
  });
  EXPECT_EQ(column.layout.shape, (row_shape{3, 1, 4}));
  EXPECT_THAT(column.row<float>(3), ElementsAreArray(ramp(12, 300)));
  EXPECT_EQ(column.start, 2);
  EXPECT_EQ(column.increment, 0.5F);
}

TEST_P(WrittenValues, GenericSpectraComeBackInGroups) {
  const spectrum_form form{.members = 2,
                           .groups = 3,
                           .samples = 4,
                           .groups_inc = 9,
                           .summary = spectrum_summary::means_and_statistics};
  const column_data column = written(RAVO_BLOCK_GENERIC_SPECT, [&](int event) {
    return spectrum_payload(RAVO_BLOCK_GENERIC_SPECT, form, ramp(24, static_cast<float>(event)));
  });
  EXPECT_EQ(column.layout.shape, (row_shape{2, 3, 4}));
  EXPECT_THAT(column.row<float>(4), ElementsAreArray(ramp(24, 4)));
}

TEST_P(WrittenValues, FramesComeBackInEveryPixelType) {
  frame_form form;
  form.width = 3, form.height = 2;
  const column_data column = written(RAVO_BLOCK_IMAGE_EXT, [&](int event) {
    std::vector<std::uint16_t> pixels(6, static_cast<std::uint16_t>(1000 + event));
    pixels[1] = 0xabcd;
    return frame_payload(RAVO_BLOCK_IMAGE_EXT, form, std::span<const std::uint16_t>(pixels));
  });
  EXPECT_EQ(column.layout.shape, (row_shape{1, 2, 3}));
  EXPECT_THAT(column.row<std::uint16_t>(2), ElementsAre(1002, 0xabcd, 1002, 1002, 1002, 1002));
}

TEST_P(WrittenValues, PlainFramesComeBack) {
  frame_form form;
  form.width = 2, form.height = 2;
  const column_data column = written(RAVO_BLOCK_IMAGE, [&](int event) {
    const std::vector<std::uint8_t> pixels{1, 2, 3, static_cast<std::uint8_t>(event)};
    return frame_payload(RAVO_BLOCK_IMAGE, form, std::span<const std::uint8_t>(pixels));
  });
  EXPECT_THAT(column.row<std::uint8_t>(4), ElementsAre(1, 2, 3, 4));
}

TEST_P(WrittenValues, ProfilesComeBack) {
  const column_data column = written(RAVO_BLOCK_IMG_ROI1, [](int event) {
    return profile_payload(1, 2, ramp(3, static_cast<float>(event)), ramp(2, 50));
  });
  EXPECT_THAT(column.row<float>(1), ElementsAre(1, 2, 3, 50, 51));
}

TEST_P(WrittenValues, NamesAndValuesComeBack) {
  const column_data column = written(RAVO_BLOCK_NAME_VALUE, [](int event) {
    const std::vector<named_value> values{{"A", 1}, {"B", static_cast<float>(event)}};
    return name_value_payload(values);
  });
  EXPECT_THAT(column.record_names, ElementsAre("A", "B"));
  EXPECT_THAT(column.row<float>(3), ElementsAre(1, 3));
}

TEST_P(WrittenValues, TextsComeBack) {
  const column_data column = written(RAVO_BLOCK_NAME_VALUE_STRING, [](int event) {
    return text_payload(std::string(static_cast<std::size_t>(event), 'x'));
  });
  for (std::size_t row = 0; row < events; ++row) EXPECT_EQ(column.text(row), std::string(row, 'x'));
}

TEST_P(WrittenValues, SlowValuesComeBackWithTheirTimes) {
  const column_data column = written(
      type().update,
      [&](int event) {
        return update_payload(type().update, "P", time_of(event + 1), static_cast<float>(event), event);
      },
      RAVO_EV_UPD);
  EXPECT_THAT(column.values<float>(), ElementsAre(0, 1, 2, 3, 4));
  EXPECT_EQ(microseconds_of(column.update_times[2]), microseconds_of(time_of(3)));
  EXPECT_THAT(column.update_status, ElementsAre(0, 1, 2, 3, 4));
}

TEST_P(WrittenValues, ReadingsComeBack) {
  const column_data column = written(
      RAVO_ENV_BLOCK,
      [&](int event) { return environment_payload(0, time_of(event), 20.0F + static_cast<float>(event)); },
      RAVO_EV_ENV);
  EXPECT_THAT(column.values<float>(), ElementsAre(20, 21, 22, 23, 24));
}

INSTANTIATE_TEST_SUITE_P(Generations, WrittenValues, testing::Bool(), [](const auto& about) {
  return about.param ? std::string("Older") : std::string("Current");
});

}  // namespace
