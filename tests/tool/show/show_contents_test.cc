// `ravo show --json` over simulated files of both generations: every channel of an
// event is checked against the answer key, and slow values and camera frames, which the
// key does not have, against `ravo read --json`, which does without the user layer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <stdexcept>

#include "ravo_daq_writer.h"
#include "ravo_payload.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;

struct Show : testing::TestWithParam<const char*> {
  const demo_data& data() const { return demo_of(GetParam()); }
  const std::string& file() const { return data().files[0]; }

  json shown(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"show", file(), "--json"});
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const std::vector<json> lines = json_lines(result.out);
    return lines.size() == 1 ? lines[0] : json();
  }

  json only_channel(std::vector<std::string> arguments) const {
    const json event = shown(arguments);
    EXPECT_EQ(event.at("channels").size(), 1u);
    return event.at("channels").at(0);
  }

  // The blocks of the first file in the key, by event.
  std::map<unsigned, std::map<std::string, json>> key() const {
    std::map<unsigned, std::map<std::string, json>> events;
    for (const json& line : data().key)
      if (line.at("file") == 1) events[line.at("event")][line.at("channel")] = line;
    return events;
  }

  // The output of `ravo read` for a channel in an event.
  json read(const std::string& channel, unsigned event) const {
    const process_result result = run_tool({"read", file(), "-c", channel, "--json"});
    for (const json& line : json_lines(result.out))
      for (const json& one : line.at("channels"))
        if (one.at("event") == event) return one;
    return {};
  }
};

void expect_member(const json& shown, const json& expected) {
  const auto values = shown.at("values").get<std::vector<double>>();
  ASSERT_EQ(values.size(), expected.at("count"));
  EXPECT_EQ(values.size(), shown.at("samples").get<std::size_t>() * shown.at("groups").get<std::size_t>());
  double sum = 0;
  for (const double value : values) sum += value;
  const double mean = expected.at("mean");
  EXPECT_NEAR(sum / static_cast<double>(values.size()), mean, 1e-9 * std::abs(mean) + 1e-12);
  EXPECT_EQ(*std::min_element(values.begin(), values.end()), expected.at("min").get<double>());
  EXPECT_EQ(*std::max_element(values.begin(), values.end()), expected.at("max").get<double>());
}

TEST_P(Show, HasEveryChannelOfAnEventAsTheKeyHasIt) {
  const auto events = key();
  for (const unsigned number : {1000000u, 1000001u, 1000020u, 1000040u}) {
    const json event = shown({"--event", std::to_string(number)});
    EXPECT_EQ(event.at("generation"), GetParam());
    EXPECT_EQ(event.at("event"), number);
    std::map<std::string, json> fresh;
    for (const json& channel : event.at("channels"))
      if (!channel.at("held")) fresh[channel.at("channel")] = channel;
    const auto& expected = events.at(number);
    EXPECT_EQ(fresh.size(), expected.size());
    for (const auto& [name, block] : expected) {
      ASSERT_TRUE(fresh.contains(name)) << name << " in " << number;
      EXPECT_EQ(fresh[name].at("event"), number);
      EXPECT_EQ(fresh[name].at("time"), block.at("time"));
      EXPECT_EQ(fresh[name].at("dtype"), block.at("dtype"));
      EXPECT_EQ(fresh[name].at("bytes"), block.at("bytes"));
      if (!block.contains("members")) continue;
      const json& members = fresh[name].at("members");
      ASSERT_EQ(members.size(), block.at("members").size());
      for (std::size_t i = 0; i < members.size(); ++i) expect_member(members[i], block.at("members")[i]);
    }
  }
}

TEST_P(Show, HoldsTheLastValueOfASlowChannel) {
  const auto events = key();
  for (const unsigned number : {1000002u, 1000019u, 1000020u, 1000033u}) {
    for (const std::string channel :
         {"LINAC/MAGNET/001", "LINAC/MAGNET/002", "LINAC/TEMPERATURE/001", "LINAC/RUN/BEGIN"}) {
      unsigned last = 0;
      for (const auto& [event, blocks] : events)
        if (event <= number && blocks.contains(channel)) last = event;
      const process_result result =
          run_tool({"show", file(), "--json", "-n", std::to_string(number), "-c", channel});
      if (last == 0) {
        EXPECT_EQ(result.exit_code, 1);
        continue;
      }
      const json shown = json_lines(result.out).at(0).at("channels").at(0);
      EXPECT_EQ(shown.at("event"), last) << channel << " at " << number;
      EXPECT_EQ(shown.at("held"), last != number);
      const json expected = read(channel, last);
      for (const char* field : {"value", "property", "status", "value_time"})
        EXPECT_EQ(shown.at(field), expected.at(field)) << channel << " " << field;
    }
  }
}

TEST_P(Show, HasTheAxisOfASpectrum) {
  const json rf = only_channel({"-n", "1000003", "-c", "LINAC/RF/001"});
  EXPECT_EQ(rf.at("axis"), "time, us");
  EXPECT_EQ(rf.at("units"), "MV/m, deg");
  EXPECT_EQ(rf.at("members")[0].at("name"), "AMPLITUDE");
  EXPECT_EQ(rf.at("members")[0].at("unit"), "MV/m");
  EXPECT_EQ(rf.at("members")[1].at("unit"), "deg");
  EXPECT_EQ(rf.at("members")[1].at("start"), 0);
  EXPECT_GT(rf.at("members")[1].at("increment"), 0);
}

TEST_P(Show, CutsOutAMember) {
  const json whole = only_channel({"-n", "1000003", "-c", "LINAC/BPM/002"});
  const json cut = only_channel({"-n", "1000003", "-c", "LINAC/BPM/002:1"});
  ASSERT_EQ(cut.at("members").size(), 1u);
  EXPECT_EQ(cut.at("members")[0], whole.at("members")[1]);
  const json two = only_channel({"-n", "1000003", "-c", "LINAC/BPM/002:2", "-c", "LINAC/BPM/002:0"});
  EXPECT_EQ(two.at("members").size(), 2u);
  // The whole channel, however often parts of it are asked for in addition.
  EXPECT_EQ(only_channel({"-n", "1000003", "-c", "LINAC/BPM/002:2", "-c", "LINAC/BPM/002"}), whole);
  EXPECT_EQ(only_channel({"-n", "1000003", "-c", "LINAC/BPM/002", "-c", "LINAC/BPM/002:2"}), whole);
}

TEST_P(Show, HasTheFramesOfCameras) {
  for (const std::string camera : {"LINAC/CAMERA/001", "LINAC/CAMERA_EXT/001"}) {
    const json image = only_channel({"-n", "1000007", "-c", camera}).at("image");
    const json expected = read(camera, 1000007).at("image");
    for (const char* field : {"width", "height", "bytes_per_pixel", "frame"})
      EXPECT_EQ(image.at(field), expected.at(field)) << field;
    double sum = 0, most = 0;
    std::size_t count = 0;
    ASSERT_EQ(image.at("pixels").size(), image.at("height"));
    for (const json& row : image.at("pixels")) {
      ASSERT_EQ(row.size(), image.at("width"));
      for (const double pixel : row) {
        sum += pixel;
        most = std::max(most, pixel);
        ++count;
      }
    }
    EXPECT_NEAR(sum / static_cast<double>(count), expected.at("mean"), 1e-6);
    EXPECT_EQ(most, expected.at("max"));
  }
}

TEST_P(Show, LeavesPixelsOutWhereNoChannelIsAskedFor) {
  int images = 0;
  const json event = shown({"-n", "1000007"});
  for (const json& channel : event.at("channels")) {
    if (!channel.contains("image")) continue;
    EXPECT_FALSE(channel.at("image").contains("pixels"));
    ++images;
  }
  EXPECT_EQ(images, 2);
}

TEST_P(Show, FindsTheFirstAndTheLastEventOfTheChannelsAskedFor) {
  const auto events = key();
  std::vector<unsigned> with_half_rate;
  for (const auto& [number, blocks] : events)
    if (blocks.contains("LINAC/BPM/HALF_RATE")) with_half_rate.push_back(number);
  EXPECT_EQ(shown({"-n", "first", "-c", "LINAC/BPM/HALF_RATE"}).at("event"), with_half_rate.front());
  EXPECT_EQ(shown({"-n", "last", "-c", "LINAC/BPM/HALF_RATE"}).at("event"), with_half_rate.back());
  // The begin of a run is an event, too, but nobody wants to see it first.
  EXPECT_EQ(shown({}).at("event"), 1000001);
  EXPECT_EQ(shown({"-c", "LINAC/RUN/BEGIN"}).at("event"), 1000000);
}

TEST_P(Show, FindsTheEventNearestToATime) {
  // Ten a second from 08:00:00.1 on.
  EXPECT_EQ(shown({"-n", "2025-03-01T08:00:02.04", "-c", "LINAC/BPM/001"}).at("event"), 1000020);
  EXPECT_EQ(shown({"-n", "2025-03-01 09:00:02.06", "--tz", "+01:00", "-c", "LINAC/BPM/001"}).at("event"),
            1000021);
  EXPECT_EQ(shown({"-n", "2025-03-01T08:00:00", "-c", "LINAC/BPM/001"}).at("event"), 1000001);
}

TEST_P(Show, HasTextsAndNamedValues) {
  const auto events = key();
  for (const auto& [number, blocks] : events) {
    if (blocks.contains("LINAC/MESSAGE/001")) {
      const json message = only_channel({"-n", std::to_string(number), "-c", "LINAC/MESSAGE/001"});
      EXPECT_EQ(message.at("text"), read("LINAC/MESSAGE/001", number).at("text"));
    }
    if (blocks.contains("LINAC/STATUS/001")) {
      const json status = only_channel({"-n", std::to_string(number), "-c", "LINAC/STATUS/001"});
      ASSERT_EQ(status.at("values").size(), 3u);
      EXPECT_EQ(status.at("values")[0].at("name"), "BUNCHES");
      EXPECT_EQ(status.at("values")[0].at("value"), 64);
    }
  }
}

// An older file in which slow events have no number: 101 and 102, 104
// and 105 are fast, and before each pair a slow channel has a new value.
std::string write_unnumbered(const temporary_folder& folder) {
  ravo_daq_writer writer;
  const auto check = [&writer](int status) {
    if (status < 0) throw std::runtime_error(writer.get_last_error());
  };
  ravo_daq_writer_settings settings;
  settings.folder = folder.path().string();
  check(writer.open(settings));
  check(writer.add_channel({"SLOW", RAVO_UPD_BLOCK, ravo_compression::none}));
  check(writer.add_channel({"FAST", RAVO_BLOCK_TOROID, ravo_compression::none}));
  for (unsigned i = 0; i < 6; ++i) {
    const bool is_slow = i % 3 == 0;
    ravo_daq_writer_event event;
    event.event_number = is_slow ? 0 : 100 + i;
    event.event_type = is_slow ? RAVO_EV_UPD : RAVO_EV_NORMAL;
    event.time = {1700000000 + i, 0};
    check(writer.begin_event(event));
    check(writer.begin_server_block({"SERVER", event.time, 1, 0, 0}));
    ravo_upd_data_block update{};
    update.upd_prop[0] = 'P';
    update.upd_ch_data = static_cast<float>(i);
    update.upd_ch_time = event.time;
    const struct {
      ravo_spect_head head{1, 2, 0, 1};
      float mean = 1, values[2] = {1, 2};
    } spectrum;
    check(is_slow ? writer.add_data(0, &update, sizeof update)
                  : writer.add_data(1, &spectrum, sizeof spectrum));
    check(writer.end_event());
  }
  check(writer.close());
  return writer.get_files().at(0);
}

TEST(ShowUnnumbered, HoldsNoLaterValue) {
  const temporary_folder folder;
  const std::string file = write_unnumbered(folder);
  for (const auto& [number, expected] : {std::pair{101, 0}, {102, 0}, {104, 3}, {105, 3}}) {
    const process_result result = run_tool({"show", file, "--json", "-n", std::to_string(number)});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const json channels = json_lines(result.out).at(0).at("channels");
    ASSERT_EQ(channels.size(), 2u);
    EXPECT_EQ(channels[0].at("value"), expected) << number;
    EXPECT_EQ(channels[0].at("held"), true);
    EXPECT_EQ(channels[1].at("held"), false);
  }
}

TEST(ShowUnnumbered, FindsEventsWithoutANumberByTheirTime) {
  const temporary_folder folder;
  const std::string file = write_unnumbered(folder);
  const auto value = [&](const std::string& event) {
    const process_result result = run_tool({"show", file, "--json", "-c", "SLOW", "-n", event});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    return json_lines(result.out).at(0).at("channels").at(0).at("value").get<int>();
  };
  EXPECT_EQ(value("first"), 0);
  EXPECT_EQ(value("last"), 3);
  EXPECT_EQ(value("2023-11-14T22:13:20.4"), 0);
  EXPECT_EQ(value("2023-11-14T22:13:22.9"), 3);
  const process_result zero = run_tool({"show", file, "-n", "0"});
  EXPECT_EQ(zero.exit_code, 1);
  EXPECT_EQ(zero.err,
            "ravo: " + file + ": has no event 0; its events are 101 to 105, the nearest is 101\n");
}

// One frame of one pixel of so many bytes, which is 0.
std::string write_frame(const temporary_folder& folder, RAVO_SUBBLOCK_TYPE type,
                        std::uint32_t pixel_bytes) {
  ravo_daq_writer writer;
  const auto check = [&writer](int status) {
    if (status < 0) throw std::runtime_error(writer.get_last_error());
  };
  ravo_daq_writer_settings settings;
  settings.folder = folder.path().string();
  settings.first_file = static_cast<int>(pixel_bytes);
  check(writer.open(settings));
  check(writer.add_channel({"CAMERA", type, ravo_compression::none}));
  std::vector<std::uint32_t> frame;
  if (type == RAVO_BLOCK_IMAGE) {
    frame = {1, 1, pixel_bytes, 0, 5, 100, pixel_bytes};
  } else {
    frame.assign(sizeof(ravo_image_ext_frame_head) / 4, 0);
    frame[2] = frame[3] = 1;
    frame[6] = pixel_bytes;
    frame[24] = pixel_bytes;
  }
  frame.insert(frame.end(), 4, 0);
  ravo_daq_writer_event event;
  event.event_number = 100;
  event.time = {1700000000, 0};
  check(writer.begin_event(event));
  check(writer.begin_server_block({"SERVER", event.time, 1, 0, 0}));
  check(writer.add_data(0, frame.data(), frame.size() * 4));
  check(writer.end_event());
  check(writer.close());
  return writer.get_files().at(0);
}

TEST(ShowFrames, AreRefusedWhereTheirPixelsAreNoNumbers) {
  for (const RAVO_SUBBLOCK_TYPE type : {RAVO_BLOCK_IMAGE, RAVO_BLOCK_IMAGE_EXT})
    for (std::uint32_t pixel_bytes = 1; pixel_bytes <= 15; ++pixel_bytes) {
      const temporary_folder folder;
      const std::string file = write_frame(folder, type, pixel_bytes);
      const std::string png = (folder.path() / "frame.png").string();
      const process_result shown = run_tool({"show", file, "-c", "CAMERA", "--json"});
      ASSERT_EQ(shown.exit_code, 0) << shown.err;
      const json channel = json_lines(shown.out).at(0).at("channels").at(0);
      const process_result drawn = run_tool({"show", file, "-c", "CAMERA", "--png", png, "--pixels"});
      EXPECT_EQ(channel.contains("image"), pixel_bytes <= 4);
      EXPECT_EQ(drawn.exit_code, pixel_bytes <= 4 ? 0 : 1);
      if (pixel_bytes <= 4) continue;
      const std::string problem =
          "a frame with pixels of " + std::to_string(pixel_bytes) + " bytes, of which up to 4 can be shown";
      EXPECT_EQ(channel.at("problem"), problem);
      EXPECT_EQ(drawn.err, "ravo: CAMERA: " + problem + "\n");
      EXPECT_THAT(run_tool({"show", file, "-c", "CAMERA"}).out, HasSubstr(problem));
#ifdef RAVO_TOOL_PICTURES
      EXPECT_EQ(run_tool({"show", file, "-c", "CAMERA", "--png", png}).err,
                "ravo: CAMERA: " + problem + "\n");
#endif
    }
}

TEST_P(Show, CutsOutARecordOfAList) {
  const json status = only_channel({"-n", "first", "-c", "LINAC/STATUS/001:1"});
  const json whole = only_channel({"-n", "first", "-c", "LINAC/STATUS/001"});
  EXPECT_EQ(status.at("values"), json::array({whole.at("values").at(1)}));
  const process_result lacking = run_tool({"show", file(), "-n", "first", "-c", "LINAC/STATUS/001:3"});
  EXPECT_EQ(lacking.exit_code, 1);
  EXPECT_EQ(lacking.err, "ravo: LINAC/STATUS/001 has no record 3; its list has 3 of them\n");
}

INSTANTIATE_TEST_SUITE_P(Of, Show, testing::Values("current", "older"),
                         [](const auto& suite) { return std::string(suite.param); });

}  // namespace
