// Manifests: what they hold, that their bytes are checked, and what a stranger may write into one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "select/sha256.h"
#include "written_files.h"

namespace {

using namespace ravo;
using namespace ravo::test;
using detail::sha256_of;
using testing::ElementsAre;
using testing::HasSubstr;

struct digest_case {
  const char* what;
  std::string bytes;
  const char* digest;
};
class Sha256 : public testing::TestWithParam<digest_case> {};

TEST_P(Sha256, IsThatOfSha256sum) { EXPECT_EQ(sha256_of(GetParam().bytes), GetParam().digest); }

INSTANTIATE_TEST_SUITE_P(
    Bytes, Sha256,
    testing::Values(
        digest_case{"Nothing", "", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        digest_case{"Abc", "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        digest_case{"FiftyFive", std::string(55, 'a'),
                    "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318"},
        digest_case{"FiftySix", std::string(56, 'a'),
                    "b35439a4ac6f0948b6d6f9e3c6af0f5f590ce20f1bde7090ef7970686ec6738a"},
        digest_case{"SixtyFour", std::string(64, 'a'),
                    "ffe054fe7ae0cb6dc65c3af9b61d5209f439851db43d0ba5997337df154668eb"},
        digest_case{"Million", std::string(1000000, 'a'),
                    "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
        digest_case{"HighBytes", std::string(119, '\xff'),
                    "b863f94597d433ef2280e3b4656f13ea265a79bb8047287321c218905b03c99b"}),
    [](const auto& one) { return std::string(one.param.what); });

class Manifest : public testing::Test {
 protected:
  Manifest() {
    for (std::uint32_t i = 0; i < 3; ++i) {
      handmade_file made;
      made.events = {event_at(i + 1, i * 1000)};
      made.channels = {numbers_at("A", {{0, static_cast<float>(i)}})};
      files.push_back(write(folder, "f " + std::to_string(i) + ".raw", made));
    }
  }

  std::string write_manifest(const std::string& bytes) const {
    const std::string path = (folder.path() / "list").string();
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }

  static void expect_refused(const std::string& text, const std::string& reason) {
    try {
      dataset::open(text);
      FAIL() << text;
    } catch (const selection_error& error) {
      EXPECT_THAT(error.what(), HasSubstr(reason));
    }
  }

  temporary_folder folder;
  std::vector<std::string> files;
};

selection with_all_lists() {
  selection wanted;
  wanted.files = {"/data/a b.raw", "/data/\xff\n,\".raw"};
  wanted.context = {"/data/c.raw"};
  wanted.left_out = {{"/data/d:e.raw", file_refusal::still_written}, {"/x", file_refusal::missing}};
  wanted.gaps = {{time_stamp{1700000000, 5}, std::nullopt}, {std::nullopt, time_stamp{1700000001, 0}}, {}};
  wanted.channels = {"LINAC/*", "~.*"};
  wanted.exact = {{"A:1", -1, "", true}, {"B", 3, "CHARGE", false}};
  wanted.step = 3;
  wanted.phase = 1;
  wanted.slow = slow_policy::nearest;
  return wanted;
}

TEST_F(Manifest, HoldsTheListsOfASelection) {
  const std::string path = (folder.path() / "list").string();
  const selection wanted = with_all_lists();
  const selection moved = move_lists_to_manifest(wanted, path);
  EXPECT_EQ(moved.to_text(), "linac/main manifest=" + path + ",sha256:" + moved.manifests[0].sha256 +
                                 " step=3 phase=1 slow=nearest");
  EXPECT_EQ(with_manifests(selection::parse(moved.to_text())), wanted);
}

TEST_F(Manifest, OfTheSameListsMayBeWrittenTwiceAndOfOthersNot) {
  const std::string path = (folder.path() / "list").string();
  selection wanted = with_all_lists();
  const selection moved = move_lists_to_manifest(wanted, path);
  EXPECT_EQ(move_lists_to_manifest(wanted, path), moved);
  wanted.files.pop_back();
  EXPECT_THROW(static_cast<void>(move_lists_to_manifest(wanted, path)), selection_error);
  EXPECT_EQ(with_manifests(moved), with_all_lists());
}

TEST_F(Manifest, ThatCannotBeWrittenIsRefused) {
  EXPECT_THROW(static_cast<void>(move_lists_to_manifest(with_all_lists(), "/nowhere/list")),
               selection_error);
}

TEST_F(Manifest, WrittenByHandIsRead) {
  const std::string bytes = "file=\"" + files[0] + "\"\nfile=\"" + files[1] + "\"\r\n\n chan=A";
  const std::string path = write_manifest(bytes);
  const std::string text =
      "manifest=" + path + ",sha256:" + sha256_of(bytes) + " file=\"" + files[2] + "\"";
  const dataset data = dataset::open(text);
  EXPECT_THAT(numbers_of(data.events()), ElementsAre(1u, 2u, 3u));
  EXPECT_EQ(data.get_selection(), selection::parse(text));
  EXPECT_EQ(find_files(selection::parse(text)).files.size(), 3u);
}

TEST_F(Manifest, OfOtherBytesIsRefused) {
  const std::string bytes = "file=\"" + files[0] + "\"\n";
  const std::string path = write_manifest(bytes);
  const std::string text = "manifest=" + path + ",sha256:" + sha256_of(bytes);
  EXPECT_EQ(dataset::open(text).size(), 1u);
  std::ofstream(path, std::ios::binary | std::ios::app) << " ";
  expect_refused(text, "is not the one that the selection names");
  std::filesystem::remove(path);
  expect_refused(text, "is not there");
}

TEST_F(Manifest, WithAnythingButListsIsRefused) {
  for (const char* const word : {"step=2", "fel/daq", "run=7", "slow=hold", "catalog=/cat", "limit=1"}) {
    const std::string bytes = std::string("file=a.raw ") + word;
    expect_refused("manifest=" + write_manifest(bytes) + ",sha256:" + sha256_of(bytes),
                   "holds lists alone");
  }
  const std::string nonsense = "file=a.raw what=is";
  expect_refused("manifest=" + write_manifest(nonsense) + ",sha256:" + sha256_of(nonsense),
                 "a word that cannot be read");
  const std::string nested = "manifest=b,sha256:" + std::string(64, '0');
  expect_refused("manifest=" + write_manifest(nested) + ",sha256:" + sha256_of(nested),
                 "holds lists alone");
}

TEST_F(Manifest, ThatIsAFolderIsRefused) {
  expect_refused("manifest=" + folder.path().string() + ",sha256:" + sha256_of(""), "not a regular file");
}

TEST_F(Manifest, OfMoreBytesThanAreReadIsRefused) {
  constexpr std::uintmax_t most = std::uintmax_t{64} << 20;
  const std::string path = write_manifest("file=a.raw\n");
  const std::string text = "manifest=" + path + ",sha256:" + sha256_of("");
  std::filesystem::resize_file(path, most);
  expect_refused(text, "is not the one that the selection names");
  std::filesystem::resize_file(path, most + 1);
  expect_refused(text, "has 67108865 bytes, and no more than 67108864 are read");
}

TEST_F(Manifest, ListsBeforeTheSelectionItself) {
  const std::string bytes = "file=b.raw chan=B";
  const std::string text =
      "manifest=" + write_manifest(bytes) + ",sha256:" + sha256_of(bytes) + " file=a.raw chan=A";
  const selection whole = with_manifests(selection::parse(text));
  EXPECT_THAT(whole.files, ElementsAre("b.raw", "a.raw"));
  EXPECT_THAT(whole.channels, ElementsAre("B", "A"));
}

TEST_F(Manifest, HasItsPartsReadAsTheyAre) {
  selection wanted;
  wanted.files = files;
  const dataset whole = dataset::open(wanted);
  partition_options options;
  options.count = 3;
  std::size_t part = 0;
  for (const partition& one : whole.partitions(options)) {
    const auto path = (folder.path() / ("part" + std::to_string(part))).string();
    const selection moved = move_lists_to_manifest(one.wanted, path);
    EXPECT_TRUE(moved.files.empty());
    EXPECT_THAT(numbers_of(dataset::open(moved.to_text()).events()), ElementsAre(++part));
  }
  EXPECT_EQ(part, 3u);
}

}  // namespace
