// The tool as a whole, killed and interrupted at its system calls: what is left
// after_dictionary is recognised, never taken for data, and gone after the next run.
#include "started_tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "handmade_file.h"
#include "sparse_file.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr machine healthy{};

constexpr machine killed_at(long which) {
  return {call::on_disk | call::stat | call::list_folder, which, mishap::kill_before};
}

// Interrupts each call of the kinds once; the call has to be repeated.
constexpr machine interrupting(unsigned kinds) {
  return {kinds, 0, mishap::failure, EINTR, extent::every_second};
}

constexpr unsigned every_interruptible_call =
    call::on_disk | call::stat | call::read | call::seek | call::open_folder | call::list_folder;

// Small files of either generation.
class small_files {
 public:
  explicit small_files(const std::string& generation) {
    const auto made = run_tool_on(healthy, {"simulate", folder.path().string(), "--files", "2", "--events",
                                            "5", "--channels", "20", "--generation", generation});
    EXPECT_EQ(made.exit_code, 0) << made.err;
    for (const std::string& name : names_in(folder.path())) names.push_back(name);
  }
  temporary_folder folder;
  std::vector<std::string> names;
};

const small_files& older() {
  static const small_files files("older");
  return files;
}
const small_files& current() {
  static const small_files files("current");
  return files;
}

// ---- conversions that were killed -------------------------------------------------------------------

class KilledConversion : public testing::Test {
 protected:
  std::vector<std::string> convert() const {
    return {"convert", older().folder.file(older().names[0]), "--into", into(), "--force"};
  }
  std::string into() const { return folder.file("into"); }
  std::string target() const { return into() + "/" + older().names[0]; }

  void expect_only_good_files(long which) const {
    const bool is_there = std::filesystem::exists(target());
    const temporary_folder catalogue;
    const auto built =
        run_tool_on(healthy, {"catalog", "build", into(), "--into", catalogue.path().string(), "--json"});
    EXPECT_EQ(built.exit_code, 0) << which << built.err;
    EXPECT_EQ(json_lines(built.out).at(0).at("files"), is_there ? 1 : 0) << which;
    if (!is_there) return;
    const auto verified = run_tool_on(healthy, {"verify", into(), "--json"});
    EXPECT_EQ(verified.exit_code, 0) << which << verified.out;
    const auto read = run_tool_on(healthy, {"read", into(), "-c", "LINAC/ENERGY/001", "--json"});
    EXPECT_EQ(read.exit_code, 0) << which << read.err;
  }

  temporary_folder folder;
};

TEST_F(KilledConversion, LeavesNothingThatIsTakenForData) {
  ASSERT_EQ(run_tool_on(healthy, convert()).exit_code, 0);
  const auto whole = read_file(target());
  long which = 0;
  for (bool was_killed = true; was_killed; ++which) {
    ASSERT_LT(which, 1000);
    std::filesystem::remove_all(into());
    was_killed = run_tool_on(killed_at(which), convert()).signal == SIGKILL;
    EXPECT_TRUE(!std::filesystem::exists(target()) || read_file(target()) == whole) << which;
    if (which % 5 == 0 && std::filesystem::exists(into())) expect_only_good_files(which);
    const auto again = run_tool_on(healthy, convert());
    EXPECT_EQ(again.exit_code, 0) << which << again.err;
    EXPECT_EQ(names_in(into()), std::set{older().names[0]}) << which;
    EXPECT_EQ(read_file(target()), whole) << which;
    if (HasFailure()) return;
  }
  EXPECT_GE(which, 15);
}

TEST_F(KilledConversion, IsNamedWhenWhatItLeftIsRemoved) {
  long which = 0;
  for (; names_in(folder.path()).empty() || names_in(into()).empty(); ++which) {
    ASSERT_LT(which, 1000);
    run_tool_on(killed_at(which), convert());
  }
  const std::string left = into() + "/" + *names_in(into()).begin();
  EXPECT_EQ(run_tool_on(healthy, convert()).err,
            "ravo: " + left + ": removed; an earlier conversion was ended before it was done\n");
}

TEST_F(KilledConversion, IsDistinguishedFromOneThatIsRunning) {
  const std::string at_work = into() + "/.ravo_convert_atwork";
  std::filesystem::create_directories(at_work);
  const int lock = open((at_work + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  EXPECT_EQ(run_tool_on(healthy, convert()).err, "");
  EXPECT_TRUE(std::filesystem::exists(at_work + "/lock"));
  close(lock);
  EXPECT_THAT(run_tool_on(healthy, convert()).err, HasSubstr(at_work + ": removed"));
  EXPECT_EQ(names_in(into()), std::set{older().names[0]});
}

// It is unknown whether that one is in use.
TEST_F(KilledConversion, WithoutALockIsNamedAndLeft) {
  const std::string unknown = into() + "/.ravo_convert_nolock";
  std::filesystem::create_directories(unknown);
  const temporary_folder elsewhere;
  std::filesystem::copy(older().folder.file(older().names[1]), unknown);
  const auto converted = run_tool_on(healthy, convert());
  EXPECT_EQ(converted.exit_code, 0);
  EXPECT_EQ(converted.err,
            "ravo: " + unknown +
                ": an earlier conversion left it, and it cannot be removed: it has no lock by "
                "which to see whether a conversion works in it; remove it when no conversion "
                "into " +
                into() + " runs\n");
  expect_only_good_files(0);
}

// ---- interruptions ----------------------------------------------------------------------------------

struct command {
  std::string name;
  std::vector<std::string> words;  // "IN" stands for a folder of raw files, "OUT" for a fresh one
};

class Interrupted : public testing::TestWithParam<command> {
 protected:
  static machine_result run(const machine& how, const temporary_folder& out) {
    const bool converts = GetParam().words[0] == "convert";
    std::vector<std::string> words = GetParam().words;
    for (std::string& word : words) {
      if (word == "IN") word = (converts ? older() : current()).folder.path().string();
      if (word == "FILE") word = current().folder.file(current().names[0]);
      if (word.starts_with("OUT")) word = out.path().string() + word.substr(3);
    }
    machine_result result = run_tool_on(how, words);
    for (std::string* text : {&result.out, &result.err})
      for (std::size_t at; (at = text->find(out.path().string())) != std::string::npos;)
        text->replace(at, out.path().string().size(), "OUT");
    return result;
  }
};

TEST_P(Interrupted, AtEveryCallDoesTheSame) {
  const temporary_folder undisturbed, disturbed;
  const machine_result good = run(healthy, undisturbed);
  EXPECT_EQ(good.exit_code, 0) << good.err;
  for (const unsigned kinds :
       {every_interruptible_call, call::open | 0u, call::stat | 0u, call::read | 0u}) {
    for (const auto& entry : std::filesystem::directory_iterator(disturbed.path()))
      std::filesystem::remove_all(entry);
    const machine_result got = run(interrupting(kinds), disturbed);
    EXPECT_TRUE(got.has_happened || kinds != every_interruptible_call);
    EXPECT_EQ(got.exit_code, 0) << kinds;
    EXPECT_EQ(got.out, good.out) << kinds;
    EXPECT_EQ(got.err, good.err) << kinds;
    EXPECT_EQ(names_in(disturbed.path()), names_in(undisturbed.path())) << kinds;
  }
}

INSTANTIATE_TEST_SUITE_P(
    , Interrupted,
    testing::Values(command{"info", {"info", "FILE"}}, command{"channels", {"channels", "FILE"}},
                    command{"read", {"read", "IN", "-c", "LINAC/ENERGY/001", "--json", "--limit", "3"}},
                    command{"column", {"read", "IN", "--column", "LINAC/ENERGY/001"}},
                    command{"classic", {"read", "FILE", "--classic", "-c", "LINAC/ENERGY/001", "--json"}},
                    command{"digest", {"digest", "IN", "-c", "*/ENERGY/*"}},
                    command{"show", {"show", "FILE", "-c", "LINAC/ENERGY/001", "--json"}},
                    command{"verify", {"verify", "IN"}},
                    command{"learn", {"verify", "IN", "--learn", "OUT/list.txt"}},
                    command{"catalog", {"catalog", "build", "IN", "--into", "OUT/catalogue"}},
                    command{"simulate",
                            {"simulate", "OUT/made", "--files", "1", "--events", "5", "--channels", "20",
                             "--answer-key", "OUT/key.jsonl", "--fault", "flipped-bit"}},
                    command{"convert", {"convert", "IN", "--into", "OUT/into", "--verify"}}),
    [](const auto& tested) { return tested.param.name; });

// ---- a catalogue that was built too early -----------------------------------------------------------

class EarlyCatalogue : public testing::Test {
 protected:
  EarlyCatalogue() {
    // Files written now, whatever the times of their events.
    EXPECT_EQ(run_tool_on(healthy, {"simulate", raw(), "--files", "2", "--events", "5", "--channels", "20"})
                  .exit_code,
              0);
    const auto built = run_tool_on(now(), {"catalog", "build", raw(), "--into", catalogue(), "--json"});
    EXPECT_EQ(json_lines(built.out).at(0).at("growing"), 2);
  }
  static machine at(long seconds_ahead) {
    machine how;
    how.seconds_ahead = seconds_ahead;
    how.takes_fresh_files = false;
    return how;
  }
  static machine now() { return at(0); }
  static machine later() { return at(40); }
  std::string raw() const { return folder.file("raw"); }
  std::string catalogue() const { return folder.file("catalogue"); }
  machine_result read(const machine& how, std::vector<std::string> more = {}) const {
    std::vector<std::string> words = {
        "read", "--run", "1", "--catalog", catalogue(), "-c", "LINAC/ENERGY/001", "--json"};
    words.insert(words.end(), more.begin(), more.end());
    return run_tool_on(how, words);
  }
  temporary_folder folder;
};

TEST_F(EarlyCatalogue, GivesTheFilesOnceTheyHaveSettled) {
  const std::string named = run_tool_on(now(), {"read", raw(), "-c", "LINAC/ENERGY/001", "--json"}).out;
  const auto by_run = read(later());
  EXPECT_EQ(by_run.exit_code, 0) << by_run.err;
  EXPECT_EQ(by_run.err, "");
  EXPECT_EQ(without_closing(by_run.out), without_closing(named));
  const auto classic = read(later(), {"--classic"});
  EXPECT_EQ(classic.exit_code, 0) << classic.err;
  const auto found = run_tool_on(later(), {"catalog", "find", catalogue(), "--run", "1"});
  EXPECT_EQ(found.exit_code, 0) << found.err;
  const auto verified = run_tool_on(later(), {"verify", "--run", "1", "--catalog", catalogue()});
  EXPECT_EQ(verified.exit_code, 0) << verified.out << verified.err;
}

TEST_F(EarlyCatalogue, SaysThatTheFilesAreFreshAsLongAsTheyAre) {
  for (const std::vector<std::string>& way : {std::vector<std::string>{}, {"--classic"}}) {
    const auto result = read(now(), way);
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("changed less than half a minute ago"));
    EXPECT_THAT(result.err, HasSubstr("wait half a minute"));
    EXPECT_THAT(result.err, testing::Not(HasSubstr("name a catalogue")));
  }
}

TEST_F(EarlyCatalogue, AdvisesToBuildItAgainWhenItHasNoAnswer) {
  for (const std::vector<std::string>& way : {std::vector<std::string>{}, {"--classic"}}) {
    std::vector<std::string> words = {"read", "--run",           "7", "--catalog", catalogue(),
                                      "-c",   "LINAC/ENERGY/001"};
    words.insert(words.end(), way.begin(), way.end());
    const auto result = run_tool_on(later(), words);
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("`ravo catalog build"));
    EXPECT_THAT(result.err, testing::Not(HasSubstr("name a catalogue")));
  }
}

// ---- nothing that can be read -----------------------------------------------------------------------

TEST(UnreadableFiles, AreNamedWithTheReasonAndTheExitCodeIsNot0) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"read", "IN", "-c", "LINAC/ENERGY/001"},
        {"read", "IN", "-c", "LINAC/ENERGY/001", "--json"},
        {"read", "IN", "--column", "LINAC/ENERGY/001"},
        {"digest", "IN", "-c", "LINAC/ENERGY/001"},
        {"stat", "IN", "-c", "LINAC/ENERGY/001"},
        {"show", "FILE", "-c", "LINAC/ENERGY/001"},
        {"read", "FILE", "--classic", "-c", "LINAC/ENERGY/001"}}) {
    std::vector<std::string> all = words;
    all[1] = all[1] == "IN" ? current().folder.path().string() : current().folder.file(current().names[0]);
    // The folder is listed, and then the files cannot be read.
    for (const machine& broken : {machine{call::read, 0, mishap::failure, EIO, extent::all_from_there}}) {
      const auto result = run_tool_on(broken, all);
      EXPECT_NE(result.exit_code, 0) << words[0];
      EXPECT_THAT(result.err, HasSubstr(current().names[0])) << words[0];
      EXPECT_THAT(result.err, HasSubstr("Input/output error")) << words[0] << words.back();
    }
  }
}

// ---- large tables -----------------------------------------------------------------------------------

/// A sound file whose channel dictionary takes more memory than the verbs use that inspect single files:
/// one channel of four events, and very many that have neither name nor events.
std::string file_of_many_channels(const temporary_folder& folder) {
  constexpr std::uint32_t channels = 130'000, hole = 1u << 20;
  constexpr auto row = static_cast<std::uint32_t>(layout_2010::dictionary_entry);
  handmade_file made;
  handmade_channel channel("A");
  for (std::uint32_t i = 0; i < 4; ++i) {
    made.events.push_back({i + 1, 1700000000 + i, 0});
    channel.blocks.push_back(scalar<layout_2010>(i, 1.0f));
  }
  made.channels = {channel};
  sparse_file file;
  file.content = made.build();
  const auto copy = [&](bytes& to, std::size_t from, std::size_t count) {
    for (std::size_t at = from; at < from + count; at += 4) to.u32(file.content.word(at));
  };
  bytes dictionary = nameless_dictionary<layout_2010>(channels);
  copy(dictionary, made.at.at("dictionary") + 8, row);
  const std::uint32_t after = hole + 8 + channels * row;
  bytes pointers;
  copy(pointers, made.at.at("pointers"), 4);
  pointers.u32(12 + channels * 4 * 16).u32(4);
  copy(pointers, made.at.at("pointers") + 12, 4 * 16);
  file.end = after + 12 + channels * 4 * 16;
  file.lead(reference_field::dictionary, hole, dictionary).lead(reference_field::pointers, after, pointers);
  return file.write(folder, "linac_main_run1_file1_20231114T221320Z.raw");
}

// Whichever read fails, the tables are not the problem of the file.
TEST(LargeTables, AreNotWhyValuesOfASoundFileAreMissing) {
  const temporary_folder folder;
  const std::vector<std::string> read = {"digest", file_of_many_channels(folder), "-c", "A", "--json"};
  const auto good = run_tool_on(healthy, read);
  ASSERT_EQ(good.exit_code, 0) << good.err;
  ASSERT_EQ(closing_of(good.out).at("ledger").at("delivered"), 4);
  std::size_t with_missing = 0;
  bool happened = true;
  for (long which = 0; happened; ++which) {
    const auto result = run_tool_on({call::read, which, mishap::failure, EIO}, read);
    happened = result.has_happened;
    EXPECT_THAT(result.out + result.err, testing::Not(HasSubstr("of memory"))) << which;
    if (result.out.empty()) continue;
    const json ledger = closing_of(result.out).at("ledger");
    EXPECT_EQ(ledger.at("files"), json::array()) << which;
    with_missing += ledger.at("missing") == 0 ? 0 : 1;
  }
  EXPECT_GE(with_missing, 1u);
}

}  // namespace
