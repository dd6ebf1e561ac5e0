// The text form of a selection: a row for each key says how its value is read and how it is written.
#include "ravo_dataset/selection.h"

#include <algorithm>
#include <chrono>
#include <tuple>
#include <utility>

#include "format/time.h"
#include "ravo_dataset/errors.h"
#include "ravo_dataset/time_grammar.h"
#include "select/manifest_text.h"
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
time_stamp time_of(const selection_word& word, const std::string& text, const selection& so_far) {
  using namespace std::chrono;
  const auto since = system_clock::now().time_since_epoch();
  const auto rest = duration_cast<microseconds>(since % seconds(1)).count();
  const time_stamp now{static_cast<std::uint32_t>(duration_cast<seconds>(since).count()),
                       static_cast<std::uint32_t>(rest)};
  const time_reading read = read_time(text, {now, time_zone(), so_far.from, "from="});
  if (!read.time) throw selection_error("\"" + word.text + "\" cannot be read: it " + read.problem);
  return *read.time;
}

/// The parts of "BEFORE:AFTER". The second part may hold anything.
std::pair<std::string, std::string> split_at_colon(const selection_word& word, const std::string& value,
                                                   const char* form) {
  const std::size_t colon = value.find(':');
  if (colon == std::string::npos) refuse(word, form);
  return {value.substr(0, colon), value.substr(colon + 1)};
}

constexpr char exact_form[] =
    "it is KIND:NAME,... where KIND is fast or slow, for a member with its number and name: fast.0.CHARGE";

/// "fast", "slow", "fast.3" or "fast.3.CHARGE".
exact_channel read_kind(const selection_word& word, std::string_view kind) {
  exact_channel channel;
  const std::size_t first = kind.find('.');
  channel.is_slow = kind.substr(0, first) == "slow";
  if (!channel.is_slow && kind.substr(0, first) != "fast") refuse(word, exact_form);
  if (first == std::string_view::npos) return channel;
  kind.remove_prefix(first + 1);
  const std::size_t second = kind.find('.');
  const auto number = must(detail::read_number(kind.substr(0, second)), word, exact_form);
  if (number > 0x7fffffff) refuse(word, exact_form);
  channel.member = static_cast<int>(number);
  if (second == std::string_view::npos) return channel;
  channel.member_name = kind.substr(second + 1);
  if (channel.member_name.empty()) refuse(word, exact_form);
  return channel;
}

void read_exact(const selection_word& word, selection& to) {
  for (const std::string& value : word.values) {
    const auto [kind, name] = split_at_colon(word, value, exact_form);
    to.exact.push_back(read_kind(word, kind));
    to.exact.back().name = name;
  }
}

std::string text_of(const exact_channel& channel) {
  std::string text = channel.is_slow ? "slow" : "fast";
  if (channel.member >= 0) {
    text += "." + std::to_string(channel.member);
    if (!channel.member_name.empty()) text += "." + channel.member_name;
  }
  return text + ":" + channel.name;
}

std::string key_of(file_refusal reason) { return detail::key_of(file_refusal_text(reason)); }

void read_left_out(const selection_word& word, selection& to) {
  for (const std::string& value : word.values) {
    const auto [key, path] =
        split_at_colon(word, value, "it is REASON:PATH,... with a reason such as missing");
    std::size_t reason = 1;  // none is no reason
    while (reason < file_refusal_count && key_of(static_cast<file_refusal>(reason)) != key) ++reason;
    if (reason == file_refusal_count) refuse(word, ("\"" + key + "\" is no reason").c_str());
    to.left_out.push_back({path, static_cast<file_refusal>(reason)});
  }
}

std::string text_of(const left_out_file& file) { return key_of(file.reason) + ":" + file.path; }

void read_gaps(const selection_word& word, selection& to) {
  for (const std::string& value : word.values) {
    const std::size_t slash = value.find('/');
    if (slash == std::string::npos) refuse(word, "it is FROM/TO,... of which both may be left out");
    missing_period gap;
    if (slash != 0) gap.from = time_of(word, value.substr(0, slash), to);
    if (slash + 1 != value.size()) gap.to = time_of(word, value.substr(slash + 1), to);
    to.gaps.push_back(gap);
  }
}

std::string text_of(const missing_period& gap) {
  return (gap.from ? detail::write_time(*gap.from) : "") + "/" +
         (gap.to ? detail::write_time(*gap.to) : "");
}

constexpr std::string_view digest_kind = "sha256:";

void read_manifest(const selection_word& word, selection& to) {
  constexpr char form[] = "it is PATH,sha256:DIGEST with a digest of 64 digits, as sha256sum prints it";
  if (word.values.size() != 2 || word.values[0].empty() || !word.values[1].starts_with(digest_kind))
    refuse(word, form);
  const std::string digest = word.values[1].substr(digest_kind.size());
  if (digest.size() != 64 || digest.find_first_not_of("0123456789abcdef") != std::string::npos)
    refuse(word, form);
  to.manifests.push_back({word.values[0], digest});
}

struct key_row {
  std::string_view key;
  void (*read)(const selection_word&, selection&);
};

constexpr key_row keys[] = {
    {"run", &read_runs},
    {"file", [](const selection_word& word, selection& to) { append(to.files, word); }},
    {"chan", [](const selection_word& word, selection& to) { append(to.channels, word); }},
    {"from", [](const selection_word& word, selection& to) { to.from = time_of(word, one(word), to); }},
    {"to", [](const selection_word& word, selection& to) { to.to = time_of(word, one(word), to); }},
    {"event", &read_events},
    {"step",
     [](const selection_word& word, selection& to) {
       to.step = must(detail::read_number(one(word)), word, "it is a number, 1 or more");
       if (to.step == 0) refuse(word, "it is a number, 1 or more");
     }},
    {"phase",
     [](const selection_word& word, selection& to) {
       to.phase = must(detail::read_number(one(word)), word, "it is a number, less than the step");
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
    {"exact", &read_exact},
    {"context", [](const selection_word& word, selection& to) { append(to.context, word); }},
    {"left_out", &read_left_out},
    {"gap", &read_gaps},
    {"manifest", &read_manifest},
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

const std::string& text_of(const std::string& value) { return value; }

template <class Element>
std::string list_of(const std::vector<Element>& elements) {
  std::string text;
  for (const Element& element : elements) text += (text.empty() ? "" : ",") + quoted(text_of(element));
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

namespace detail {

std::string manifest_text(const selection& lists) {
  std::string text;
  const auto add = [&text](const char* key, const auto& elements) {
    for (const auto& element : elements) text += std::string(key) + "=" + quoted(text_of(element)) + "\n";
  };
  add("file", lists.files);
  add("context", lists.context);
  add("left_out", lists.left_out);
  add("gap", lists.gaps);
  add("chan", lists.channels);
  add("exact", lists.exact);
  return text;
}

}  // namespace detail

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
    if (!whole.context.empty()) add("context", list_of(whole.context));
    if (!whole.left_out.empty()) add("left_out", list_of(whole.left_out));
    if (!whole.gaps.empty()) add("gap", list_of(whole.gaps));
    for (const manifest_name& manifest : whole.manifests)
      add("manifest", quoted(manifest.path) + "," + std::string(digest_kind) + manifest.sha256);
    if (!whole.channels.empty()) add("chan", list_of(whole.channels));
    if (!whole.exact.empty()) add("exact", list_of(whole.exact));
  }

  void add_events(const selection& whole) {
    if (whole.from) add("from", detail::write_time(*whole.from));
    if (whole.to) add("to", detail::write_time(*whole.to));
    if (whole.first_event || whole.last_event) add("event", range_of(whole.first_event, whole.last_event));
    if (whole.step != 1) add("step", std::to_string(whole.step));
    if (whole.phase != 0) add("phase", std::to_string(whole.phase));
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
                    one_of.max_age, one_of.context, one_of.left_out, one_of.manifests, one_of.exact,
                    one_of.phase);
  };
  const auto same_gap = [](const missing_period& a, const missing_period& b) {
    return same(a.from, b.from) && same(a.to, b.to);
  };
  return plain_fields(*this) == plain_fields(other) && same(from, other.from) && same(to, other.to) &&
         span_of(tolerance) == span_of(other.tolerance) &&
         std::equal(gaps.begin(), gaps.end(), other.gaps.begin(), other.gaps.end(), same_gap);
}

}  // namespace ravo
