// The example programs over simulated files of both generations: what they print is compared with the
// simulator's answer key, and where the key has no values, with `ravo read --json`, which does
// without the user layer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>

#include "temporary_folder.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr const char* end_of_older_data = "ravo_daq_data::GetData: data are not read\n";

std::vector<json> key_of(const demo_data& run, const std::string& channel) {
  std::vector<json> lines;
  for (const json& line : run.key)
    if (line.at("channel") == channel) lines.push_back(line);
  return lines;
}

std::string program(const std::string& name) { return std::string(RAVO_EXAMPLES) + "/" + name; }

std::vector<std::vector<std::string>> words_of(const std::string& text) {
  std::vector<std::vector<std::string>> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    std::istringstream words(line);
    lines.emplace_back();
    for (std::string word; words >> word;) lines.back().push_back(word);
  }
  return lines;
}

// The examples of one generation.
struct Examples : testing::TestWithParam<bool> {
  bool is_older() const { return GetParam(); }
  const demo_data& run() const { return is_older() ? demo_of("older") : demo(); }

  Examples() {
    // The files are seconds old, and readers take only files that are no longer written.
    setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
    std::ofstream out(list);
    out << "# two files\n";
    for (const std::string& file : run().files) out << file << '\n';
  }

  std::vector<std::string> command(const std::string& stem, const std::string& channel) const {
    if (is_older()) return {program(stem), list, channel};
    std::vector<std::string> words{program(stem + "_2010"), channel};
    words.insert(words.end(), run().files.begin(), run().files.end());
    return words;
  }

  // What an example prints for a channel; it must end well.
  std::vector<std::vector<std::string>> printed(const std::string& stem, const std::string& channel) const {
    const process_result result = run_process(command(stem, channel));
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.err, is_older() ? end_of_older_data : "");
    return words_of(result.out);
  }

  temporary_folder folder;
  std::string list = folder.file("list.txt");
};

std::vector<double> numbers(const std::vector<std::string>& words, std::size_t from) {
  std::vector<double> values;
  for (std::size_t i = from; i < words.size(); ++i) values.push_back(std::stod(words[i]));
  return values;
}

double mean_of(const std::vector<double>& values) {
  double sum = 0;
  for (const double value : values) sum += value;
  return sum / static_cast<double>(values.size());
}

TEST_P(Examples, PrintEveryValueOfAChannel) {
  for (const char* channel : {"LINAC/BPM/001", "LINAC/ENERGY/001", "LINAC/TOROID/GAPS"}) {
    const auto lines = printed("print_channel", channel);
    const std::vector<json> expected = key_of(run(), channel);
    std::size_t line = 0;
    for (const json& block : expected) {
      for (const json& member : block.at("members")) {
        ASSERT_LT(line, lines.size());
        EXPECT_EQ(lines[line].at(0), std::to_string(block.at("event").get<unsigned>()));
        const std::vector<double> values = numbers(lines[line], 2);
        ASSERT_EQ(values.size(), member.at("count"));
        EXPECT_NEAR(mean_of(values), member.at("mean"),
                    1e-5 * std::abs(member.at("mean").get<double>()) + 1e-9);
        EXPECT_FLOAT_EQ(float(*std::min_element(values.begin(), values.end())),
                        member.at("min").get<float>());
        EXPECT_FLOAT_EQ(float(*std::max_element(values.begin(), values.end())),
                        member.at("max").get<float>());
        ++line;
      }
    }
    EXPECT_EQ(line, lines.size());
    EXPECT_FALSE(expected.empty());
  }
}

TEST_P(Examples, NameTheMembersThatTheyPrint) {
  const auto lines = printed("print_channel", "LINAC/BPM/001");
  EXPECT_EQ(lines.at(0).at(1), "X");
  EXPECT_EQ(lines.at(1).at(1), "Y");
  EXPECT_EQ(lines.at(2).at(1), "CHARGE");
}

TEST_P(Examples, AverageASpectrumOverAllEvents) {
  const auto lines = printed("average_spectrum", "LINAC/RF/001");
  ASSERT_EQ(lines.at(0), (std::vector<std::string>{"#", "average", "of", "80", "events"}));
  // Compared with what the other example, itself compared with the key, prints for each event.
  std::vector<std::vector<double>> events;
  for (const auto& line : printed("print_channel", "LINAC/RF/001"))
    if (line.at(1) == "AMPLITUDE") events.push_back(numbers(line, 2));
  ASSERT_EQ(events.size(), 80u);
  ASSERT_EQ(lines.size(), events[0].size() + 1);
  const double step = std::stod(lines.at(2).at(0)) - std::stod(lines.at(1).at(0));
  EXPECT_GT(step, 0);
  for (std::size_t i = 0; i < events[0].size(); ++i) {
    double sum = 0;
    for (const auto& values : events) sum += values.at(i);
    EXPECT_NEAR(std::stod(lines.at(i + 1).at(1)), sum / 80, 1e-4);
    EXPECT_NEAR(std::stod(lines.at(i + 1).at(0)), std::stod(lines.at(1).at(0)) + double(i) * step, 1e-2);
  }
}

TEST_P(Examples, FollowASlowValueFromUpdateToUpdate) {
  const auto lines = printed("follow_slow_value", "LINAC/MAGNET/001");
  const std::vector<json> expected = key_of(run(), "LINAC/MAGNET/001");
  ASSERT_EQ(lines.size(), expected.size());
  ASSERT_GE(lines.size(), 2u);
  std::map<unsigned, double> values;
  for (const json& event : event_lines(read_demo({"-c", "LINAC/MAGNET/001", "--json"}, run()).out))
    for (const json& channel : event.at("channels")) values[channel.at("event")] = channel.at("value");
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const unsigned event = expected[i].at("event");
    EXPECT_EQ(lines[i].at(0), std::to_string(event));
    EXPECT_NEAR(std::stod(lines[i].at(2)), values.at(event), 1e-4);
    // 2025-03-01T08:00:SS is 1740816000 + SS.
    EXPECT_EQ(std::stol(lines[i].at(1)),
              1740816000 + std::stol(expected[i].at("time").get<std::string>().substr(17, 2)));
  }
}

TEST_P(Examples, RefuseAFastChannelAsASlowOne) {
  const process_result result = run_process(command("follow_slow_value", "LINAC/BPM/001"));
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err, "not a slow channel\n");
}

TEST_P(Examples, RefuseToPrintASlowChannelsValues) {
  const process_result result = run_process(command("print_channel", "LINAC/MAGNET/001"));
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, MatchesRegex("event [0-9]+ has no values in member 0\n"));
}

// Of a PGM file: the bytes before the pixels, and the pixels.
struct grey_map {
  int width = 0, height = 0, white = 0;
  std::vector<unsigned> pixels;
};
grey_map read_pgm(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::string magic;
  grey_map map;
  in >> magic >> map.width >> map.height >> map.white;
  in.get();
  const std::string bytes{std::istreambuf_iterator<char>(in), {}};
  const std::size_t size = map.white > 255 ? 2 : 1;
  for (std::size_t i = 0; i + size <= bytes.size(); i += size) {
    unsigned pixel = 0;
    for (std::size_t k = 0; k < size; ++k) pixel = pixel << 8 | static_cast<unsigned char>(bytes[i + k]);
    map.pixels.push_back(pixel);
  }
  if (magic != "P5" || bytes.size() % size != 0) throw std::runtime_error(path + " is no PGM file");
  return map;
}

TEST_P(Examples, WriteEveryFrameOfACameraAsPgm) {
  for (const char* camera : {"LINAC/CAMERA/001", "LINAC/CAMERA_EXT/001"}) {
    const temporary_folder frames_folder;
    std::string line = "cd '" + frames_folder.path().string() + "' && exec";
    for (const std::string& word : command("camera_to_pgm", camera)) line += " '" + word + "'";
    const process_result result = run_process({"/bin/sh", "-c", line});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    std::size_t frames = 0;
    for (const json& event : event_lines(read_demo({"-c", camera, "--json"}, run()).out)) {
      const json& image = event.at("channels").at(0).at("image");
      const grey_map map = read_pgm(
          frames_folder.file("frame_" + std::to_string(event.at("event").get<unsigned>()) + ".pgm"));
      EXPECT_EQ(map.width, image.at("width"));
      EXPECT_EQ(map.height, image.at("height"));
      EXPECT_EQ(map.white, image.at("bytes_per_pixel") == 1 ? 255 : 65535);
      ASSERT_EQ(map.pixels.size(), std::size_t(map.width) * std::size_t(map.height));
      EXPECT_EQ(*std::max_element(map.pixels.begin(), map.pixels.end()), image.at("max"));
      EXPECT_NEAR(mean_of({map.pixels.begin(), map.pixels.end()}), image.at("mean"), 1e-6);
      ++frames;
    }
    EXPECT_EQ(frames, key_of(run(), camera).size());
    EXPECT_EQ(words_of(result.out).size(), frames);
  }
}

TEST_P(Examples, ListTheChannelsThatHoldData) {
  const process_result result =
      run_process({program(is_older() ? "list_channels" : "list_channels_2010"), run().files[0]});
  ASSERT_EQ(result.exit_code, 0) << result.err;
  std::map<std::string, int> counts, expected;
  for (const auto& words : words_of(result.out)) counts[words.at(1)] = std::stoi(words.at(0));
  for (const json& line : run().key)
    if (line.at("file") == 1) ++expected[line.at("channel")];
  EXPECT_EQ(counts, expected);
}

TEST_P(Examples, RefuseAFileOfTheOtherGeneration) {
  const std::string& other = (is_older() ? demo() : demo_of("older")).files[0];
  const process_result result =
      run_process({program(is_older() ? "list_channels" : "list_channels_2010"), other});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, HasSubstr(other));
}

TEST_P(Examples, RefuseAChannelThatIsNotThere) {
  for (const char* stem : {"print_channel", "average_spectrum", "follow_slow_value", "camera_to_pgm"}) {
    const process_result result = run_process(command(stem, "LINAC/NONE"));
    EXPECT_EQ(result.exit_code, 1) << stem;
    EXPECT_NE(result.err, "") << stem;
  }
}

TEST_P(Examples, SayHowTheyAreCalled) {
  for (const char* stem :
       {"print_channel", "average_spectrum", "follow_slow_value", "camera_to_pgm", "list_channels"}) {
    const std::string name = stem + std::string(is_older() ? "" : "_2010");
    const process_result result = run_process({program(name)});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_THAT(result.err, testing::StartsWith("usage: " + name + " "));
  }
}

INSTANTIATE_TEST_SUITE_P(, Examples, testing::Bool(), [](const auto& suite) {
  return suite.param ? std::string("OfOlderFiles") : std::string("OfCurrentFiles");
});

}  // namespace
