// Ledgers and digests that travel: JSON and back, and sums that do not depend on how the parts were cut.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <tuple>

#include "ravo_dataset.h"

namespace {

using namespace ravo;
using testing::HasSubstr;

bool are_equal(const missing_value& a, const missing_value& b) {
  const auto all = [](const missing_value& one) {
    return std::tuple(one.channel, one.file, one.offset, one.event.event_number, one.event.time.timeup,
                      one.event.time.timelow, one.cause, one.row);
  };
  return all(a) == all(b);
}

void expect_equal(const read_ledger& a, const read_ledger& b) {
  ASSERT_EQ(a.channels.size(), b.channels.size());
  for (std::size_t i = 0; i < a.channels.size(); ++i) {
    EXPECT_EQ(a.channels[i].channel, b.channels[i].channel);
    EXPECT_EQ(a.channels[i].expected, b.channels[i].expected);
    EXPECT_EQ(a.channels[i].delivered, b.channels[i].delivered);
    EXPECT_EQ(a.channels[i].missing, b.channels[i].missing);
  }
  ASSERT_EQ(a.values.size(), b.values.size());
  for (std::size_t i = 0; i < a.values.size(); ++i) EXPECT_TRUE(are_equal(a.values[i], b.values[i])) << i;
  ASSERT_EQ(a.files.size(), b.files.size());
  for (std::size_t i = 0; i < a.files.size(); ++i) {
    EXPECT_EQ(a.files[i].path, b.files[i].path);
    EXPECT_EQ(a.files[i].reason, b.files[i].reason);
    EXPECT_EQ(a.files[i].problem, b.files[i].problem);
  }
  EXPECT_EQ(a.problems, b.problems);
}

read_ledger every_kind_of_case() {
  read_ledger ledger;
  ledger.of("A") = {"A", 12345678901234567890u, 12345678901234567879u, {}};
  ledger.of("A").missing.fill(1);
  ledger.of("B\xff\"\n\xc3\xbc") = {"B\xff\"\n\xc3\xbc", 3, 3, {}};
  for (std::size_t i = 0; i < missing_cause_count; ++i)
    ledger.values.push_back({"A",
                             "/data/\xfe.raw",
                             0xffffffffffffffffu,
                             {0xffffffffu, {0xffffffffu, 0xfffffffeu}},
                             static_cast<missing_cause>(i),
                             i});
  for (std::size_t i = 0; i < file_refusal_count; ++i)
    ledger.files.push_back({"/data/" + std::to_string(i), static_cast<file_refusal>(i), "it is gone"});
  for (const auto reason : {problem_reason::runs_without_files, problem_reason::damaged_catalogue,
                            problem_reason::machine_error})
    ledger.problems.push_back({reason, "/data/1", "A sentence"});
  return ledger;
}

TEST(LedgerJson, ComesBackAsItWas) {
  const read_ledger ledger = every_kind_of_case();
  const std::string text = ledger.to_json();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 0);
  expect_equal(read_ledger::from_json(text), ledger);
  EXPECT_EQ(read_ledger::from_json(text).to_json(), text);
  EXPECT_EQ(read_ledger::from_json(read_ledger{}.to_json()).to_json(), read_ledger{}.to_json());
}

TEST(LedgerJson, IsWhatThePageSays) {
  read_ledger ledger;
  ledger.of("A") = {"A", 2, 1, {}};
  ledger.of("A").missing[static_cast<std::size_t>(missing_cause::bad_checksum)] = 1;
  ledger.values.push_back({"A", "a\xff", 77, {5, {6, 7}}, missing_cause::bad_checksum, 1});
  EXPECT_EQ(ledger.to_json(),
            R"({"channels":[{"channel":"A","expected":2,"delivered":1,"missing":{"bad_checksum":1}}],)"
            R"("values":[{"channel":"A","event":5,"seconds":6,"microseconds":7,"cause":"bad_checksum",)"
            R"("file":{"hex":"61ff"},"offset":77,"row":1}],"files":[],"problems":[]})");
}

struct refused_json {
  const char* text;
  const char* reason;
};
class RefusedLedgerJson : public testing::TestWithParam<refused_json> {};

TEST_P(RefusedLedgerJson, SaysWhatIsWrong) {
  try {
    static_cast<void>(read_ledger::from_json(GetParam().text));
    FAIL() << GetParam().text;
  } catch (const json_error& error) {
    EXPECT_THAT(error.what(), HasSubstr(GetParam().reason));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, RefusedLedgerJson,
    testing::Values(
        refused_json{"", "cannot be read"}, refused_json{"[]", "\"channels\""},
        refused_json{R"({"channels":[]})", "\"values\" is missing"},
        refused_json{R"({"channels":{},"values":[],"files":[],"problems":[]})", "\"channels\" is a list"},
        refused_json{R"({"channels":[1],"values":[],"files":[],"problems":[]})", "\"channel\" is expected"},
        refused_json{
            R"({"channels":[{"channel":"A","expected":-1,"delivered":0,"missing":{}}],"values":[],"files":[],"problems":[]})",
            "\"expected\" is a whole number"},
        refused_json{
            R"({"channels":[{"channel":"A","expected":1,"delivered":0,"missing":{"lost":1}}],"values":[],"files":[],"problems":[]})",
            "\"lost\" is unknown"},
        refused_json{
            R"({"channels":[],"values":[],"files":[{"file":{"hex":"6"},"reason":"none","problem":""}],"problems":[]})",
            "two digits"},
        refused_json{
            R"({"channels":[],"values":[{"channel":"A","event":4294967296,"seconds":0,"microseconds":0,"cause":"truncated","file":"a","offset":0,"row":0}],"files":[],"problems":[]})",
            "\"event\" is a whole number of 32 bits"}));

TEST(LedgerJson, PassesOverMembersThatItDoesNotKnow) {
  EXPECT_EQ(
      read_ledger::from_json(R"({"new":1,"channels":[],"values":[],"files":[],"problems":[]})").to_json(),
      read_ledger{}.to_json());
}

// Three thousand cases of three channels, two of whose causes come late, dealt out to parts at random.
TEST(LedgerSums, ListTheFirstThousandByEventHoweverTheyAreCut) {
  std::mt19937 random(7);
  for (int round = 0; round < 20; ++round) {
    std::vector<missing_value> cases;
    for (std::uint32_t i = 0; i < 3000; ++i) {
      const bool is_rare = i == 1499 || i == 2500 || i == 2999;  // of C, B and C
      const auto cause = is_rare ? missing_cause::truncated : missing_cause::bad_checksum;
      cases.push_back({std::string(1, static_cast<char>('A' + i % 3)),
                       "f.raw",
                       i,
                       {i + 1, {1000 + i / 10, i % 10 * 100000}},
                       cause});
    }
    std::vector<std::uint64_t> expected;  // by the offset, which is the position
    std::set<std::pair<std::string, missing_cause>> seen;
    for (std::size_t i = 0; i < cases.size(); ++i)
      if (seen.emplace(cases[i].channel, cases[i].cause).second || i < 1000)
        expected.push_back(cases[i].offset);
    ASSERT_EQ(expected.size(), 1002u);
    std::vector<read_ledger> parts(1 + random() % 5);
    std::shuffle(cases.begin(), cases.end(), random);
    for (std::size_t i = 0; i < cases.size();) {
      read_ledger some;
      for (const std::size_t end = std::min(cases.size(), i + 1 + random() % 100); i < end; ++i) {
        channel_ledger& counts = some.of(cases[i].channel);
        ++counts.expected;
        ++counts.missing[static_cast<std::size_t>(cases[i].cause)];
        some.values.push_back(cases[i]);
      }
      parts[random() % parts.size()].add(some);
    }
    read_ledger sum;
    for (const read_ledger& part : parts) sum.add(read_ledger::from_json(part.to_json()));
    EXPECT_TRUE(sum.is_balanced());
    EXPECT_EQ(sum.missing(), 3000u);
    std::vector<std::uint64_t> listed;
    for (const missing_value& one : sum.values) listed.push_back(one.offset);
    ASSERT_EQ(listed, expected);
  }
}

TEST(LedgerSums, ListCasesOfNoEventLast) {
  read_ledger first, second;
  first.values.push_back({"A", "f.raw", 5, {}, missing_cause::no_event_header});
  second.values.push_back({"A", "f.raw", 9, {1, {1, 0}}, missing_cause::truncated});
  first.add(second);
  ASSERT_EQ(first.values.size(), 2u);
  EXPECT_EQ(first.values[0].offset, 9u);
}

channel_digest random_digest(std::mt19937& random) {
  channel_digest digest;
  for (unsigned n = random() % 4; n > 0; --n) {
    const auto word = static_cast<std::uint32_t>(random());
    const time_stamp time{static_cast<std::uint32_t>(random()),
                          static_cast<std::uint32_t>(random() % 1000000)};
    digest.add({word, time}, value_status::ok, std::as_bytes(std::span(&word, 1)));
  }
  return digest;
}

TEST(DigestText, ComesBackAsItWas) {
  std::mt19937 random(11);
  for (int i = 0; i < 1000; ++i) {
    channel_digest digest = random_digest(random);
    const auto read = channel_digest::from_text(digest.to_text(), digest.values());
    ASSERT_EQ(read, digest);
    const channel_digest other = random_digest(random);
    channel_digest sum = *read;
    sum.add(other);
    digest.add(other);
    ASSERT_EQ(sum.to_text(), digest.to_text());
  }
}

TEST(DigestText, OfAnotherNumberOfValuesIsAnotherDigest) {
  const channel_digest empty;
  EXPECT_NE(channel_digest::from_text(empty.to_text(), 1), empty);
}

TEST(DigestText, IsRefusedUnlessItIs32HexadecimalDigits) {
  const std::string good = channel_digest().to_text();
  for (const std::string& text : {std::string(), good + "0", good.substr(1), "x" + good.substr(1),
                                  good.substr(1) + "x", "-" + good.substr(1), " " + good.substr(1)})
    EXPECT_FALSE(channel_digest::from_text(text, 0)) << text;
}

TEST(DigestJson, ComesBackAsItWasAndAddsUp) {
  std::mt19937 random(13);
  std::vector<named_digest> first, second, expected;
  for (const char* const name : {"A", "B\xff", "C"}) first.push_back({name, random_digest(random)});
  for (const char* const name : {"C", "D", "A"}) second.push_back({name, random_digest(random)});
  expected = first;
  expected[2].digest.add(second[0].digest);
  expected[0].digest.add(second[2].digest);
  expected.push_back(second[1]);
  std::vector<named_digest> sum = digests_from_json(digests_to_json(first));
  EXPECT_EQ(sum, first);
  add_digests(sum, digests_from_json(digests_to_json(second)));
  EXPECT_EQ(sum, expected);
}

TEST(DigestJson, OfAnythingElseIsRefused) {
  for (const char* const text : {"", "{}", R"({"digests":1})", R"({"digests":[{"channel":"A"}]})",
                                 R"({"digests":[{"channel":"A","values":0,"digest":"12"}]})"})
    EXPECT_THROW(static_cast<void>(digests_from_json(text)), json_error) << text;
}

}  // namespace
