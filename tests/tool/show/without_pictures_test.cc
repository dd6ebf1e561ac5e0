// The build without Cairo and Pango says how to get them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "drawing/picture/picture_file.h"

namespace {

using namespace ravo::drawing;

TEST(WithoutPictures, SaysWhatToInstall) {
  const auto message = [](const auto& tried) -> std::string {
    try {
      tried();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "nothing was thrown";
  };
  const std::string wanted =
      "this program was built without pictures; install Cairo and Pango (Debian: libcairo2-dev, "
      "libpango1.0-dev) and build it again with RAVO_TOOL_PICTURES=ON";
  EXPECT_EQ(message([] { picture_ruler(); }), wanted);
  EXPECT_EQ(message([] { picture_bytes({}, picture_format::png); }), wanted);
}

}  // namespace
