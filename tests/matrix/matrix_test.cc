// The systematic matrix: every word of a small file of each generation takes every suspicious value, the
// file is cut everywhere, every bit of its compressed data is flipped. Any mutant is refused
// with the texts and statuses of the interface, or readers hand out exactly the good data.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <optional>

#include "memory_file.h"
#include "mutant_runner.h"
#include "suspicious_values.h"
#include "ways.h"

namespace {

using namespace ravo::test;

/// Every n-th mutant is checked; n is 1 except under sanitizers, which take many times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t stride = 13;
#else
constexpr std::size_t stride = 1;
#endif

using image = std::vector<unsigned char>;
using allowed_entries = std::vector<std::set<std::string>>;

/// The change to the file, and the permitted outcomes.
struct damage {
  image mutant;
  allowed_entries allowed;     ///< the only entries that may be handed out, but for
  allowed_entries followed{};  ///< those to which a changed pointer leads
  word_role role = word_role::of_file;
  int channel = no_channel;  ///< whose blocks alone may be missing
  /// An entry of this channel may have other values: the damage is in data without a checksum, or in the
  /// word that says what they are.
  int unchecked_channel = no_channel;
  bool is_silent = false;  ///< nothing but the changed word says that there are more data
  ravo_daq_slicer_synch_mode mode = RAVO_DAQ_SLICER_SYNCH_MODE_EVID;
};

/// The slicer aligns one mutant by number, the next by time.
ravo_daq_slicer_synch_mode mode_of(std::size_t mutant) {
  return mutant % 2 == 0 ? RAVO_DAQ_SLICER_SYNCH_MODE_EVID : RAVO_DAQ_SLICER_SYNCH_MODE_TIME;
}

template <class generation>
class Matrix : public testing::Test {
 protected:
  static constexpr int loader_statuses[] = {2, 3, 5, 6, 7, -2, -3, -4, -5, -6, -7};

  void SetUp() override {
    before.write(text_of_image(files[0].image()));
    after.write(text_of_image(files[2].image()));
    good_findings = findings_of(good().image());
  }
  const small_file<generation>& good() const { return files[1]; }

  damage damage_word(std::size_t at, std::uint32_t value, ravo_daq_slicer_synch_mode mode) const {
    const word_meaning meaning = good().meaning(at, value);
    damage what{good().image(), good().allowed(at, value), good().followed(at, value), meaning.role,
                meaning.channel};
    set_word(what.mutant, at, value);
    if (good().is_without_checksum(at) || std::string_view(meaning.what) == "data type")
      what.unchecked_channel = meaning.channel;
    // Pointers are followed without a message, and so are types.
    const bool is_followed = std::any_of(what.followed.begin(), what.followed.end(),
                                         [](const auto& entries) { return !entries.empty(); });
    what.is_silent = is_followed || std::string_view(meaning.what) == "count in the dictionary";
    what.mode = mode;
    return what;
  }

  static std::string text_of_image(const image& from) { return {from.begin(), from.end()}; }
  std::vector<std::string> findings_of(const image& mutant) {
    middle->write(text_of_image(mutant));
    return verify_lines(middle->path());
  }
  static bool is_stated(int status) {
    // Besides its own status it passes on the table-access library's for the pointer table.
    return status == 0 || std::count(std::begin(loader_statuses), std::end(loader_statuses), status) > 0 ||
           (status > 100 && status <= 110);
  }

  // Every entry that was handed out is a permitted one; otherwise `problem` is reported.
  static void hold_against(const reading& got, const allowed_entries& allowed, int unchecked,
                           const char* way, std::string& problem) {
    if (!got.problem.empty()) problem = std::string(way) + ": " + got.problem;
    const auto is_allowed = [&](std::size_t c, const handed_entry& entry) {
      return allowed[c].contains(entry.bytes) ||
             (unchecked == static_cast<int>(c) && is_like_one_of(entry.bytes, allowed[c]));
    };
    for (std::size_t c = 0; c < got.entries.size(); ++c)
      for (const handed_entry& entry : got.entries[c]) {
        bool is_good = c < allowed.size() && is_allowed(c, entry);
        // Of a name that no channel has: it may be any channel's.
        for (std::size_t any = 0; c == allowed.size() && any < c; ++any)
          is_good = is_good || is_allowed(any, entry);
        if (!is_good)
          problem = std::string(way) + ": channel " + std::to_string(c) + ", event " +
                    std::to_string(entry.event.event_number) + ": wrong data are handed out as good";
        if (entry.bytes.size() < 36 ||
            std::memcmp(&entry.event.event_number, entry.bytes.data() + 8, 4) != 0)
          problem = std::string(way) + ": an entry has not the number of its header";
      }
  }
  // Of the same event, channel and length.
  static bool is_like_one_of(const std::string& entry, const std::set<std::string>& allowed) {
    return std::any_of(allowed.begin(), allowed.end(), [&](const std::string& one) {
      constexpr std::size_t names = small_file<generation>::head_of_entry - 12;
      return one.size() == entry.size() && one.compare(0, names, entry, 0, names) == 0;
    });
  }
  static std::size_t missing(const std::vector<handed_entry>& got, const std::set<std::string>& all) {
    std::size_t count = 0;
    for (const std::string& one : all)
      count += std::none_of(got.begin(), got.end(),
                            [&](const handed_entry& entry) { return entry.bytes == one; });
    return count;
  }
  static bool may_be_missing(const damage& what, int channel) {
    return what.role == word_role::of_file ||
           (what.role == word_role::identity && what.channel == no_channel) ||
           ((what.role == word_role::of_channel || what.role == word_role::identity) &&
            what.channel == channel);
  }

  /// Reads a mutant in all ways and returns the outcome.
  verdict_on_mutant judge(const damage& what) {
    verdict_on_mutant verdict;
    std::string& wrong = verdict.wrong;
    middle->write(text_of_image(what.mutant));
    static_cast<void>(has_printed());
    const reading got = readers.read(middle->path().c_str());
    const bool has_reported = has_printed();
    std::size_t lost = 0, others = 0;
    for (std::size_t c = 0; c < whole.size(); ++c) {
      std::size_t lost_here = missing(got.entries[c], what.allowed[c]);
      if (what.unchecked_channel == static_cast<int>(c)) {
        const std::size_t absent =
            what.allowed[c].size() - std::min(what.allowed[c].size(), got.entries[c].size());
        others += lost_here - std::min(lost_here, absent);
        lost_here = std::min(lost_here, absent);
      }
      lost += lost_here;
      if (lost_here > 0 && !may_be_missing(what, static_cast<int>(c)))
        wrong = small_file<generation>::channel_names()[c] + " has lost " + std::to_string(lost_here) +
                " events";
    }
    if (lost > 0 && got.status == 0 && !has_reported && !what.is_silent)
      wrong = "data are missing, and nothing is said";
    if (!is_stated(got.status)) wrong = "the loader answers " + std::to_string(got.status);
    const int with_descriptions = load_with_descriptions<generation>(middle->path().c_str());
    if (!is_stated(with_descriptions)) wrong = "the loader answers " + std::to_string(with_descriptions);
    ask_tools(got.status, with_descriptions, lost, wrong);
    const bool goes_round = slice_all(what, wrong);
    hold_against(got, with_followed(what.allowed, what), what.unchecked_channel, "channel readers", wrong);
    const bool has_followed = std::any_of(what.followed.begin(), what.followed.end(),
                                          [](const auto& entries) { return !entries.empty(); });
    verdict.kind = got.status != 0            ? "refused by the loader"
                   : lost > 0 && has_followed ? "what a changed pointer leads to, the others exactly good"
                   : lost > 0                 ? "blocks missing, the others exactly good"
                   : goes_round               ? "good data, steps by time go round between wrong times"
                   : others > 0               ? "other values, of LZO data or by another data type"
                   : what.allowed == whole    ? "exactly the good data"
                                              : "the good data, the changed word passed on";
    return verdict;
  }

  static allowed_entries with_followed(allowed_entries allowed, const damage& what) {
    for (std::size_t c = 0; c < what.followed.size(); ++c)
      allowed[c].insert(what.followed[c].begin(), what.followed[c].end());
    return allowed;
  }

  // True when a step by time leads back, as it may where a number or a time of an event is wrong: the step
  // is checked against the numbers, and these win.
  bool slice_all(const damage& what, std::string& wrong) {
    allowed_entries of_all = with_followed(what.allowed, what);
    for (const allowed_entries* other : {&whole_before, &whole_after})
      for (std::size_t c = 0; c < of_all.size(); ++c)
        of_all[c].insert((*other)[c].begin(), (*other)[c].end());
    const reading sliced = slice<generation>(
        {const_cast<char*>(before.path().c_str()), const_cast<char*>(middle->path().c_str()),
         const_cast<char*>(after.path().c_str())},
        what.mode);
    if (sliced.status != 0 && sliced.status != RAVO_DAQ_SLICER_OUT_OF_WINDOW &&
        sliced.status != RAVO_DAQ_SLICER_INTERN_ERROR && sliced.status != RAVO_DAQ_SLICER_NO_DATA)
      wrong = "the slicer ends with " + std::to_string(sliced.status);
    hold_against(sliced, of_all, what.unchecked_channel, "slicer", wrong);
    const bool may_go_round = what.role == word_role::identity && what.channel == no_channel &&
                              what.mode == RAVO_DAQ_SLICER_SYNCH_MODE_TIME;
    if (sliced.goes_round && !may_go_round) wrong = "the slicer does not come to an end";
    return sliced.goes_round;
  }

  void ask_tools(int loaded, int loaded_with_descriptions, std::size_t lost, std::string& wrong) {
    const info_answer said = info_about(middle->path());
    if (said.is_refused != (loaded != 0 && loaded != 7) && loaded_with_descriptions == loaded)
      wrong = "info and the loader do not agree";
    if (said.is_refused && said.why.size() < middle->path().size() + 5)
      wrong = "info refuses without a word";
    const std::vector<std::string> found = verify_lines(middle->path());
    if ((lost > 0 || loaded != 0) && found == good_findings)
      wrong = "verify finds nothing where data are missing";
  }

  /// Checks every n-th of these changes.
  void judge_all(std::size_t damages, std::size_t nth, const std::function<damage(std::size_t)>& make,
                 const std::function<std::string(std::size_t)>& name) {
    const mutant_tally tally =
        run_mutants((damages + nth - 1) / nth, {[&](std::size_t i) { return judge(make(i * nth)); },
                                                [&](std::size_t i) { return name(i * nth); },
                                                // Each process writes its mutants to a file of its own.
                                                [this] { middle.emplace(); }});
    EXPECT_EQ(tally.failed, 0u);
    EXPECT_GT(tally.mutants, 0u);
    EXPECT_EQ(tally.judged(), tally.mutants);
    std::cout << text_of(tally);
  }

  const std::array<small_file<generation>, 3> files{small_file<generation>(0), small_file<generation>(1),
                                                    small_file<generation>(2)};
  const allowed_entries whole = files[1].allowed_of(files[1].image());
  const allowed_entries whole_before = files[0].allowed_of(files[0].image());
  const allowed_entries whole_after = files[2].allowed_of(files[2].image());
  ravo::fuzz::memory_file before, after;
  std::optional<ravo::fuzz::memory_file> middle{std::in_place};
  std::vector<std::string> good_findings;
  channel_readers<generation> readers;
};
TYPED_TEST_SUITE(Matrix, generations, generation_name);

TYPED_TEST(Matrix, ReadsTheGoodFileAsItWasMade) {
  const reading got = this->readers.read(
      (this->middle->write(this->text_of_image(this->good().image())), this->middle->path().c_str()));
  ASSERT_EQ(got.status, 0);
  for (std::size_t c = 0; c < this->whole.size(); ++c) {
    EXPECT_EQ(this->missing(got.entries[c], this->whole[c]), 0u) << this->good().channel_names()[c];
    EXPECT_EQ(got.entries[c].size(), this->whole[c].size());
  }
  std::string problem;
  this->hold_against(got, this->whole, no_channel, "channel readers", problem);
  EXPECT_EQ(problem, "");
  for (const auto mode : {RAVO_DAQ_SLICER_SYNCH_MODE_EVID, RAVO_DAQ_SLICER_SYNCH_MODE_TIME}) {
    const reading sliced = slice<TypeParam>({const_cast<char*>(this->middle->path().c_str())}, mode);
    EXPECT_EQ(sliced.status, RAVO_DAQ_SLICER_OUT_OF_WINDOW);
    for (std::size_t c = 0; c < this->whole.size(); ++c)
      EXPECT_EQ(this->missing(sliced.entries[c], this->whole[c]), 0u)
          << mode << this->good().channel_names()[c];
  }
}

TYPED_TEST(Matrix, OfEveryWordAndEverySuspiciousValue) {
  const image& good = this->good().image();
  struct word_mutant {
    std::size_t at;
    std::uint32_t value;
  };
  std::vector<word_mutant> mutants;
  for (std::size_t at = 0; at + 4 <= good.size(); at += 4) {
    const bool is_after_a_name = std::string_view(this->good().meaning(at, 0).what) == "after a name";
    for (const std::uint32_t value : is_after_a_name ? limits(good, at) : suspicious_values(good, at))
      mutants.push_back({at, value});
  }
  this->judge_all(
      mutants.size(), stride,
      [&](std::size_t i) { return this->damage_word(mutants[i].at, mutants[i].value, mode_of(i)); },
      [&](std::size_t i) {
        const auto [at, value] = mutants[i];
        const word_meaning meaning = this->good().meaning(at, value);
        return "word at " + std::to_string(at) + " (" + meaning.what + ", " +
               (meaning.channel == no_channel
                    ? ""
                    : this->good().channel_names()[static_cast<std::size_t>(meaning.channel)] + ", ") +
               role_names[static_cast<std::size_t>(meaning.role)] + ") from " +
               std::to_string(word_at(good, at)) + " to " + std::to_string(value);
      });
}

TYPED_TEST(Matrix, OfEveryLength) {
  const image& good = this->good().image();
  std::set<std::size_t> lengths;
  for (const std::size_t begin : this->good().structure_begins())
    for (const std::size_t length : {begin - 1, begin, begin + 1})
      if (length < good.size()) lengths.insert(length);
  for (std::size_t length = 0; length < good.size(); length += 4) lengths.insert(length);
  const std::vector<std::size_t> all(lengths.begin(), lengths.end());
  this->judge_all(
      all.size(), stride,
      [&](std::size_t i) {
        return damage{{good.begin(), good.begin() + static_cast<std::ptrdiff_t>(all[i])}, this->whole};
      },
      [&](std::size_t i) { return "cut to " + std::to_string(all[i]); });
}

TYPED_TEST(Matrix, OfEveryBitOfCompressedData) {
  struct bit_mutant {
    std::size_t block;
    std::size_t at;
    int bit;
  };
  std::vector<bit_mutant> mutants;
  std::set<int> seen;
  for (std::size_t i = 0; i < this->good().blocks().size(); ++i) {
    const auto& block = this->good().blocks()[i];
    using form = typename small_file<TypeParam>::form;
    const bool is_compressed = block.stored_as == form::zlib || block.stored_as == form::lzo;
    if (!is_compressed || !seen.insert(block.channel).second) continue;
    const std::size_t data = block.head + TypeParam::layout::subhead;
    for (std::size_t at = data + 12; at < data + block.stored; ++at)
      for (int bit = 0; bit < 8; ++bit) mutants.push_back({i, at, bit});
  }
  EXPECT_EQ(seen.size(), 3u);
  this->judge_all(
      mutants.size(), stride,
      [&](std::size_t i) {
        const auto& block = this->good().blocks()[mutants[i].block];
        damage what{this->good().image(), this->whole, {}, word_role::of_channel, block.channel};
        what.mutant[mutants[i].at] =
            static_cast<unsigned char>(what.mutant[mutants[i].at] ^ 1 << mutants[i].bit);
        if (this->good().is_without_checksum(mutants[i].at)) what.unchecked_channel = block.channel;
        what.mode = mode_of(i);
        return what;
      },
      [&](std::size_t i) {
        return "bit " + std::to_string(mutants[i].bit) + " at " + std::to_string(mutants[i].at);
      });
}

// Every reference to a table or a basket leads to every structure, also to itself and into the middle of
// another.
TYPED_TEST(Matrix, OfReferencesThatGoRound) {
  const image& good = this->good().image();
  const std::size_t reference = this->good().at("reference");
  const std::set<std::size_t> begins = this->good().structure_begins();
  std::vector<std::pair<std::size_t, std::uint32_t>> mutants;
  for (std::size_t at = reference + 8; at + 4 <= good.size(); at += 4)
    for (const std::size_t begin : begins)
      if (word_at(good, at) != 0 && word_at(good, at) != begin)
        mutants.emplace_back(at, static_cast<std::uint32_t>(begin));
  this->judge_all(
      mutants.size(), stride,
      [&](std::size_t i) {
        damage what{good, this->whole};
        set_word(what.mutant, mutants[i].first, mutants[i].second);
        what.mode = mode_of(i);
        return what;
      },
      [&](std::size_t i) {
        return "reference at " + std::to_string(mutants[i].first) + " to " +
               std::to_string(mutants[i].second);
      });
}

// A row whose entries all lead to one event: it is handed out again and again, and the channel comes to an
// end.
TYPED_TEST(Matrix, OfARowThatGoesRound) {
  const image& good = this->good().image();
  const std::size_t row_length = word_at(good, this->good().at("pointers") + 8);
  this->judge_all(
      row_length, 1,
      [&](std::size_t from) {
        damage what{good, this->whole};
        what.is_silent = true;
        const std::size_t row = this->good().at("pointers") + 12;
        for (std::size_t entry = 0; entry < row_length; ++entry)
          for (std::size_t word = 0; word < 16; word += 4)
            set_word(what.mutant, row + entry * 16 + word, word_at(good, row + from * 16 + word));
        return what;
      },
      [](std::size_t from) { return "row of entry " + std::to_string(from); });
}

// Counts and lengths that are false, but consistent.
TYPED_TEST(Matrix, OfCountsOfTwoToThe31) {
  const image& good = this->good().image();
  const auto& file = this->good();
  std::vector<std::size_t> counts{
      file.at("events") + 4,     file.at("servers") + 4,     file.at("pointers") + 4,
      file.at("pointers") + 8,   file.at("dictionary") + 4,  file.at("index") + 4,
      file.at("index") + 8 + 28, file.at("environment") + 4, file.at("xml") + 4};
  for (std::size_t c = 0; c < file.channel_names().size(); ++c) {
    counts.push_back(file.at("dictionary") + 8 + (c + 1) * TypeParam::layout::dictionary_entry - 4);
    counts.push_back(file.at(file.channel_names()[c]) + 4);
  }
  constexpr std::uint32_t values[] = {0x7fffffffu, 0x80000000u, 0x7ffffff8u, 0xffffffffu};
  this->judge_all(
      std::size(values) * counts.size() * counts.size(), stride,
      [&](std::size_t i) {
        damage what{good, this->whole};
        const std::uint32_t value = values[i % std::size(values)];
        set_word(what.mutant, counts[i / std::size(values) % counts.size()], value);
        set_word(what.mutant, counts[i / std::size(values) / counts.size()], value);
        what.mode = mode_of(i / 4);
        return what;
      },
      [&](std::size_t i) { return "counts, mutant " + std::to_string(i); });
}

// A few kilobytes that claim to be, or really are, sixteen megabytes.
TYPED_TEST(Matrix, OfADecompressionBomb) {
  using layout = typename TypeParam::layout;
  constexpr std::size_t inflated = 16u << 20;
  struct bomb {
    std::uint32_t said;
    std::size_t most_memory;
  };
  for (const bomb one : {bomb{100, 8u << 20}, bomb{1u << 20, 10u << 20}, bomb{0x7fffffff, 40u << 20},
                         bomb{0x80000000, 40u << 20}, bomb{0xffffffff, 40u << 20}}) {
    handmade_file_of<layout> made;
    made.events = {{100, 1700000000, 0}};
    handmade_block block;
    block.dtype = layout::single_type;
    block.payload = spectrum_head(layout{}, 1, inflated / 4, 0, 1).fill(inflated);
    block.orig_length = one.said;
    handmade_channel channel("BOMB");
    channel.blocks.push_back(zipped(block, 1));
    made.channels.push_back(channel);
    const bytes file = made.build();
    ASSERT_LT(file.size(), 40000u);
    this->middle->write({reinterpret_cast<const char*>(file.data()), file.size()});
    const mutant_tally tally =
        run_mutants(1, {[&](std::size_t) {
                          verdict_on_mutant verdict{"read", {}};
                          if (count_entries<TypeParam>(this->middle->path().c_str(), "BOMB") != 0)
                            verdict.wrong = "it was handed out";
                          if (!has_printed()) verdict.wrong = "nothing is said";
                          if (verify_lines(this->middle->path()).empty())
                            verdict.wrong = "verify finds nothing";
                          return verdict;
                        },
                        [&](std::size_t) { return "said to be " + std::to_string(one.said); }});
    EXPECT_EQ(tally.failed, 0u) << text_of(tally);
    EXPECT_EQ(tally.judged(), 1u);
    if (stride == 1) {
      EXPECT_LT(tally.most_memory, one.most_memory) << one.said;
    }
  }
}

}  // namespace
