// What `ravo show` writes at the axis of a spectrum:
// the file's description, and nothing if there is none.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "one_event_file.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

// The path of a file with one generic spectrum that has this description.
std::string spectrum_file(const temporary_folder& folder, const described& words) {
  return write_one_event(folder, {{"SPECTRUM", RAVO_BLOCK_GENERIC_SPECT,
                                   spectrum_data(1, 1, 400, 0.5F, 0, {1, 2, 3, 2}), words}});
}

std::string text_of(const std::string& file) {
  const process_result result = run_tool({"show", file, "-c", "SPECTRUM"});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  return result.out;
}

json channel_of(const std::string& file) {
  return json_lines(run_tool({"show", file, "-c", "SPECTRUM", "--json"}).out).at(0).at("channels").at(0);
}

TEST(ShowAxis, OfAGenericSpectrumIsTheDescribedOne) {
  const temporary_folder folder;
  const std::string file = spectrum_file(folder, {"counts", "", "wavelength", "µm"});
  EXPECT_THAT(text_of(file), HasSubstr("    wavelength, µm: from 400 by 0.5\n"));
  EXPECT_EQ(channel_of(file).at("axis"), "wavelength, µm");
}

TEST(ShowAxis, MayHaveNoUnitOrNoName) {
  const temporary_folder named, measured;
  EXPECT_EQ(channel_of(spectrum_file(named, {"", "", "channel number", ""})).at("axis"), "channel number");
  EXPECT_EQ(channel_of(spectrum_file(measured, {"", "", "", "eV"})).at("axis"), "eV");
}

TEST(ShowAxis, HasNoTextWhereNothingIsDescribed) {
  const temporary_folder folder;
  const std::string file = spectrum_file(folder, {"counts", "of photons"});
  EXPECT_THAT(text_of(file), HasSubstr("\n    from 400 by 0.5\n"));
  EXPECT_FALSE(channel_of(file).contains("axis"));
}

TEST(ShowAxis, OfTheSimulatedSpectrumIsItsWavelength) {
  for (const char* generation : {"current", "older"}) {
    const process_result result =
        run_tool({"show", demo_of(generation).files[0], "-n", "1000020", "-c", "LINAC/SPECTRUM/001"});
    EXPECT_THAT(result.out, HasSubstr("    wavelength, nm: from "));
    EXPECT_THAT(result.out, Not(HasSubstr("as described")));
  }
}

}  // namespace
