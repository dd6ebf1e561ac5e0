// The systematic matrix for the dataset layer: every word of a small file of each generation takes every
// suspicious value, and the output of the mutant is compared with what the page of the format and the
// dataset's guide say. Where the changed word is a pointer, part of an event header, of the event index, of
// a channel's masks or of a slow value's head, the test computes the exact outcome; for all others no value
// may be delivered as good that was not put in.
#include <gtest/gtest.h>
#include <ravo_dataset.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "captured_output.h"
#include "memory_file.h"
#include "mutant_runner.h"
#include "small_file.h"
#include "suspicious_values.h"

namespace {

using namespace ravo;
using namespace ravo::test;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t stride = 13;
#else
constexpr std::size_t stride = 1;
#endif

using image = std::vector<unsigned char>;

/// Number and time of an event.
using event_key = std::array<std::uint32_t, 3>;
event_key key_of(const ravo_time_id& id) { return {id.event_number, id.time.timeup, id.time.timelow}; }

/// A value that was delivered, or a status.
struct cell {
  event_key event;
  value_status status;
  std::string bytes;
};

/// The outcome of one channel.
struct channel_outcome {
  std::vector<cell> cells;  ///< by event; without those for which nothing is recorded
  std::uint64_t of_no_event = 0, second_of_event = 0, disputed = 0;
};

/// The outcome of a reading, by channel of the small file.
struct outcome {
  bool is_refused = false;
  std::vector<channel_outcome> channels;
  std::string problem;  ///< something that must not happen with any file
};

std::string text_of(const event_key& key) {
  return std::to_string(key[0]) + " at " + std::to_string(key[1]) + "." + std::to_string(key[2]);
}

template <class generation>
class DatasetMatrix : public testing::Test {
 protected:
  using layout = typename generation::layout;
  using file_type = small_file<generation>;
  using block_place = typename file_type::block_place;
  using form = typename file_type::form;

  const file_type& good() const { return file; }
  /// Nothing reads the bytes after the end of a text: most of the file is such bytes.
  std::set<std::uint32_t> values_of(std::size_t at) const {
    const std::string_view what = file.meaning(at, 0).what;
    const bool is_text = what == "after a name" || what == "server block head" ||
                         what == "name in a reading" ||
                         (what == "name in the dictionary" && word_at(file.image(), at) == 0);
    if (is_text) return {0xffffffffu, word_at(file.image(), at) + 1};
    return suspicious_values(file.image(), at);
  }
  static std::size_t channels() { return file_type::channel_names().size(); }

  // ---- what comes out

  outcome read(const image& mutant) {
    place->write(std::string(mutant.begin(), mutant.end()));
    selection wanted;
    wanted.files = {place->path()};
    dataset_options options;
    options.threads = 1;
    outcome result;
    result.channels.resize(channels());
    try {
      const dataset data = dataset::open(wanted, options);
      read_events(data, mutant, result);
      read_columns(data, result);
    } catch (const dataset_error&) {
      result.is_refused = true;
    }
    return result;
  }

  // The channels in the order of the dictionary: a mutant may call one by another name.
  static std::optional<std::size_t> channel_of(const std::string& name, const file_type& file,
                                               const image& mutant) {
    for (std::size_t c = 0; c < channels(); ++c) {
      const std::size_t at = file.at("dictionary") + 8 + c * layout::dictionary_entry + 4;
      const auto* text = reinterpret_cast<const char*>(mutant.data() + at);
      if (std::string(text, strnlen(text, layout::dictionary_name)) == name) return c;
    }
    return std::nullopt;
  }

  void read_events(const dataset& data, const image& mutant, outcome& result) {
    event_range events = data.events();
    position_.clear();
    for (const dataset_channel& channel : data.channels()) {
      const auto c = channel_of(channel.name, file, mutant);
      if (!c) result.problem = "a channel that the dictionary does not have: " + channel.name;
      position_.push_back(c.value_or(0));
    }
    for (const event& one : events)
      for (std::size_t i = 0; i < position_.size(); ++i) {
        const value seen = one[i];
        if (seen.status() == value_status::not_recorded) continue;
        const auto* bytes = reinterpret_cast<const char*>(seen.bytes().data());
        result.channels[position_[i]].cells.push_back(
            {key_of(seen.recorded_with()), seen.status(), std::string(bytes, seen.bytes().size())});
      }
    const read_ledger ledger = events.ledger();
    if (!ledger.is_balanced()) result.problem = "the ledger does not balance";
    for (std::size_t i = 0; i < position_.size(); ++i) {
      const auto count = [&](missing_cause cause) {
        return ledger.channels[i].missing[static_cast<std::size_t>(cause)];
      };
      channel_outcome& channel = result.channels[position_[i]];
      channel.of_no_event = count(missing_cause::no_event_header);
      channel.second_of_event = count(missing_cause::second_of_event);
      channel.disputed = count(missing_cause::event_disputed);
    }
  }

  // A column agrees with the events on each row, except that it is of one kind.
  void read_columns(const dataset& data, outcome& result) {
    for (std::size_t i = 0; i < position_.size(); ++i) {
      const column_data column = data.column(data.channels()[i].label);
      const std::vector<cell>& cells = result.channels[position_[i]].cells;
      if (column.size() != cells.size()) {
        result.problem = "a column has not the rows that events have";
        continue;
      }
      for (std::size_t row = 0; row < cells.size(); ++row)
        if (column.status[row] != cells[row].status && column.status[row] != value_status::type_changed)
          result.problem = "in row " + std::to_string(row) + " a column of " + data.channels()[i].label +
                           " has status " + value_status_text(column.status[row]) + ", events have " +
                           value_status_text(cells[row].status);
    }
  }

  // ---- what has to come out

  struct entry_words {
    std::uint32_t evhd, sbhd, chhd, data;
  };
  entry_words words_of(const image& from, std::size_t channel, std::size_t entry) const {
    const std::size_t at = file.pointer_of(static_cast<int>(channel), entry, file.image());
    return {word_at(from, at), word_at(from, at + 4), word_at(from, at + 8), word_at(from, at + 12)};
  }
  std::size_t count_of(std::size_t channel) const {
    return static_cast<std::size_t>(std::count_if(
        file.blocks().begin(), file.blocks().end(),
        [&](const block_place& block) { return block.channel == static_cast<int>(channel); }));
  }

  static bool is_in_grid(std::uint32_t offset, std::size_t first, std::size_t size, std::size_t count) {
    return offset >= first && (offset - first) % size == 0 && (offset - first) / size < count;
  }
  bool is_header(const image& from, std::uint32_t offset) const {
    return is_in_grid(offset, file.at("events") + 8, 36, file_type::events) &&
           word_at(from, offset) == layout::event_header_marker && word_at(from, offset + 8) != 0xffffffffu;
  }
  event_key key_at(const image& from, std::uint32_t header) const {
    return {word_at(from, header + 8), word_at(from, header + 16), word_at(from, header + 20)};
  }
  /// Whether the event index has an event of the header's type, number and time there.
  bool is_indexed(const image& from, std::uint32_t header) const {
    std::size_t at = file.at("index") + 8;
    for (std::uint32_t types = word_at(from, at - 4); types > 0; --types) {
      const std::uint32_t type = word_at(from, at), events = word_at(from, at + 28);
      at += 32;
      for (std::uint32_t i = 0; i < events; ++i, at += 16)
        if (type == word_at(from, header + 12) && word_at(from, at + 12) == header &&
            key_at(from, header) ==
                event_key{word_at(from, at + 8), word_at(from, at), word_at(from, at + 4)})
          return true;
    }
    return false;
  }

  /// Of an entry as the tables have it, its block being good.
  value_status status_of_tables(const image& from, std::size_t channel, std::size_t entry) const {
    const entry_words words = words_of(from, channel, entry);
    const std::size_t servers = file.at("servers") + 8;
    if (words.sbhd < servers ||
        words.sbhd + layout::server_block > servers + layout::server_block * file_type::events)
      return value_status::truncated;
    if ((words.sbhd - servers) % layout::server_block != 0) return value_status::misdirected;
    bool is_disputed = !is_indexed(from, words.evhd);
    for (std::size_t other = 0; other < count_of(channel); ++other) {
      const entry_words its = words_of(from, channel, other);
      is_disputed = is_disputed || (its.evhd == words.evhd && its.sbhd != words.sbhd);
    }
    return is_disputed ? value_status::event_disputed : value_status::ok;
  }

  /// Of a block that a good pointer leads to.
  value_status status_of_block(const image& from, std::size_t channel, std::size_t entry,
                               const block_place& block) const {
    const std::uint32_t mask =
        word_at(from, file.at("dictionary") + 8 + (channel + 1) * layout::dictionary_entry - 8);
    const std::uint32_t type = word_at(from, block.head + layout::block_name) & 0xffff;
    if (block.stored_as == form::update || block.stored_as == form::environment) {
      const auto length = static_cast<std::int32_t>(word_at(from, block.head + layout::subhead - 4));
      const entry_words words = words_of(from, channel, entry);
      if (words.data != block.head + layout::subhead ||
          length < static_cast<std::int32_t>(layout::subhead + block.stored))
        return value_status::misdirected;
    }
    if (mask != 0 && type < 32 && (mask >> type & 1) == 0) return value_status::event_disputed;
    return value_status::ok;
  }

  /// Whether the outcome can be computed for a word of this meaning.
  static bool is_exact(const word_meaning& meaning, std::size_t word_of_entry) {
    const std::string_view what = meaning.what;
    // A subheader that begins elsewhere is not followed here.
    if (what == "pointers") return word_of_entry != 2;
    return what == "event header" || what == "event number" || what == "event time" ||
           what == "event header's marker" || what == "event type" || what == "events of the index" ||
           what == "data types in the dictionary" || what == "length of a reading" ||
           what == "channel's name" || what == "after a name" || what == "server block head" ||
           what == "signature" || what == "basket marker" || what == "environment index" ||
           what == "padding";
  }

  channel_outcome expected(const image& from, std::size_t channel) const {
    channel_outcome all;
    std::size_t entry = 0;
    for (const block_place& block : file.blocks()) {
      if (block.channel != static_cast<int>(channel)) continue;
      const entry_words words = words_of(from, channel, entry);
      value_status status = status_of_tables_or_none(from, channel, entry);
      if (!is_header(from, words.evhd)) {
        ++all.of_no_event;
        ++entry;
        continue;
      }
      if (status == value_status::ok) status = status_of_block(from, channel, entry, block);
      ++entry;
      add(all, {key_at(from, words.evhd), status, file.expected_payload(block, from)});
    }
    std::sort(all.cells.begin(), all.cells.end(),
              [](const cell& a, const cell& b) { return a.event < b.event; });
    return all;
  }
  value_status status_of_tables_or_none(const image& from, std::size_t channel, std::size_t entry) const {
    return is_header(from, words_of(from, channel, entry).evhd) ? status_of_tables(from, channel, entry)
                                                                : value_status::ok;
  }

  // Of two entries of one event one is delivered: the first one, or the one that is not disputed.
  static void add(channel_outcome& all, cell one) {
    if (one.status == value_status::event_disputed) ++all.disputed;
    const auto same = std::find_if(all.cells.begin(), all.cells.end(),
                                   [&](const cell& other) { return other.event[0] == one.event[0]; });
    if (one.status != value_status::ok) one.bytes.clear();
    if (same == all.cells.end()) {
      all.cells.push_back(std::move(one));
      return;
    }
    if (same->status == value_status::event_disputed && one.status != value_status::event_disputed)
      std::swap(*same, one);
    if (one.status != value_status::event_disputed) ++all.second_of_event;
  }

  // ---- the comparison

  verdict_on_mutant judge(std::size_t at, std::uint32_t value) {
    image mutant = file.image();
    set_word(mutant, at, value);
    const word_meaning meaning = file.meaning(at, value);
    const std::size_t pointers = file.pointer_of(0, 0, file.image());
    const std::size_t word_of_entry = at >= pointers ? (at - pointers) / 4 % 4 : 0;
    const outcome got = read(mutant);
    verdict_on_mutant verdict{"", got.problem};
    if (got.is_refused) {
      verdict.kind = "refused";
      if (is_exact(meaning, word_of_entry)) verdict.wrong = "it is refused";
      return verdict;
    }
    std::size_t missing = 0, values = 0;
    for (std::size_t c = 0; c < channels(); ++c) {
      const std::string problem = is_exact(meaning, word_of_entry)
                                      ? compare(got.channels[c], expected(mutant, c))
                                      : compare_values(got.channels[c], at, value, c, meaning);
      if (!problem.empty()) verdict.wrong = file_type::channel_names()[c] + ": " + problem;
      for (const cell& one : got.channels[c].cells) {
        values += one.status == value_status::ok;
        missing += one.status != value_status::ok;
      }
      missing += got.channels[c].of_no_event + got.channels[c].second_of_event;
    }
    verdict.kind = missing > 0 ? "values missing by their status, the others good"
                   : values == file.blocks().size()
                       ? "all values good"
                       : "channels or values that the tables do not have any more";
    return verdict;
  }

  static std::string compare(const channel_outcome& got, const channel_outcome& wanted) {
    if (got.of_no_event != wanted.of_no_event)
      return std::to_string(got.of_no_event) + " of no event instead of " +
             std::to_string(wanted.of_no_event);
    if (got.second_of_event != wanted.second_of_event)
      return std::to_string(got.second_of_event) + " seconds of an event instead of " +
             std::to_string(wanted.second_of_event);
    if (got.disputed != wanted.disputed)
      return std::to_string(got.disputed) + " disputed instead of " + std::to_string(wanted.disputed);
    if (got.cells.size() != wanted.cells.size())
      return std::to_string(got.cells.size()) + " events instead of " + std::to_string(wanted.cells.size());
    std::vector<cell> cells = got.cells;
    std::sort(cells.begin(), cells.end(), [](const cell& a, const cell& b) { return a.event < b.event; });
    for (std::size_t i = 0; i < cells.size(); ++i) {
      if (cells[i].event != wanted.cells[i].event)
        return "event " + text_of(cells[i].event) + " instead of " + text_of(wanted.cells[i].event);
      if (cells[i].status != wanted.cells[i].status)
        return "event " + text_of(cells[i].event) + " is " + value_status_text(cells[i].status) +
               " instead of " + value_status_text(wanted.cells[i].status);
      if (cells[i].bytes != wanted.cells[i].bytes)
        return "event " + text_of(cells[i].event) + " has other data";
    }
    return "";
  }

  /// A value that is delivered as good is the one that was put in for that event.
  std::string compare_values(const channel_outcome& got, std::size_t at, std::uint32_t value,
                             std::size_t channel, const word_meaning& meaning) const {
    image changed = file.image();
    if (meaning.role == word_role::passed_on || meaning.role == word_role::identity)
      set_word(changed, at, value);
    // A reading has the name of its channel in the dictionary.
    const bool is_renamed = std::string_view(meaning.what) == "name in the dictionary";
    const bool is_unchecked =
        (file.is_without_checksum(at) || std::string_view(meaning.what) == "data type") &&
        meaning.channel == static_cast<int>(channel);
    for (const cell& one : got.cells) {
      if (one.status != value_status::ok) continue;
      bool is_known = false;
      std::size_t entry = 0;
      for (const block_place& block : file.blocks()) {
        if (block.channel != static_cast<int>(channel)) continue;
        const std::uint32_t header = words_of(file.image(), channel, entry++).evhd;
        if (key_at(file.image(), header) != one.event) continue;
        const std::string data = file.expected_payload(block, changed);
        const bool is_reading = is_renamed && block.stored_as == form::environment;
        const std::size_t begin = is_reading ? std::min(layout::update_name, one.bytes.size()) : 0;
        is_known = is_known || data.substr(begin) == one.bytes.substr(begin) ||
                   (is_unchecked && data.size() == one.bytes.size());
      }
      if (!is_known) return "event " + text_of(one.event) + ": wrong data are handed out as good";
    }
    return "";
  }

  void judge_all(std::size_t mutants, std::size_t nth,
                 const std::function<std::pair<std::size_t, std::uint32_t>(std::size_t)>& word) {
    const mutant_tally tally = run_mutants(
        (mutants + nth - 1) / nth,
        {[&](std::size_t i) { return judge(word(i * nth).first, word(i * nth).second); },
         [&](std::size_t i) {
           const auto [at, value] = word(i * nth);
           return "word at " + std::to_string(at) + " (" + file.meaning(at, value).what + ") from " +
                  std::to_string(word_at(file.image(), at)) + " to " + std::to_string(value);
         },
         [this] { place.emplace(); }});
    EXPECT_EQ(tally.failed, 0u);
    EXPECT_GT(tally.mutants, 0u);
    EXPECT_EQ(tally.judged(), tally.mutants);
    std::cout << text_of(tally);
  }

  const file_type file{1};
  std::optional<ravo::fuzz::memory_file> place{std::in_place};
  std::vector<std::size_t> position_;  ///< of the dataset's channels, in the small file
};
TYPED_TEST_SUITE(DatasetMatrix, generations, generation_name);

TYPED_TEST(DatasetMatrix, ReadsTheGoodFileAsItWasMade) {
  const outcome got = this->read(this->good().image());
  EXPECT_EQ(got.problem, "");
  ASSERT_FALSE(got.is_refused);
  for (std::size_t c = 0; c < this->channels(); ++c) {
    const channel_outcome wanted = this->expected(this->good().image(), c);
    EXPECT_EQ(wanted.cells.size(), this->count_of(c));
    for (const cell& one : wanted.cells) EXPECT_EQ(one.status, value_status::ok);
    EXPECT_EQ(this->compare(got.channels[c], wanted), "") << this->good().channel_names()[c];
  }
}

TYPED_TEST(DatasetMatrix, OfEveryWordAndEverySuspiciousValue) {
  const image& good = this->good().image();
  std::vector<std::pair<std::size_t, std::uint32_t>> mutants;
  for (std::size_t at = 0; at + 4 <= good.size(); at += 4)
    for (const std::uint32_t value : this->values_of(at)) mutants.emplace_back(at, value);
  this->judge_all(mutants.size(), stride, [&](std::size_t i) { return mutants[i]; });
}

}  // namespace
