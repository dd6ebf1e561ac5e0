// Files that claim gigabytes: every verb that opens them stays under 128 MiB of resident memory, and
// says which file it leaves out or shows only in part, and what can be done. The files are sparse.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <map>

#include "handmade_file.h"
#include "sparse_file.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using testing::HasSubstr;
using testing::Not;

constexpr long most_kilobytes = 128 << 10;
constexpr std::uint32_t hole = 1u << 20;
constexpr std::uint32_t noon = 1700000000;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool is_memory_the_programs = false;
#else
constexpr bool is_memory_the_programs = true;
#endif

/// A good file of one channel, and parts that claim more than there is.
template <class layout>
class claims {
 public:
  claims() {
    for (std::uint32_t i = 0; i < 4; ++i) file_.events.push_back({i + 1, noon + i, 0});
    handmade_channel channel("A");
    for (std::size_t i = 0; i < 4; ++i) channel.blocks.push_back(scalar<layout>(i, 1.0f));
    file_.channels = {channel};
  }

  /// 7 million channels without names.
  std::string dictionary(const temporary_folder& folder) {
    const bytes table = nameless_dictionary<layout>(7'000'000);
    sparse_file made = sparse(hole + 4096 + table.word(4));
    made.lead(reference_field::dictionary, hole + 4096, table);
    made.lead(reference_field::pointers, hole, bytes().u32(0xecbecbf3u).u32(12).u32(0));
    return made.write(folder, name_of("1"));
  }
  /// 100 million events of one type.
  std::string event_index(const temporary_folder& folder) {
    constexpr std::uint32_t events = 100'000'000;
    bytes table;
    table.u32(0xedaedaf3u)
        .u32(1)
        .i32(1)
        .u32(noon)
        .u32(0)
        .u32(noon + 1)
        .u32(0)
        .u32(1)
        .u32(events)
        .u32(events);
    sparse_file made = sparse(hole + 40 + events * 16);
    made.lead(reference_field::event_index, hole, table);
    made.to[reference_field::event_type_0 + 4] = hole + 8;
    return made.write(folder, name_of("2"));
  }
  /// A row of 100 million pointers, of which 4 are used.
  std::string pointers(const temporary_folder& folder) {
    constexpr std::uint32_t row = 100'000'000;
    const bytes content = file_.build();
    const std::size_t old = file_.at.at("pointers");
    bytes table;
    table.u32(content.word(old)).u32(12 + row * 16).u32(row);
    for (std::size_t word = 0; word < 16; ++word) table.u32(content.word(old + 12 + word * 4));
    return sparse(hole + 12 + row * 16)
        .lead(reference_field::pointers, hole, table)
        .write(folder, name_of("3"));
  }
  std::string environment(const temporary_folder& folder) {
    constexpr std::uint32_t length = 8 + 200'000'000 * 8;
    return sparse(hole + length)
        .lead(reference_field::environment, hole, bytes().u32(0xeddeddf3u).u32(length))
        .write(folder, name_of("4"));
  }
  /// 10 MB of text that takes fifty times as much memory, all of it present.
  std::string descriptions(const temporary_folder& folder) {
    file_.xml = "<channel_descriptions version=\"1\">";
    while (file_.xml.size() < 10'000'000) file_.xml += "<channel prop_name=\"a\"/>";
    file_.xml += "</channel_descriptions>";
    return folder.write(name_of("5"), file_.build().vector());
  }
  /// The same, but 2 GB of zeros.
  std::string long_descriptions(const temporary_folder& folder) {
    constexpr std::uint32_t length = 2'000'000'000;
    return sparse(hole + length)
        .lead(reference_field::descriptions, hole, bytes().u32(0xcddcddf3u).u32(length))
        .write(folder, name_of("6"));
  }
  std::string event_headers(const temporary_folder& folder) {
    constexpr std::uint32_t length = 8 + 50'000'000 * 36;
    return sparse(hole + length)
        .lead(reference_field::event_headers, hole, bytes().u32(0xebaebaf3u).u32(length))
        .write(folder, name_of("7"));
  }
  /// Four blocks that are 30 MiB each when they are inflated, and one that claims two gigabytes.
  std::string blocks(const temporary_folder& folder) {
    for (handmade_block& block : file_.channels[0].blocks) {
      block.payload = spectrum<layout>({std::vector<float>(30 << 18, 1.0f)});
      block = zipped(block, 1);
    }
    file_.channels[0].blocks[2].orig_length = 2'000'000'000;
    return folder.write(name_of("8"), file_.build().vector());
  }
  /// The same, built by another process: the memory that a
  /// parent process had counts for the program that it starts.
  std::string blocks_by_another_process(const temporary_folder& folder) {
    const pid_t other = fork();
    if (other == 0) {
      blocks(folder);
      _exit(0);
    }
    int status = -1;
    waitpid(other, &status, 0);
    EXPECT_EQ(status, 0);
    return folder.file(name_of("8"));
  }

 private:
  sparse_file sparse(std::uint32_t end) {
    sparse_file made;
    made.content = file_.build();
    made.end = end;
    return made;
  }
  static std::string name_of(const std::string& number) {
    return "linac_main_run" + number + "_file1_20231114T221320Z.raw";
  }

  handmade_file_of<layout> file_;
};

template <class layout>
class Claims : public testing::Test {
 protected:
  claims<layout> file;
  temporary_folder folder;

  process_result run(const std::vector<std::string>& arguments) {
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.signal, 0) << arguments[0];
    if (is_memory_the_programs) {
      EXPECT_LT(result.most_kilobytes, most_kilobytes) << arguments[0];
    }
    return result;
  }
  /// All verbs that open a file, with little memory; a verb that shows nothing says why.
  std::map<std::string, process_result> all_verbs(const std::string& path) {
    std::map<std::string, process_result> results;
    for (const std::string verb : {"info", "channels", "descr", "show", "verify"})
      results[verb] = run({verb, path});
    results["index"] = run({"index", path, "--limit", "3"});
    results["headers"] = run({"headers", path, "A"});
    results["catalog"] = run({"catalog", "build", path, "--into", folder.file("catalogue")});
    for (const auto& [verb, result] : results)
      if (result.exit_code != 0 && verb != "verify" && verb != "catalog") {
        EXPECT_THAT(result.err, HasSubstr(path)) << verb;
      }
    return results;
  }
  /// The same for a file that only `verify` and `catalog` open.
  void expect_left_out(const std::string& path) {
    const auto results = all_verbs(path);
    for (const std::string verb : {"info", "channels", "descr", "index", "headers", "show"}) {
      EXPECT_EQ(results.at(verb).exit_code, 1) << verb;
      EXPECT_THAT(results.at(verb).err, HasSubstr("of memory")) << verb;
      EXPECT_THAT(results.at(verb).err, HasSubstr("ravo verify")) << verb;
    }
  }
};
using layouts = testing::Types<layout_2009, layout_2010>;
TYPED_TEST_SUITE(Claims, layouts);

TYPED_TEST(Claims, OfMillionsOfChannelsAreLeftOutByName) {
  this->expect_left_out(this->file.dictionary(this->folder));
}

TYPED_TEST(Claims, OfMillionsOfEventsAreLeftOutByName) {
  this->expect_left_out(this->file.event_index(this->folder));
}

TYPED_TEST(Claims, OfAnEnvironmentOfGigabytesAreLeftOutByName) {
  this->expect_left_out(this->file.environment(this->folder));
}

TYPED_TEST(Claims, OfMillionsOfPointersAreReadOneByOne) {
  const auto results = this->all_verbs(this->file.pointers(this->folder));
  for (const std::string verb : {"info", "channels", "index", "headers"})
    EXPECT_EQ(results.at(verb).exit_code, 0) << verb << results.at(verb).err;
  EXPECT_THAT(results.at("headers").out, HasSubstr("event 4"));
}

TYPED_TEST(Claims, OfDescriptionsThatBecomeTooLargeAreShownWithoutThem) {
  for (const std::string& path :
       {this->file.long_descriptions(this->folder), this->file.descriptions(this->folder)}) {
    const auto results = this->all_verbs(path);
    for (const std::string verb : {"info", "channels"}) {
      EXPECT_EQ(results.at(verb).exit_code, 0) << verb << results.at(verb).err;
      EXPECT_THAT(results.at(verb).err, HasSubstr("descriptions"));
    }
    EXPECT_EQ(results.at("descr").exit_code, 1);
    EXPECT_THAT(results.at("descr").err, HasSubstr("descriptions"));
    EXPECT_THAT(results.at("verify").out, HasSubstr("file.too_large"));
  }
}

TYPED_TEST(Claims, OfMillionsOfEventHeadersTakeLittleMemory) {
  const auto results = this->all_verbs(this->file.event_headers(this->folder));
  EXPECT_EQ(results.at("info").exit_code, 0);
}

TYPED_TEST(Claims, OfLargeBlocksTakeLittleMemory) {
  const auto results = this->all_verbs(this->file.blocks_by_another_process(this->folder));
  EXPECT_EQ(results.at("info").exit_code, 0);
}

// One event is decoded, not the other ones of its channels.
TYPED_TEST(Claims, OfLargeBlocksAreShownOneAtATime) {
  const std::string path = this->file.blocks_by_another_process(this->folder);
  for (const std::string event : {"first", "2", "last", "2023-11-14T22:13:21"}) {
    const process_result shown = this->run({"show", path, "--event", event});
    EXPECT_EQ(shown.exit_code, 0) << event << shown.err;
    EXPECT_THAT(shown.out, HasSubstr("7864320 values"));
  }
  const process_result damaged = this->run({"show", path, "--event", "3"});
  EXPECT_EQ(damaged.exit_code, 1);
  EXPECT_THAT(damaged.err, HasSubstr("event 3: not all data could be read:\n  A\n    cannot inflate, at "));
}

TYPED_TEST(Claims, OfLargeBlocksAreNotShownInLessMemory) {
  const std::string path = this->file.blocks_by_another_process(this->folder);
  for (const std::string limit : {"16M", "40M"}) {
    const process_result shown = run_tool({"show", path, "--memory", limit});
    EXPECT_EQ(shown.exit_code, 1) << limit;
    EXPECT_EQ(shown.out, "");
    EXPECT_THAT(shown.err, HasSubstr("give more with --memory")) << limit;
  }
  EXPECT_EQ(run_tool({"show", path, "--memory", "0"}).exit_code, 2);
}

// The limit of a reading includes the tables that it loads.
TYPED_TEST(Claims, AreRefusedByReadingsWithTheirMemoryLimit) {
  for (const std::string& path : {this->file.dictionary(this->folder), this->file.pointers(this->folder)})
    for (const std::string verb : {"plan", "digest"}) {
      const process_result result = this->run({verb, path, "--memory", "64M"});
      EXPECT_EQ(result.exit_code, 1) << verb;
      EXPECT_THAT(result.err, HasSubstr("memory limit")) << verb;
    }
}

TEST(BlockLimit, LeavesOutLargeBlocksAndCountsThem) {
  const std::vector<std::string> what = {"digest", demo().files[0], "-c", "LINAC/ENERGY/001", "--json"};
  std::vector<std::string> limited = what;
  limited.insert(limited.end(), {"--max-block", "8"});
  const process_result all = run_tool(what), none = run_tool(limited);
  ASSERT_EQ(all.exit_code, 0) << all.err;
  ASSERT_EQ(none.exit_code, 0) << none.err;
  const auto before = closing_of(all.out).at("ledger");
  const auto ledger = closing_of(none.out).at("ledger");
  EXPECT_EQ(before.at("missing"), 0);
  EXPECT_GT(before.at("delivered"), 0);
  EXPECT_EQ(ledger.at("delivered"), 0);
  EXPECT_EQ(ledger.at("channels").at(0).at("missing").at("block_too_large"), before.at("delivered"));
  EXPECT_EQ(ledger.at("values").at(0).at("cause"), "block_too_large");
}

TEST(BlockLimit, IsRefusedWhereItIsNoSizeAndByTheClassicReader) {
  const process_result wrong = run_tool({"digest", demo().files[0], "--max-block", "many"});
  EXPECT_EQ(wrong.exit_code, 2);
  EXPECT_THAT(wrong.err, HasSubstr("--max-block"));
  const process_result classic =
      run_tool({"read", demo().files[0], "-c", "LINAC/ENERGY/001", "--classic", "--max-block", "8"});
  EXPECT_EQ(classic.exit_code, 2);
  EXPECT_THAT(classic.err, HasSubstr("--max-block"));
}

}  // namespace
