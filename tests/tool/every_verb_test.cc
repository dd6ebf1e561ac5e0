// What holds for every verb: names out of files cannot manipulate the terminal
// or forge a line, and one file that cannot be read does not hide the others.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <regex>
#include <utility>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using testing::HasSubstr;

// ---- what may be printed

/// The code of the character at a place, and its bytes; `nullopt` if it is not valid UTF-8.
std::optional<std::pair<unsigned, std::size_t>> letter_at(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t i) {
    return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0u;
  };
  const auto more = [&](std::size_t i) { return byte(i) >= 0x80 && byte(i) < 0xc0; };
  const auto rest = [&](std::size_t i) { return byte(i) - 0x80; };
  if (byte(0) < 0x80) return std::pair(byte(0), std::size_t{1});
  if (byte(0) >= 0xc2 && byte(0) < 0xe0 && more(1))
    return std::pair((byte(0) - 0xc0) * 64 + rest(1), std::size_t{2});
  if (byte(0) >= 0xe0 && byte(0) < 0xf0 && more(1) && more(2)) {
    const unsigned code = ((byte(0) - 0xe0) * 64 + rest(1)) * 64 + rest(2);
    if (code >= 0x800 && (code < 0xd800 || code > 0xdfff)) return std::pair(code, std::size_t{3});
  }
  return std::nullopt;  // nothing that the tool prints has four bytes
}

/// The place of the first character that a terminal obeys or that is not valid; `nullopt` if there is none.
std::optional<std::size_t> first_bad_byte(const std::string& text) {
  for (std::size_t at = 0; at < text.size();) {
    const auto letter = letter_at(text, at);
    if (!letter) return at;
    const unsigned code = letter->first;
    const bool is_control = (code < 0x20 && code != '\n') || (code >= 0x7f && code < 0xa0);
    const bool turns = (code >= 0x200b && code <= 0x200f) || (code >= 0x2028 && code <= 0x202e) ||
                       (code >= 0x2060 && code <= 0x2069) || code == 0x61c || code == 0xfeff;
    if (is_control || turns) return at;
    at += letter->second;
  }
  return std::nullopt;
}

void expect_plain(const std::string& text) {
  const auto bad = first_bad_byte(text);
  EXPECT_FALSE(bad) << "at " << *bad << " of " << testing::PrintToString(text);
}

// ---- files with hostile names

const std::string red = "BAD/\033[31mRED\n";  // as long as the name that it replaces
const std::string turned =
    "C1\xc2\x9b"
    "31m\x9b\xff\xe2\x80\xaeX";  // the same

void replace_all(std::string& bytes, const std::string& what, const std::string& with) {
  ASSERT_EQ(what.size(), with.size());
  std::size_t found = 0;
  for (std::size_t at = 0; (at = bytes.find(what, at)) != std::string::npos; at += what.size(), ++found)
    bytes.replace(at, what.size(), with);
  ASSERT_GT(found, 0u) << what;
}

struct hostile_files {
  temporary_folder folder;
  std::string raw;        ///< with hostile names of channels and servers
  std::string strange;    ///< the same under a hostile name
  std::string described;  ///< the same of the older generation, with hostile descriptions
  std::string broken;     ///< an empty file of a hostile name
  std::string all, older, catalogue, out;
  hostile_files() {
    all = folder.file("a\033[31m\n\xc2\x9b");
    older = folder.file("older\033[0m");
    catalogue = folder.file("catalogue\xff");
    out = folder.file("out\n");
    run_tool({"simulate", all, "--events", "12", "--channels", "24"});
    run_tool({"simulate", older, "--events", "12", "--channels", "24", "--generation", "older"});
    for (const std::string& path : raw_files(older)) patch(path);
    described = raw_files(older).at(0);
    raw = raw_files(all).at(0);
    patch(raw);
    strange = all + "/linac_main_run1_file2_20250301T080010Z\033[2J\n.raw";
    std::filesystem::copy_file(raw, strange);
    broken = all + "/linac_main_run1_file3_20250301T080020Z\033[2J\n\xff.raw";
    std::ofstream(broken).close();
  }

 private:
  static void patch(const std::string& path) {
    const std::vector<unsigned char> read = read_file(path);
    std::string bytes(read.begin(), read.end());
    replace_all(bytes, "LINAC/BPM/001", red);
    replace_all(bytes, "LINAC/BPM/002", turned);
    replace_all(bytes, "LINAC.BPM.SERVER", "LIN\033[2J.BPM\nSRVR");
    replace_all(bytes, "charge of the bunches", "charge\r\xc2\x9b of\xe2\x80\xae bunch");
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
  }
};

const hostile_files& hostile() {
  static const hostile_files files;
  return files;
}

using command_line = std::vector<std::string>;

std::map<std::string, std::vector<command_line>> hostile_lines(const hostile_files& at) {
  const std::string nowhere = at.folder.file("no\033[31m\n\xc2\x9b");
  return {
      {"simulate", {{at.out + "sim", "--events", "2", "--channels", "20"}, {"\033[31m/nowhere\n\xff/x"}}},
      {"info", {{at.raw, at.strange, at.broken, at.described, nowhere}}},
      {"channels", {{at.raw, at.strange, at.described}, {at.raw, "--match", "\033[31m\n"}}},
      {"descr", {{at.raw}, {at.described}, {at.raw, red}, {at.raw, turned + "x"}}},
      {"index", {{at.raw, at.strange, at.broken}, {at.raw, "--type", "\033[31m\n"}}},
      {"headers", {{at.raw, red}, {at.raw, turned}, {at.strange, red + "x"}, {at.strange, "\033[31m\n"}}},
      {"read",
       {{at.all, "-c", "*"},
        {at.all, "--column", red},
        {at.all, "--column", turned, "--values"},
        {at.older, "-c", "*"},
        {at.raw, "-c", "*", "--classic"},
        {nowhere, "-c", "*"},
        {at.all, "-c", "\033[31m\n\xc2\x9b"},
        {at.all, "-c", "*", "--from", "\033[31m\n\xc2\x9b"},
        {"file=" + at.raw, "chan=~\033[31m(\n"},
        {"--run", "1", "--catalog", at.catalogue, "--data", at.all, "-c", "*", "--explain"},
        {"--run", "7", "--catalog", at.catalogue, "--data", at.all, "-c", "*"}}},
      {"plan", {{at.all}, {at.all, "-c", "\033[31m\n\xc2\x9b"}}},
      {"digest", {{at.all}, {at.older}, {at.raw, "--classic", "-c", "*"}}},
      {"stat", {{at.all}, {at.older}}},
      {"show",
       {{at.raw},
        {at.described},
        {at.raw, "-c", red},
        {at.raw, "-c", turned},
        {at.strange, "--event", "\033[31m\n"},
        {at.strange, "-c", red + "x"},
        {at.raw, "-c", turned, "--png", at.out + ".png"}}},
      {"catalog",
       {{"build", at.all, "--into", at.catalogue},
        {"list", at.catalogue},
        {"list", nowhere},
        {"find", at.catalogue, "--run", "1", "--growing"},
        {"find", at.catalogue, "--run", "7"}}},
      {"verify", {{at.all, at.older}, {nowhere}, {at.all, "--run", "1", "--catalog", at.catalogue}}},
      {"convert",
       {{at.older, "--into", at.out}, {at.all, at.broken, "--into", at.out}, {nowhere, "--into", at.out}}},
  };
}

TEST(EveryVerb, PrintsNothingThatATerminalObeys) {
  const auto lines = hostile_lines(hostile());
  const std::vector<std::string> all = verbs_of_the_tool();
  ASSERT_GT(all.size(), 10u);
  for (const std::string& verb : all) {
    ASSERT_TRUE(lines.contains(verb)) << "say above how ravo " << verb << " meets hostile names";
    for (const bool is_json : {false, true})
      for (command_line line : lines.at(verb)) {
        line.insert(line.begin(), verb);
        if (is_json) line.emplace_back("--json");
        SCOPED_TRACE(testing::PrintToString(line));
        const process_result result = run_tool(line);
        EXPECT_EQ(result.signal, 0);
        EXPECT_NE(result.out + result.err, "");
        expect_plain(result.out);
        expect_plain(result.err);
        if (is_json) {
          EXPECT_NO_THROW(json_lines(result.out));
        }
      }
  }
}

TEST(EveryVerb, HostileNamesArriveInJson) {
  bool is_found = false;
  for (const auto& line : json_lines(run_tool({"channels", hostile().raw, "--json"}).out))
    is_found = is_found || line.at("channel") == red;
  EXPECT_TRUE(is_found);
}

TEST(EveryVerb, ANameCannotForgeALineOfDigest) {
  const std::string out = run_tool({"digest", hostile().raw}).out;
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 24);
  EXPECT_THAT(out, HasSubstr("  BAD/\\x1b[31mRED\\x0a\n"));
}

// ---- several files

TEST(EveryVerb, ThatTakesSeveralFilesShowsThoseThatAreGood) {
  const temporary_folder folder;
  const std::string path = folder.path().string();
  run_tool({"simulate", path, "--files", "3", "--events", "12", "--channels", "24"});
  const std::vector<std::string> files = raw_files(path);
  std::filesystem::resize_file(files[1], 0);
  const std::map<std::string, command_line> more = {{"read", {"-c", "*", "--slow", "none"}},
                                                    {"convert", {"--into", folder.file("c")}}};
  std::size_t tried = 0;
  for (const std::string& verb : verbs_of_the_tool()) {
    const std::string help = run_tool({verb, "--help"}).out;
    std::smatch usage;
    ASSERT_TRUE(std::regex_search(help, usage, std::regex("Usage: ravo .*"))) << verb;
    const std::string form = usage.str();
    const bool is_of_selection = form.find("SELECTION...") != std::string::npos;
    const bool is_of_files = std::regex_search(form, std::regex("(FILE|OLD|PATH)\\.\\.\\."));
    if (!is_of_selection && !is_of_files) continue;
    SCOPED_TRACE(verb);
    ++tried;
    const auto run = [&](command_line line) {
      line.insert(line.begin(), verb);
      if (more.contains(verb)) line.insert(line.end(), more.at(verb).begin(), more.at(verb).end());
      return run_tool(line);
    };
    const process_result all = run(files);
    EXPECT_THAT(all.out + all.err, HasSubstr(files[1]));
    if (is_of_selection) {
      // Files that are left out are in the ledger; --strict makes exit code 1 of them.
      EXPECT_EQ(all.exit_code, 0);
      EXPECT_THAT(all.err, HasSubstr("left out: " + files[1]));
      EXPECT_EQ(all.out, run({files[0], files[2]}).out);
      continue;
    }
    EXPECT_EQ(all.exit_code, 1);
    if (verb == "verify") {  // names what is not good
      EXPECT_THAT(all.out, HasSubstr("\n3 files, "));
      continue;
    }
    EXPECT_THAT(all.out + all.err, HasSubstr(files[0]));
    EXPECT_THAT(all.out + all.err, HasSubstr(files[2]));
    const process_result last = run({files[1], files[2]});
    EXPECT_EQ(last.exit_code, 1);
    EXPECT_THAT(last.out + last.err, HasSubstr(files[2]));
  }
  EXPECT_GE(tried, 9u);
}

// What is printed for people and mailed by them is a valid selection.
TEST(EveryVerb, PrintsASelectionThatCanBeReadBack) {
  for (const std::string& channel : {red, turned}) {
    const process_result first = run_tool({"read", hostile().strange, "-c", channel, "--slow", "none"});
    EXPECT_EQ(first.exit_code, 0) << first.err;
    EXPECT_NE(first.out, "");
    const std::string heading = "selection: ";
    const std::size_t at = first.err.find(heading) + heading.size();
    const std::string mailed = first.err.substr(at, first.err.find('\n', at) - at);
    const process_result again = run_tool({"read", mailed});
    EXPECT_EQ(again.exit_code, 0) << again.err;
    EXPECT_EQ(again.out, first.out) << mailed;
    EXPECT_EQ(again.err, first.err);
  }
}

}  // namespace
