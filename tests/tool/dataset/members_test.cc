// Members by their names: the same as by their numbers, for every verb that takes channels and either way
// of reading.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using testing::HasSubstr;

class Members : public testing::TestWithParam<const char*> {
 protected:
  const demo_data& data = demo_of(GetParam());
  const std::string folder = data.folder.path().string();

  static std::string out_of(const std::vector<std::string>& arguments) {
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_NE(result.out, "");
    return result.out;
  }
};
INSTANTIATE_TEST_SUITE_P(Generations, Members, testing::Values("current", "older"),
                         [](const testing::TestParamInfo<const char*>& tested) {
                           return std::string(tested.param);
                         });

TEST_P(Members, AreThoseOfTheirNumbersForEveryVerb) {
  for (const auto& [by_name, by_number] :
       {std::pair("LINAC/BPM/001:CHARGE", "LINAC/BPM/001:2"),
        std::pair("LINAC/BPM/001:X", "LINAC/BPM/001:0"), std::pair("LINAC/RF/*:PHASE", "LINAC/RF/*:1"),
        std::pair("~LINAC/RF/00.:PHASE", "~LINAC/RF/00.:1")}) {
    SCOPED_TRACE(by_name);
    for (const char* verb : {"read", "plan", "digest", "stat"})
      EXPECT_EQ(out_of({verb, folder, "-c", by_name}), out_of({verb, folder, "-c", by_number})) << verb;
    if (*by_name == '~') continue;
    EXPECT_EQ(out_of({"read", data.files[0], data.files[1], "--classic", "-c", by_name}),
              out_of({"read", data.files[0], data.files[1], "--classic", "-c", by_number}));
    EXPECT_EQ(out_of({"show", data.files[0], "-c", by_name}),
              out_of({"show", data.files[0], "-c", by_number}));
  }
  EXPECT_EQ(out_of({"read", folder, "--column", "LINAC/BPM/001:CHARGE"}),
            out_of({"read", folder, "--column", "LINAC/BPM/001:2"}));
  EXPECT_EQ(out_of({"digest", folder, "-c", "LINAC/SPECTRUM/001:CH0"}),
            out_of({"digest", folder, "-c", "LINAC/SPECTRUM/001:0"}));
}

TEST_P(Members, OfNoSuchNameAreRefusedWithThoseThatThereAre) {
  const std::string because = "\"LINAC/BPM/001\" has no member \"PHASE\"; it has 0 X, 1 Y, 2 CHARGE";
  for (const std::vector<std::string>& line : {std::vector<std::string>{"read", folder},
                                               {"read", data.files[0], data.files[1], "--classic"},
                                               {"digest", folder},
                                               {"show", data.files[0]}}) {
    std::vector<std::string> arguments = line;
    arguments.insert(arguments.end(), {"-c", "LINAC/BPM/001:PHASE"});
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr(because)) << testing::PrintToString(line);
  }
}

}  // namespace
