// The text form of a selection: a row for each key says how its value is read and how it is written.
#include "ravo_dataset/selection.h"

#include <algorithm>
#include <chrono>
#include <tuple>

#include "format/time.h"
#include "ravo_dataset/errors.h"
#include "ravo_dataset/time_grammar.h"
#include "select/selection_words.h"

namespace ravo {
namespace {

using detail::quoted;
using detail::selection_word;

[[noreturn]] void refuse(const selection_word& word, const char* what_it_is_to_be) {
  throw selection_error("\"" + word.text + "\" cannot be read: " + what_it_is_to_be);
}

/// The only value of a word.
const std::string& one(const selection_word& word) {
  if (word.values.size() != 1 || word.values[0].empty()) refuse(word, "it takes one value");
  return word.values[0];
}

template <class Value>
Value must(const std::optional<Value>& value, const selection_word& word, const char* what_it_is_to_be) {
  if (!value) refuse(word, what_it_is_to_be);
  return *value;
}

template <class Enumeration>
struct named {
  std::string_view name;
  Enumeration value;
};
constexpr named<synch_mode> synch_modes[] = {{"number", synch_mode::by_number},
                                             {"time", synch_mode::by_time}};
constexpr named<slow_policy> slow_policies[] = {
    {"none", slow_policy::none}, {"hold", slow_policy::hold}, {"nearest", slow_policy::nearest}};

template <class Enumeration, std::size_t size>
Enumeration read_name(const selection_word& word, const named<Enumeration> (&names)[size],
                      const char* choice) {
  for (const auto& one_of : names)
    if (one_of.name == one(word)) return one_of.value;
  refuse(word, choice);
}

template <class Enumeration, std::size_t size>
std::string name_of(Enumeration value, const named<Enumeration> (&names)[size]) {
  for (const auto& one_of : names)
    if (one_of.value == value) return std::string(one_of.name);
  return {};
}

constexpr char span_form[] = "a span is a number followed by us, ms, s, min or h";
constexpr char range_form[] = "it is N or N-M";

struct number_range {
  std::optional<std::uint32_t> first, last;
};

/// "N", "N-M", "N-" or "-M".
number_range read_range(const selection_word& word, const char* form) {
  const std::string& text = one(word);
  const std::size_t dash = text.find('-');
  if (dash == std::string::npos) {
    const auto number = must(detail::read_number(text), word, form);
    return {number, number};
  }
  number_range range;
  const std::string_view first = std::string_view(text).substr(0, dash);
  const std::string_view last = std::string_view(text).substr(dash + 1);
  if (!first.empty()) range.first = must(detail::read_number(first), word, form);
  if (!last.empty()) range.last = must(detail::read_number(last), word, form);
  if ((!range.first && !range.last) || (range.first && range.last && *range.last < *range.first))
    refuse(word, form);
  return range;
}

void read_runs(const selection_word& word, selection& to) {
  const number_range range = read_range(word, range_form);
  if (!range.first || !range.last || *range.first == 0 || *range.last > 0x7fffffff)
    refuse(word, range_form);
  to.runs = run_numbers{static_cast<int>(*range.first), static_cast<int>(*range.last)};
}

void read_events(const selection_word& word, selection& to) {
  const number_range range = read_range(word, "it is N, N-M, N- or -M");
  to.first_event = range.first;
  to.last_event = range.last;
}

void read_join(const selection_word& word, selection& to) {
  const std::string& text = one(word);
  to.join_channel.clear();  // of an earlier "join", which this one replaces
  if (text == "any") {
    to.join = join_policy::any;
  } else if (text == "all") {
    to.join = join_policy::all;
  } else if (text.starts_with("with:") && text.size() > 5) {
    to.join = join_policy::with;
    to.join_channel = text.substr(5);
  } else {
    refuse(word, "it is any, all or with:CHANNEL");
  }
}

void append(std::vector<std::string>& to, const selection_word& word) {
  for (const std::string& value : word.values) {
    if (value.empty()) refuse(word, "a value is empty");
    to.push_back(value);
  }
}

time_stamp stamp_of(std::uint64_t microseconds) {
  return {static_cast<std::uint32_t>(microseconds / microseconds_per_second),
          static_cast<std::uint32_t>(microseconds % microseconds_per_second)};
}

std::uint64_t span_of(const time_stamp& span) { return static_cast<std::uint64_t>(in_microseconds(span)); }

/// A time in the grammar that options have, too: times of day are in UTC, and "now" is by this machine's
/// clock.
time_stamp time_of(const selection_word& word, const selection& so_far) {
  using namespace std::chrono;
  const auto since = system_clock::now().time_since_epoch();
  const auto rest = duration_cast<microseconds>(since % seconds(1)).count();
  const time_stamp now{static_cast<std::uint32_t>(duration_cast<seconds>(since).count()),
                       static_cast<std::uint32_t>(rest)};
  const time_reading read = read_time(one(word), {now, time_zone(), so_far.from, "from="});
  if (!read.time) throw selection_error("\"" + word.text + "\" cannot be read: it " + read.problem);
  return *read.time;
}

struct key_row {
  std::string_view key;
  void (*read)(const selection_word&, selection&);
};

constexpr key_row keys[] = {
    {"run", &read_runs},
    {"file", [](const selection_word& word, selection& to) { append(to.files, word); }},
    {"chan", [](const selection_word& word, selection& to) { append(to.channels, word); }},
    {"from", [](const selection_word& word, selection& to) { to.from = time_of(word, to); }},
    {"to", [](const selection_word& word, selection& to) { to.to = time_of(word, to); }},
    {"event", &read_events},
    {"step",
     [](const selection_word& word, selection& to) {
       to.step = must(detail::read_number(one(word)), word, "it is a number, 1 or more");
       if (to.step == 0) refuse(word, "it is a number, 1 or more");
     }},
    {"limit",
     [](const selection_word& word, selection& to) {
       to.limit = must(detail::read_number(one(word)), word, "it is a number, 1 or more");
       if (to.limit == 0u) refuse(word, "it is a number, 1 or more");
     }},
    {"synch", [](const selection_word& word,
                 selection& to) { to.synch = read_name(word, synch_modes, "it is number or time"); }},
    {"tolerance",
     [](const selection_word& word, selection& to) {
       const auto span = must(detail::read_span(one(word)), word, span_form);
       if (span / microseconds_per_second > 0xffffffffu) refuse(word, span_form);
       to.tolerance = stamp_of(span);
     }},
    {"join", &read_join},
    {"slow",
     [](const selection_word& word, selection& to) {
       to.slow = read_name(word, slow_policies, "it is none, hold or nearest");
     }},
    {"max_age", [](const selection_word& word,
                   selection& to) { to.max_age = must(detail::read_span(one(word)), word, span_form); }},
    {"catalog", [](const selection_word& word, selection& to) { to.catalogue = one(word); }},
    {"data", [](const selection_word& word, selection& to) { to.data = one(word); }},
};

void read_stream(const selection_word& word, selection& to) {
  const std::string& text = one(word);
  const std::size_t slash = text.find('/');
  if (slash == std::string::npos || slash == 0 || slash + 1 == text.size() ||
      text.find('/', slash + 1) != std::string::npos)
    refuse(word, "it is neither KEY=VALUE nor EXPERIMENT/STREAM");
  to.experiment = text.substr(0, slash);
  to.stream = text.substr(slash + 1);
}

std::string list_of(const std::vector<std::string>& values) {
  std::string text;
  for (const std::string& value : values) text += (text.empty() ? "" : ",") + quoted(value);
  return text;
}

std::string range_of(std::optional<std::uint32_t> first, std::optional<std::uint32_t> last) {
  if (first && last && *first == *last) return std::to_string(*first);
  return (first ? std::to_string(*first) : "") + "-" + (last ? std::to_string(*last) : "");
}

bool same(const std::optional<time_stamp>& a, const std::optional<time_stamp>& b) {
  return a.has_value() == b.has_value() && (!a || span_of(*a) == span_of(*b));
}

}  // namespace

selection selection::parse(std::string_view text) {
  selection read;
  std::vector<selection_word> words = detail::split_words(text);
  // The end of a window may be relative to its beginning, wherever that stands in the text.
  std::stable_partition(words.begin(), words.end(),
                        [](const selection_word& word) { return word.key == "from"; });
  for (const selection_word& word : words) {
    if (word.key.empty()) {
      read_stream(word, read);
      continue;
    }
    const auto row = std::find_if(std::begin(keys), std::end(keys),
                                  [&](const key_row& one_of) { return one_of.key == word.key; });
    if (row == std::end(keys)) {
      std::string known;
      for (const key_row& one_of : keys) known += (known.empty() ? "" : ", ") + std::string(one_of.key);
      refuse(word, ("the keys are " + known).c_str());
    }
    row->read(word, read);
  }
  return read;
}

namespace {

/// A selection's text, word by word.
class selection_text {
 public:
  explicit selection_text(const selection& whole) : text_(quoted(whole.experiment + "/" + whole.stream)) {
    add_files(whole);
    add_events(whole);
    add_alignment(whole);
  }
  std::string take() { return std::move(text_); }

 private:
  void add(const char* key, const std::string& value) { text_ += std::string(" ") + key + "=" + value; }

  void add_files(const selection& whole) {
    if (!whole.files.empty()) add("file", list_of(whole.files));
    if (whole.runs)
      add("run", range_of(static_cast<std::uint32_t>(whole.runs->first),
                          static_cast<std::uint32_t>(whole.runs->last)));
    if (!whole.catalogue.empty()) add("catalog", quoted(whole.catalogue));
    if (!whole.data.empty()) add("data", quoted(whole.data));
    if (!whole.channels.empty()) add("chan", list_of(whole.channels));
  }

  void add_events(const selection& whole) {
    if (whole.from) add("from", detail::write_time(*whole.from));
    if (whole.to) add("to", detail::write_time(*whole.to));
    if (whole.first_event || whole.last_event) add("event", range_of(whole.first_event, whole.last_event));
    if (whole.step != 1) add("step", std::to_string(whole.step));
    if (whole.limit) add("limit", std::to_string(*whole.limit));
  }

  void add_alignment(const selection& whole) {
    const selection plain;
    if (whole.synch != plain.synch) add("synch", name_of(whole.synch, synch_modes));
    if (span_of(whole.tolerance) != span_of(plain.tolerance))
      add("tolerance", detail::write_span(span_of(whole.tolerance)));
    if (whole.join == join_policy::all) add("join", "all");
    if (whole.join == join_policy::with) add("join", quoted("with:" + whole.join_channel));
    if (whole.slow != plain.slow) add("slow", name_of(whole.slow, slow_policies));
    if (whole.max_age) add("max_age", detail::write_span(*whole.max_age));
  }

  std::string text_;
};

}  // namespace

std::string selection::to_text() const { return selection_text(*this).take(); }

bool selection::operator==(const selection& other) const {
  const auto plain_fields = [](const selection& one_of) {
    return std::tie(one_of.files, one_of.experiment, one_of.stream, one_of.catalogue, one_of.data,
                    one_of.runs, one_of.channels, one_of.first_event, one_of.last_event, one_of.step,
                    one_of.limit, one_of.synch, one_of.join, one_of.join_channel, one_of.slow,
                    one_of.max_age);
  };
  return plain_fields(*this) == plain_fields(other) && same(from, other.from) && same(to, other.to) &&
         span_of(tolerance) == span_of(other.tolerance);
}

}  // namespace ravo
