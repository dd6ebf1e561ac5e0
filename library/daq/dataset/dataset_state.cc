#include "dataset_state.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <utility>

#include "describe/missing_spans.h"
#include "format/event_types.h"
#include "ravo_dataset/find_files.h"
#include "ravo_dataset/member_names.h"

namespace ravo {

using datasets::entry;
using datasets::segment;

namespace {

/// What is found in one file before it is known which of its channels are wanted.
struct looked_into {
  struct channel {
    std::uint32_t name;  ///< its number among all names
    datasets::channel_place place;
    std::uint32_t event_mask;
  };
  datasets::file_look look;
  std::vector<channel> channels;
};

/// The names of all files, each once: thousands of files have the same ones.
class name_numbers {
 public:
  explicit name_numbers(datasets::memory_budget& memory) : memory_(memory) {}

  /// Nothing: it is a new name, and there is no room for it now.
  std::optional<std::uint32_t> number_of(std::string_view name) {
    // With its place in the lists that are made of all names; its letters are there twice.
    constexpr std::size_t of_name = 320;
    const auto found = numbers_.find(name);
    if (found != numbers_.end()) return found->second;
    if (!memory_.try_grow(reserved_, of_name + 2 * name.size())) return std::nullopt;
    const auto number = static_cast<std::uint32_t>(numbers_.size());
    return numbers_.emplace(std::string(name), number).first->second;
  }
  /// By number.
  std::vector<std::string_view> names() const {
    std::vector<std::string_view> all(numbers_.size());
    for (const auto& [name, number] : numbers_) all[number] = name;
    return all;
  }

  std::mutex mutex;  ///< held while names are numbered

 private:
  datasets::memory_budget& memory_;
  datasets::reservation reserved_;
  std::map<std::string, std::uint32_t, std::less<>> numbers_;
};

/// Thrown where the names of a file have no room while others look into theirs: it is looked into again,
/// alone.
struct no_room_for_names {};

/// Memory for the tables of files that several threads look into at the same time. A file waits until
/// others give theirs back; where there are no others, and not enough, that is said at once.
class room_for_tables {
 public:
  enum class company { shared, alone };

  explicit room_for_tables(const dataset_state& state, datasets::memory_budget& memory)
      : state_(state), memory_(memory) {}

  /// Of one file; given back in the end, but for what is kept.
  class part {
   public:
    part(room_for_tables& room, datasets::reservation& share, company how)
        : room_(room), share_(share), how_(how) {}
    ~part() { end(0); }
    part(const part&) = delete;
    part& operator=(const part&) = delete;

    void take(std::size_t bytes, const datasets::table_bytes& tables, const std::string& path) {
      room_.take(bytes, tables, path, share_, how_);
      is_taken_ = true;
    }
    /// What is kept is not more than what was taken, unless the site's library did not say how large its
    /// tables are.
    void keep(std::size_t bytes, const std::string& path) {
      if (bytes > share_.bytes()) {
        end(0);
        take(bytes, {}, path);
      }
      end(bytes);
    }

   private:
    void end(std::size_t kept) {
      if (std::exchange(is_taken_, false)) room_.give_back(kept, share_, how_);
    }
    room_for_tables& room_;
    datasets::reservation& share_;
    company how_;
    bool is_taken_ = false;
  };

  [[noreturn]] void refuse(const std::string& what) const {
    throw memory_exceeded(what + "; " + std::to_string(memory_.used()) + " of the memory limit of " +
                          std::to_string(memory_.limit()) +
                          " bytes are in use: raise the limit, or leave the file out");
  }

 private:
  void take(std::size_t bytes, const datasets::table_bytes& tables, const std::string& path,
            datasets::reservation& share, company how) {
    std::unique_lock lock(mutex_);
    for (;;) {
      const bool is_my_turn = !is_one_alone_ && (how == company::shared || holders_ == 0);
      if (is_my_turn && memory_.try_grow(share, bytes)) break;
      if (is_my_turn && holders_ == 0)
        refuse("Looking into " + path + " takes " + std::to_string(bytes) +
               " bytes, since its channel dictionary has " + std::to_string(tables.dictionary) +
               " and its event index " + std::to_string(tables.event_index));
      state_.check_stop();
      given_back_.wait_for(lock, std::chrono::milliseconds(20));
    }
    ++holders_;
    is_one_alone_ = how == company::alone;
  }
  void give_back(std::size_t kept, datasets::reservation& share, company how) {
    {
      const std::lock_guard lock(mutex_);
      share.shrink(kept);
      --holders_;
      if (how == company::alone) is_one_alone_ = false;
    }
    given_back_.notify_all();
  }

  const dataset_state& state_;
  datasets::memory_budget& memory_;
  std::mutex mutex_;  ///< guards what follows
  std::condition_variable given_back_;
  std::size_t holders_ = 0;  ///< parts of which something is given back in the end
  bool is_one_alone_ = false;
};

/// Visits the files that have data of a channel, until `visit` returns false: the file's place among those
/// that can be read, and what is known of it and of the channel in it.
void visit_places(const std::vector<looked_into>& all, std::uint32_t name, const auto& visit) {
  std::uint32_t position = 0;
  for (const looked_into& one : all) {
    if (one.look.refusal != file_refusal::none) continue;
    const auto here = std::find_if(one.channels.begin(), one.channels.end(),
                                   [name](const auto& channel) { return channel.name == name; });
    const bool has_data = here != one.channels.end() && here->place.count != 0;
    if (has_data && !visit(datasets::known_file{one.look, {here->place}, position})) return;
    ++position;
  }
}

dataset_options completed(dataset_options options) {
  if (options.threads == 0) options.threads = std::max(1u, std::thread::hardware_concurrency());
  return options;
}

}  // namespace

dataset_state::dataset_state(selection what, dataset_options how)
    : wanted(std::move(what)),
      options(completed(std::move(how))),
      memory(options.memory_limit, options.stop),
      opened(std::max<std::size_t>(options.open_files, 1)),
      timeline(wanted, opened, memory),
      pool(options.threads) {
  memory.set_reclaim([this] {
    return timeline.drop_oldest() || ahead.give_one_back(datasets::batch_turn::later) ||
           ahead.give_one_back(datasets::batch_turn::now);
  });
}

void dataset_state::open() {
  if (wanted.step == 0) throw selection_error("The step of a selection is 1 or more");
  if (wanted.limit == 0u) throw selection_error("The limit of a selection is 1 event or more");
  if (wanted.max_age && wanted.slow == slow_policy::none)
    throw selection_error("max_age= says how old a held value may be: it needs slow=hold or slow=nearest");
  found_files found = find_files(wanted);
  refused = std::move(found.left_out);
  problems = std::move(found.problems);
  const std::size_t left_out = refused.size();
  check_that_files_may_be_missing();
  look_into_files(found.files);
  for (std::size_t i = 0; i < left_out; ++i)
    all_files.push_back(
        {refused[i].path, ravo_file_generation::current, refused[i].reason, refused[i].problem});
}

// How many values such a file holds is not known: no limit below "all" can be said to hold.
void dataset_state::check_that_files_may_be_missing() const {
  if (refused.empty() || options.damage.largest_missing_share >= 1) return;
  throw file_left_out(refused.front());
}

void dataset_state::look_into_files(const std::vector<std::string>& paths) {
  opened.set_paths(paths);
  std::vector<looked_into> found(paths.size());
  name_numbers numbers(memory);
  std::vector<datasets::reservation> shares(paths.size());
  room_for_tables room(*this, memory);
  const auto look_into = [&](std::size_t i, const datasets::open_file& file, room_for_tables::company how) {
    room_for_tables::part room_of_file(room, shares[i], how);
    std::vector<looked_into::channel>& here = found[i].channels;
    here = {};
    found[i].look = datasets::look_into(
        file,
        [&](const datasets::table_bytes& tables) {
          // As the list of its channels grows, it is there twice.
          room_of_file.take(
              tables.dictionary + tables.event_index + 3 * tables.rows * sizeof(looked_into::channel),
              tables, paths[i]);
        },
        [&](const datasets::listed_channel& channel) {
          const std::lock_guard lock(numbers.mutex);
          const auto number = numbers.number_of(channel.name);
          if (!number) throw no_room_for_names();
          here.push_back({*number, {channel.row, channel.count, channel.dtype_mask}, channel.event_mask});
        });
    const datasets::error_of_the_machine error = opened.why_not(i);
    if (error && found[i].look.refusal != file_refusal::none)
      found[i].look.refuse(error.refusal(), "it cannot be read: " + error.text());
    room_of_file.keep(here.capacity() * sizeof(looked_into::channel), paths[i]);
  };
  pool.run(paths.size(), pool.size(), [&](std::size_t i) {
    check_stop();
    const auto file = opened.get(i);
    if (!file) {
      if (const datasets::error_of_the_machine error = opened.why_not(i))
        found[i].look.refuse(error.refusal(), "it cannot be opened: " + error.text());
      else
        found[i].look.refuse(file_refusal::not_regular, "it is no regular file, or changes right now");
      return;
    }
    try {
      look_into(i, *file, room_for_tables::company::shared);
      return;
    } catch (const no_room_for_names&) {
    }
    try {
      look_into(i, *file, room_for_tables::company::alone);
    } catch (const no_room_for_names&) {
      room.refuse("The channel names of " + paths[i] + " do not fit into the memory");
    }
  });

  const std::vector<std::string_view> name_of = numbers.names();
  std::set<std::string, std::less<>> names(name_of.begin(), name_of.end());
  std::vector<std::string> readable;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    const datasets::file_look& look = found[i].look;
    all_files.push_back({paths[i], look.generation, look.refusal, look.problem});
    if (look.refusal != file_refusal::none) {
      refused.push_back({paths[i], look.refusal, look.problem});
      continue;
    }
    files.push_back(all_files.back());
    readable.push_back(paths[i]);
  }
  check_that_files_may_be_missing();
  if (files.empty()) throw file_left_out(refused.front());
  if (readable.size() < paths.size()) opened.set_paths(readable);

  const auto find_member = [&](const std::string& channel, const std::string& member) {
    const int found_number = member_of(channel, member, [&](const auto& visit) {
      visit_places(found, *numbers.number_of(channel), visit);
    });
    labels_by_name[channel + ":" + member] = channel + ":" + std::to_string(found_number);
    return found_number;
  };
  wanted_channels = datasets::match_channels(wanted.channels, names, find_member);
  std::vector<std::string> channel_names;
  std::vector<bool> slow_channels;
  std::vector<std::uint32_t> masks(wanted_channels.size(), 0);
  for (const datasets::wanted_channel& one : wanted_channels) {
    channels.push_back({one.label(), one.name, one.member, false, 0});
    channel_names.push_back(one.name);
  }
  std::vector<std::vector<std::size_t>> wanted_by_number(name_of.size());
  for (std::size_t i = 0; i < channels.size(); ++i)
    wanted_by_number[*numbers.number_of(channels[i].name)].push_back(i);
  std::vector<datasets::timed_file> timed;
  std::size_t letters = 0;
  for (const dataset_file& file : all_files) letters += 3 * (file.path.capacity() + sizeof file.path);
  for (const dataset_channel& channel : channels) letters += 6 * channel.label.size();
  const std::size_t known = letters +
                            files.size() * (sizeof(datasets::timed_file) + sizeof(dataset_file) * 2 +
                                            channels.size() * sizeof(datasets::channel_place)) +
                            channels.size() * (sizeof(dataset_channel) + sizeof(channel_ledger) +
                                               2 * sizeof(datasets::wanted_channel));
  // Nobody has anything yet that he could give back.
  if (!memory.try_grow(tables_, known))
    throw memory_exceeded("What is known of " + std::to_string(files.size()) + " files and " +
                          std::to_string(channels.size()) + " channels takes " + std::to_string(known) +
                          " bytes, and " + std::to_string(memory.used()) + " of the memory limit of " +
                          std::to_string(memory.limit()) + " are in use: raise the limit, or select less");
  for (const looked_into& one : found) {
    if (one.look.refusal != file_refusal::none) continue;
    datasets::timed_file& file = timed.emplace_back();
    file.span = one.look.span;
    file.tables = {one.look, std::vector<datasets::channel_place>(channels.size()),
                   static_cast<std::uint32_t>(timed.size() - 1)};
    for (const looked_into::channel& here : one.channels)
      for (const std::size_t channel : wanted_by_number[here.name]) {
        datasets::channel_place& place = file.tables.places[channel];
        // Of two channels of one name in a file the first one is meant.
        if (place.row != datasets::channel_place::none) continue;
        place = here.place;
        channels[channel].entries += here.place.count;
        masks[channel] |= here.event_mask;
      }
  }
  for (std::size_t i = 0; i < channels.size(); ++i) {
    channels[i].is_slow = masks[i] != 0 && (masks[i] & ~slow_event_mask) == 0;
    slow_channels.push_back(channels[i].is_slow);
  }
  if (wanted.slow != slow_policy::none) timeline.set_gaps(datasets::missing_spans(refused, readable));
  std::size_t join_channel = 0;
  if (wanted.join == join_policy::with) join_channel = channel_or_throw(wanted.join_channel);
  timeline.set(std::move(timed), std::move(channel_names), std::move(slow_channels), join_channel);
}

/// The number of a member that is called by its name: the first block of the channel that can be looked at
/// says which data type it has.
int dataset_state::member_of(const std::string& channel, const std::string& member,
                             const std::function<void(const place_visitor&)>& visit_files) {
  std::optional<std::int32_t> type;
  visit_files([&](const datasets::known_file& known) {
    const datasets::reservation room =
        reserve(datasets::bytes_to_load_rows(known) + known.places[0].count * 2 * sizeof(entry),
                "Finding the members of " + channel);
    const auto file = opened.get(known.position);
    const auto rows = file ? datasets::load_rows(*file, known, {channel}) : std::nullopt;
    if (!rows) return true;
    for (const entry& one : rows->front().entries)
      if (one.status == value_status::ok && !type)
        type = datasets::read_stored_type(*file, known.generation, one);
    return !type.has_value();
  });
  if (type)
    if (const auto number = member_number(*type, member)) return *number;
  const std::string members = type ? member_list(*type) : "";
  throw selection_error(
      "\"" + channel + "\" has no member \"" + member + "\"; " +
      (members.empty() ? "its members go by their numbers, from 0" : "it has " + members));
}

std::optional<std::size_t> dataset_state::find_channel(std::string_view label) const {
  if (const auto by_member = labels_by_name.find(label); by_member != labels_by_name.end())
    label = by_member->second;
  std::optional<std::size_t> by_name;
  for (std::size_t i = 0; i < channels.size(); ++i) {
    if (channels[i].label == label) return i;
    if (channels[i].name != label) continue;
    if (by_name) return std::nullopt;
    by_name = i;
  }
  return by_name;
}

std::size_t dataset_state::channel_or_throw(std::string_view label) const {
  const auto found = find_channel(label);
  if (!found)
    throw selection_error("The dataset has no channel \"" + std::string(label) +
                          "\"; channels are called as the selection names them");
  return *found;
}

void dataset_state::check_stop() const {
  if (is_stopped()) throw read_cancelled();
}

datasets::block_source_file dataset_state::source_of(const segment& part, std::size_t channel,
                                                     std::uint32_t file,
                                                     std::shared_ptr<const datasets::open_file>& kept) {
  kept = opened.get(file);
  const datasets::known_file& known = timeline.file(file).tables;
  return {kept.get(),
          channels[channel].name.c_str(),
          &known,
          known.places[channel].dtype_mask,
          part.basket_end(channel, file),
          &names_in_dictionaries,
          options.largest_block};
}

// ---- accounts

read_ledger dataset_state::new_account() const {
  read_ledger account;
  account.files = refused;
  account.problems = problems;
  return account;
}

/// Says once why a file that was opened can no longer be read.
void dataset_state::note_unreadable(read_ledger& to, std::uint32_t file) const {
  const datasets::error_of_the_machine error = opened.why_not(file);
  if (!error) return;
  const std::string& path = files[file].path;
  const reading_problem problem{problem_reason::machine_error, path,
                                "The file " + path + " could not be read: " + error.text()};
  if (std::find(to.problems.begin(), to.problems.end(), problem) == to.problems.end())
    to.problems.push_back(problem);
}

/// Counts a value that was expected and is missing, or nothing at all where there is no memory for it.
void dataset_state::note_missing(read_ledger& to, std::size_t position, std::size_t channel,
                                 const entry& where, missing_cause cause) const {
  std::uint64_t& count = to.channels[position].missing[static_cast<std::size_t>(cause)];
  if (cause == missing_cause::file_missing) note_unreadable(to, where.file);
  if (to.values.size() < read_ledger::most_listed || count == 0)
    to.values.push_back(
        {channels[channel].label, files[where.file].path, where.chhd, {where.number, where.time}, cause});
  ++to.channels[position].expected;
  ++count;
}

void dataset_state::account(read_ledger& to, std::size_t position, std::size_t channel, const entry& where,
                            value_status status) const {
  if (!is_missing(status)) {
    ++to.channels[position].expected;
    ++to.channels[position].delivered;
    return;
  }
  note_missing(to, position, channel, where, missing_cause_of(status));
  if (options.damage.largest_missing_share <= 0)
    throw missing_data("A value of " + channels[channel].label + " is missing (" +
                       value_status_text(status) + "): event " + std::to_string(where.number) + " in " +
                       files[where.file].path + " at offset " + std::to_string(where.chhd));
}

void dataset_state::account_others(read_ledger& to, std::size_t position, std::size_t channel,
                                   std::span<const entry> others) const {
  for (const entry& one : others)
    note_missing(to, position, channel, one,
                 one.status == value_status::event_disputed ? missing_cause::event_disputed
                                                            : missing_cause::second_of_event);
  if (options.damage.largest_missing_share <= 0 && !others.empty())
    throw missing_data("Values of " + channels[channel].label + " are missing: " + to.to_text());
}

/// Whether every entry of a file is in an event of the selection, as its event index tells.
bool dataset_state::takes_whole_file(std::uint32_t file) const {
  if (wanted.step != 1 || wanted.limit || wanted.join != join_policy::any) return false;
  const datasets::event_span& span = timeline.file(file).span;
  const bool has_times = wanted.from || wanted.to, has_numbers = wanted.first_event || wanted.last_event;
  if (span.empty) return !has_times && !has_numbers;
  return !(wanted.from &&
           datasets::in_microseconds(span.first) < datasets::in_microseconds(*wanted.from)) &&
         !(wanted.to && datasets::in_microseconds(span.last) > datasets::in_microseconds(*wanted.to)) &&
         !(wanted.first_event && span.lowest < *wanted.first_event) &&
         !(wanted.last_event && span.highest > *wanted.last_event);
}

void dataset_state::account_left_out(read_ledger& to, std::size_t position, const segment& part,
                                     std::size_t channel, reading_extent extent) const {
  const datasets::aligned_channel& aligned = part.channels[channel];
  for (const entry& one : aligned.orphans)
    note_missing(to, position, channel, one, missing_cause::no_event_header);
  for (std::size_t i = 0; i < part.files.size(); ++i) {
    if (!part.file_failed[i]) continue;
    const std::uint32_t count = timeline.file(part.files[i]).count(channel);
    if (count == 0) continue;
    const std::string& path = files[part.files[i]].path;
    if (extent == reading_extent::part || !takes_whole_file(part.files[i])) {
      constexpr char problem[] =
          "it cannot be read any more, and how many of the wanted values it held is not known";
      const bool is_listed = std::any_of(to.files.begin(), to.files.end(),
                                         [&](const refused_file& one) { return one.path == path; });
      const datasets::error_of_the_machine error = opened.why_not(part.files[i]);
      if (!is_listed)
        to.files.push_back({path, error ? error.refusal() : file_refusal::lost_while_open, problem});
      note_unreadable(to, part.files[i]);
      if (options.damage.largest_missing_share < 1)
        throw missing_data("The file " + path + " is gone: " + problem);
      continue;
    }
    entry nowhere{};  // the file's tables do not say any more where its values are
    nowhere.file = part.files[i];
    note_missing(to, position, channel, nowhere, missing_cause::file_missing);
    to.channels[position].expected += count - 1;
    to.channels[position].missing[static_cast<std::size_t>(missing_cause::file_missing)] += count - 1;
  }
  if (options.damage.largest_missing_share <= 0 && to.channels[position].missing_total() != 0)
    throw missing_data("Values of " + channels[channel].label + " are missing: " + to.to_text());
}

void dataset_state::add_account(const read_ledger& of_reading) {
  const std::lock_guard lock(mutex_);
  ledger_.add(of_reading);
}

void dataset_state::close_account(const read_ledger& of_reading) {
  add_account(of_reading);
  const double expected = static_cast<double>(of_reading.expected());
  const double missing = static_cast<double>(of_reading.missing());
  if (missing > expected * options.damage.largest_missing_share)
    throw missing_data(std::to_string(of_reading.missing()) + " of " +
                       std::to_string(of_reading.expected()) +
                       " values are missing, more than the policy allows: " + of_reading.to_text());
}

read_ledger dataset_state::all_readings() const {
  const std::lock_guard lock(mutex_);
  read_ledger all = ledger_;
  all.add(new_account());
  return all;
}

}  // namespace ravo
