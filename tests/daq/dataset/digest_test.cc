// Anybody can compute a digest: the figures here were printed by the program of docs/dataset.md, which
// shares nothing with the code.
#include "ravo_dataset/digest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "../../evutl/small_file.h"
#include "ravo_dataset.h"
#include "temporary_folder.h"

namespace {

using namespace ravo;
using namespace ravo::test;

std::vector<std::byte> counting_bytes(std::size_t count) {
  std::vector<std::byte> bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::byte>(i + 1);
  return bytes;
}

std::span<const std::byte> bytes_of(std::string_view text) { return std::as_bytes(std::span(text)); }

constexpr ravo_time_id early{5, {7, 11}};

std::string digest_of_one(const ravo_time_id& event, value_status status,
                          std::span<const std::byte> bytes) {
  channel_digest digest;
  digest.add(event, status, bytes);
  return digest.to_text();
}

struct length_case {
  std::size_t bytes;
  const char* digest;
};

class DigestOfBytes : public testing::TestWithParam<length_case> {};

TEST_P(DigestOfBytes, IsThatOfThePagesProgram) {
  EXPECT_EQ(digest_of_one(early, value_status::ok, counting_bytes(GetParam().bytes)), GetParam().digest);
}

INSTANTIATE_TEST_SUITE_P(Lengths, DigestOfBytes,
                         testing::Values(length_case{0, "cd7e723830e5a339af8c7c21ec86f8fd"},
                                         length_case{1, "899918cd0e18f768ac9284b34953403d"},
                                         length_case{7, "360c609b4fe0810286602d8be6b94bee"},
                                         length_case{8, "aeee079b1fb683ae1ffd251d931c9706"},
                                         length_case{9, "e64f910af4d3af2b21073d6c021e10a7"},
                                         length_case{15, "8c54355139bb1b8bb351b41fdc10f6e8"},
                                         length_case{16, "b3408ac7c913310a573e3e8ca161a615"},
                                         length_case{17, "48c54a312769d334d20b432c3cb98949"},
                                         length_case{24, "ff4de8f3c2f8a9948c2d2a116ce1c3dc"},
                                         length_case{33, "32ccaa6b8c46b210a9ade0adef4589d1"}),
                         [](const auto& one) { return "Of" + std::to_string(one.param.bytes); });

TEST(Digest, OfNoValueIsThatOfThePagesProgram) {
  EXPECT_EQ(channel_digest().to_text(), "9e3779b97f4a7c150000000000000000");
}

TEST(Digest, OfAMissingValueHasItsStatusAndNoData) {
  const std::string expected = "b96dd568caadfe3018fd5e4984d612bf";
  EXPECT_EQ(digest_of_one(early, value_status::truncated, bytes_of("abc")), expected);
  EXPECT_EQ(digest_of_one(early, value_status::truncated, {}), expected);
}

TEST(Digest, OfAnEventWithoutANumberIsThatOfThePagesProgram) {
  EXPECT_EQ(digest_of_one({0, {0xffffffff, 999999}}, value_status::ok, bytes_of("abc")),
            "b4b5738bcb6c2e47941f1756082bf90b");
}

TEST(Digest, OfSeveralValuesAddsUpInAnyOrder) {
  const ravo_time_id late{6, {7, 12}};
  channel_digest first, second;
  first.add(late, value_status::bad_checksum, {});
  second.add(early, value_status::ok, bytes_of("abc"));
  first.add(second);
  EXPECT_EQ(first.to_text(), "6af6df12c000d06b9c207b2d74ac0d1a");
}

TEST(Digest, OfTheDocumentedFileIsThatOfThePage) {
  std::ifstream stream(RAVO_SOURCE_FOLDER "/docs/dataset.md");
  const std::string page{std::istreambuf_iterator<char>(stream), {}};
  const temporary_folder folder;
  const small_file example = small_file_like(layout_2010{});
  const std::string file =
      folder.write("linac_main_run1_file1_20260101T000000Z.raw", example.content.vector());
  const auto digests = ravo::dataset::open("file=" + file + " chan=LINAC/BPM1").digest();
  ASSERT_EQ(digests.size(), 1u);
  EXPECT_THAT(page, testing::HasSubstr("$ python3 digest.py\n" + digests[0].digest.to_text() + "\n"));
}

}  // namespace
