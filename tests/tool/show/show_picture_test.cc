// `ravo show --picture` from the command line: what is written, and what is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "one_event_file.h"
#include "png_pixels.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;

struct ShowPicture : testing::TestWithParam<const char*> {
  const std::string& file() const { return demo_of(GetParam()).files[0]; }

  std::string wrote(const std::string& path, std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"show", file(), "-n", "1000007", "--picture", path});
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, testing::StartsWith(path + ": "));
    return result.out;
  }

  temporary_folder folder;
};

TEST_P(ShowPicture, HasThePixelsOfAFrameAsTheyAre) {
  for (const std::string camera : {"LINAC/CAMERA/001", "LINAC/CAMERA_EXT/001"}) {
    const std::string path = folder.file("frame.png");
    const std::string said = wrote(path, {"-c", camera, "--pixels"});
    const process_result shown = run_tool({"show", file(), "-n", "1000007", "-c", camera, "--json"});
    const json image = json_lines(shown.out).at(0).at("channels").at(0).at("image");
    const png_pixels found = read_png(path);
    EXPECT_EQ(found.width, image.at("width"));
    EXPECT_EQ(found.height, image.at("height"));
    EXPECT_EQ(found.channels, 1);
    EXPECT_EQ(found.bits, 8 * image.at("bytes_per_pixel").get<int>());
    for (unsigned y = 0; y < found.height; ++y)
      for (unsigned x = 0; x < found.width; ++x) ASSERT_EQ(found.at(x, y), image.at("pixels")[y][x]);
    EXPECT_THAT(said, HasSubstr(" of " + camera + ", event 1000007\n"));
  }
}

INSTANTIATE_TEST_SUITE_P(Of, ShowPicture, testing::Values("current", "older"),
                         [](const auto& suite) { return std::string(suite.param); });

#ifdef RAVO_TOOL_PICTURES

TEST_P(ShowPicture, DrawsSpectraFramesAndTables) {
  const std::string path = folder.file("picture.png");
  EXPECT_EQ(wrote(path, {"-c", "LINAC/BPM/001"}),
            path + ": a plot of 3 members of LINAC/BPM/001, event 1000007\n");
  EXPECT_EQ(wrote(path, {"-c", "LINAC/TOROID/001"}),
            path + ": a plot of 1 member of LINAC/TOROID/001, event 1000007\n");
  EXPECT_EQ(wrote(path, {"-c", "LINAC/CAMERA/001"}),
            path + ": a frame of 64 x 48 pixels of LINAC/CAMERA/001, event 1000007\n");
  EXPECT_EQ(wrote(path, {"-c", "LINAC/MAGNET/001"}),
            path + ": a picture of LINAC/MAGNET/001, event 1000007\n");
  EXPECT_EQ(wrote(path, {"-c", "LINAC/BPM/00[12]", "-c", "LINAC/CAMERA/001"}),
            path + ": a picture of 3 channels, event 1000007\n");
}

TEST_P(ShowPicture, IsAPngOrAnSvgByItsName) {
  const std::string png = folder.file("plot.PNG"), svg = folder.file("plot.svg");
  wrote(png, {"-c", "LINAC/RF/001"});
  const png_pixels found = read_png(png);
  EXPECT_EQ(found.channels, 3);
  EXPECT_EQ(found.width, 1920u);
  wrote(svg, {"-c", "LINAC/RF/001"});
  const auto bytes = read_file(svg);
  EXPECT_THAT(std::string(bytes.begin(), bytes.end()), testing::StartsWith("<?xml"));
}

TEST_P(ShowPicture, GrowsWithItsPanels) {
  const std::string one = folder.file("one.png"), three = folder.file("three.png"),
                    over = folder.file("over.png");
  wrote(one, {"-c", "LINAC/BPM/001:0"});
  wrote(three, {"-c", "LINAC/BPM/00[123]"});
  wrote(over, {"-c", "LINAC/BPM/00[123]", "--overlay"});
  EXPECT_GT(read_png(three).height, 2 * read_png(one).height);
  EXPECT_LT(read_png(over).height, read_png(three).height);
}

// Twelve bits in sixteen: everything lies between black and a sixteenth of white.
std::string dim_frame_file(const temporary_folder& folder) {
  ravo_image_ext_frame_head head{};
  head.aoi_width = 40;
  head.aoi_height = 30;
  head.bpp = 2;
  head.ebitpp = 12;
  head.x_start = 320;
  head.y_start = 100;
  head.hbin = head.vbin = 2;
  std::vector<unsigned> pixels;
  for (int i = 0; i < 1200; ++i) pixels.push_back(i == 620 ? 4095 : 60u);
  return write_one_event(folder, {{"CAMERA", RAVO_BLOCK_IMAGE_EXT, extended_frame_data(head, pixels)}});
}

// The number of nearly white dots in the middle of the frame.
std::size_t bright_dots(const std::string& path) {
  const png_pixels found = read_png(path);
  std::size_t count = 0;
  for (unsigned y = found.height / 4; y < found.height * 3 / 4; ++y)
    for (unsigned x = found.width / 4; x < found.width * 3 / 4; ++x) count += found.at(x, y, 0) > 250;
  return count;
}

TEST(ShowPictureOfAFrame, CanBeReadWhereTwelveBitsLieInSixteen) {
  const temporary_folder folder;
  const std::string file = dim_frame_file(folder), path = folder.file("frame.png");
  const auto draw = [&](std::vector<std::string> more) {
    more.insert(more.begin(), {"show", file, "-c", "CAMERA", "--picture", path, "--colour-map", "grey"});
    const process_result result = run_tool(more);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    return bright_dots(path);
  };
  EXPECT_GT(draw({}), 100u);
  EXPECT_GT(draw({"--stretch", "none"}), 100u);  // the file says that it counts twelve bits
  EXPECT_GT(draw({"--stretch", "minmax"}), 100u);
}

TEST(ShowPictureOfAFrame, RefusesPixelsOfMoreBytesThanItKnows) {
  for (const int bytes : {5, 8, 15}) {
    const temporary_folder folder;
    const std::string path = folder.file("frame.png");
    const std::string file =
        write_one_event(folder, {{"CAMERA", RAVO_BLOCK_IMAGE, frame_data(2, {1, 2, 3, 4}, bytes)}});
    for (const bool is_exact : {false, true}) {
      std::vector<std::string> arguments{"show", file, "-c", "CAMERA", "--picture", path};
      if (is_exact) arguments.push_back("--pixels");
      const process_result result = run_tool(arguments);
      EXPECT_EQ(result.exit_code, 1) << bytes;
      EXPECT_EQ(result.out, "");
      EXPECT_FALSE(std::filesystem::exists(path));
    }
  }
}

TEST(ShowPictureOfASpectrum, StandsWhatFilesDescribe) {
  const temporary_folder folder;
  const std::string name(200, 'L');
  const std::string file =
      write_one_event(folder, {{name,
                                RAVO_BLOCK_GENERIC_SPECT,
                                spectrum_data(2, 1, 1e9F, 1e-3F, 0, {1, NAN, 3, INFINITY, -1, -2, -3, -4}),
                                {"°C", "temperature, \xce\xb1 to \xcf\x89", "wavelength", "µm"}}});
  for (const char* ending : {"plot.png", "plot.svg"}) {
    const process_result result = run_tool({"show", file, "-c", name, "--picture", folder.file(ending)});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.err, "");
  }
}

TEST(ShowPictureWithoutFonts, SaysWhatToInstall) {
  const temporary_folder folder;
  const std::string none = "<?xml version=\"1.0\"?><fontconfig><dir>/nonexistent</dir></fontconfig>";
  const std::string config =
      folder.write("fonts.conf", {reinterpret_cast<const unsigned char*>(none.data()), none.size()});
  const process_result result =
      run_process({"/usr/bin/env", "FONTCONFIG_FILE=" + config, RAVO_TOOL, "show", demo().files[0], "-c",
                   "LINAC/ENERGY/001", "--picture", folder.file("plot.png")});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(
      result.err,
      "ravo: no font is installed to letter pictures with; install one (Debian: fonts-dejavu-core)\n");
}

#else

TEST_P(ShowPicture, SaysWhatToInstall) {
  const process_result result =
      run_tool({"show", file(), "-c", "LINAC/BPM/001", "--picture", folder.file("plot.png")});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("was built without pictures; install Cairo and Pango"));
}

#endif

TEST(ShowExactPixels, OfFourBytesAreWrittenWhereSixteenBitsHoldThem) {
  const temporary_folder folder;
  const std::string path = folder.file("frame.png");
  const std::string file =
      write_one_event(folder, {{"SMALL", RAVO_BLOCK_IMAGE, frame_data(2, {1, 65535, 3, 4}, 4)},
                               {"LARGE", RAVO_BLOCK_IMAGE, frame_data(2, {1, 65536, 3, 4}, 3)}});
  const process_result small = run_tool({"show", file, "-c", "SMALL", "--picture", path, "--pixels"});
  EXPECT_EQ(small.exit_code, 0) << small.err;
  EXPECT_EQ(read_png(path).samples, (std::vector<unsigned>{1, 65535, 3, 4}));
  std::filesystem::remove(path);
  const process_result large = run_tool({"show", file, "-c", "LARGE", "--picture", path, "--pixels"});
  EXPECT_EQ(large.exit_code, 1);
  EXPECT_EQ(large.err,
            "ravo: LARGE: it has a pixel of 65536, and a PNG holds 16 bits; show --json has all values\n");
  EXPECT_FALSE(std::filesystem::exists(path));
}

struct ShowPictureRefusal : testing::Test {
  void refused(std::vector<std::string> arguments, int code, const std::string& text) const {
    arguments.insert(arguments.begin(), {"show", demo().files[0]});
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, code);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "ravo: " + text + "\n");
  }
  temporary_folder folder;
  const std::string path = folder.file("picture.png");
};

TEST_F(ShowPictureRefusal, NamesTheEndingsThatThereAre) {
  for (const char* name : {"plot", "plot.jpg", ".png", "/dev/stdout"})
    refused({"-c", "LINAC/BPM/001", "--picture", name}, 2,
            std::string("--picture: '") + name + "': a picture's name ends in .png or .svg");
  refused({"-c", "LINAC/CAMERA/001", "--pixels", "--picture", "a.svg"}, 2,
          "--pixels: only a .png holds pixels as they are");
}

TEST_F(ShowPictureRefusal, NeedsChannelsAndGoesWithNothingElse) {
  refused({"--picture", path}, 2, "--picture needs --channel: it draws the channels that you ask for");
  refused({"--picture", path, "-c", "LINAC/BPM/001", "--json"}, 2,
          "--picture and --json do not go together");
  for (const std::vector<std::string>& option : {std::vector<std::string>{"--pixels"},
                                                 {"--overlay"},
                                                 {"--stretch", "none"},
                                                 {"--colour-map", "grey"}}) {
    std::vector<std::string> arguments{"-c", "LINAC/CAMERA/001"};
    arguments.insert(arguments.end(), option.begin(), option.end());
    refused(arguments, 2,
            "--pixels, --overlay, --stretch and --colour-map say how a --picture is drawn; name one");
    if (option[0] == "--pixels") continue;
    arguments.insert(arguments.end(), {"--picture", path, "--pixels"});
    refused(arguments, 2,
            "--pixels writes pixels as they are, without --overlay, --stretch or --colour-map");
  }
}

TEST_F(ShowPictureRefusal, WritesExactPixelsOfOneFrameOnly) {
  refused({"--picture", path, "-c", "LINAC/BPM/001", "--pixels"}, 1,
          "--pixels: LINAC/BPM/001 holds BLOCK_BPM_2010, which is no frame");
  refused({"--picture", path, "-n", "1000007", "-c", "LINAC/CAMERA/001", "-c", "LINAC/CAMERA_EXT/001",
           "--pixels"},
          2, "--pixels writes the frame of one channel, and 2 are asked for");
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(ShowPictureRefusal, SaysWhyAPictureCannotBeWritten) {
  const std::string nowhere = folder.file("no/folder.png"), inside = folder.file("inside.png");
  std::filesystem::create_directory(inside);
  refused({"-c", "LINAC/CAMERA/001", "-n", "1000007", "--pixels", "--picture", nowhere}, 1,
          nowhere + ": No such file or directory");
  refused({"-c", "LINAC/CAMERA/001", "-n", "1000007", "--pixels", "--picture", inside}, 1,
          inside + ": Is a directory");
}

TEST_F(ShowPictureRefusal, LeavesAnOlderPictureAsItIs) {
  const std::vector<unsigned char> older{'o', 'l', 'd'};
  folder.write("picture.png", older);
  refused({"--picture", path, "-c", "LINAC/BPM/001", "--pixels"}, 1,
          "--pixels: LINAC/BPM/001 holds BLOCK_BPM_2010, which is no frame");
  EXPECT_EQ(read_file(path), older);
}

}  // namespace
