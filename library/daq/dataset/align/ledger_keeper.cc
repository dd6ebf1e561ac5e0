#include "align/ledger_keeper.h"

#include <algorithm>

#include "ravo_dataset/errors.h"

namespace ravo::detail {

read_ledger ledger_keeper::open() const {
  read_ledger ledger;
  ledger.files = files_.refused;
  ledger.problems = files_.problems;
  return ledger;
}

/// Says once why a file that was opened can no longer be read.
void ledger_keeper::note_unreadable(read_ledger& ledger, std::uint32_t file) const {
  const error_of_the_machine error = opened_.why_not(file);
  if (!error) return;
  const std::string& path = files_.readable[file].path;
  const reading_problem problem{problem_reason::machine_error, path,
                                "The file " + path + " could not be read: " + error.text()};
  if (std::find(ledger.problems.begin(), ledger.problems.end(), problem) == ledger.problems.end())
    ledger.problems.push_back(problem);
}

/// Records a value that was expected and is missing; records nothing if there is no memory for it.
void ledger_keeper::record_missing(read_ledger& ledger, std::size_t position, std::size_t channel,
                                   const entry& where, missing_cause cause) const {
  std::uint64_t& count = ledger.channels[position].missing[static_cast<std::size_t>(cause)];
  if (cause == missing_cause::file_missing) note_unreadable(ledger, where.file);
  if (ledger.values.size() < read_ledger::most_listed || count == 0)
    ledger.values.push_back({channels_[channel].label,
                             files_.readable[where.file].path,
                             where.chhd,
                             {where.number, where.time},
                             cause});
  ++ledger.channels[position].expected;
  ++count;
}

void ledger_keeper::record(read_ledger& ledger, std::size_t position, std::size_t channel,
                           const entry& where, value_status status) const {
  if (!is_missing(status)) {
    ++ledger.channels[position].expected;
    ++ledger.channels[position].delivered;
    return;
  }
  record_missing(ledger, position, channel, where, missing_cause_of(status));
  if (is_strict())
    throw missing_data("A value of " + channels_[channel].label + " is missing (" +
                       value_status_text(status) + "): event " + std::to_string(where.number) + " in " +
                       files_.readable[where.file].path + " at offset " + std::to_string(where.chhd));
}

void ledger_keeper::record_duplicates(read_ledger& ledger, std::size_t position, std::size_t channel,
                                      std::span<const entry> duplicates) const {
  for (const entry& duplicate : duplicates)
    record_missing(ledger, position, channel, duplicate,
                   duplicate.status == value_status::event_disputed ? missing_cause::event_disputed
                                                                    : missing_cause::second_of_event);
  if (is_strict() && !duplicates.empty())
    throw missing_data("Values of " + channels_[channel].label + " are missing: " + ledger.to_text());
}

void ledger_keeper::record_unaligned(read_ledger& ledger, std::size_t position, const segment& part,
                                     std::size_t channel, reading_extent extent) const {
  for (const entry& orphan : part.channels[channel].orphans)
    record_missing(ledger, position, channel, orphan, missing_cause::no_event_header);
  for (std::size_t i = 0; i < part.files.size(); ++i)
    if (part.file_failed[i]) record_lost_file(ledger, position, part.files[i], channel, extent);
  if (is_strict() && ledger.channels[position].missing_total() != 0)
    throw missing_data("Values of " + channels_[channel].label + " are missing: " + ledger.to_text());
}

/// A file whose tables could be read when the dataset was opened, and now cannot.
void ledger_keeper::record_lost_file(read_ledger& ledger, std::size_t position, std::uint32_t file,
                                     std::size_t channel, reading_extent extent) const {
  constexpr char problem[] =
      "it cannot be read any more, and how many of the wanted values it held is not known";
  const std::uint32_t count = timeline_.file(file).count(channel);
  if (count == 0) return;
  if (extent == reading_extent::whole && takes_whole_file(file) && timeline_.hands_over_all(file)) {
    entry nowhere{};  // the file's tables do not say any more where its values are
    nowhere.file = file;
    record_missing(ledger, position, channel, nowhere, missing_cause::file_missing);
    ledger.channels[position].expected += count - 1;
    ledger.channels[position].missing[static_cast<std::size_t>(missing_cause::file_missing)] += count - 1;
    return;
  }
  const std::string& path = files_.readable[file].path;
  const bool is_listed = std::any_of(ledger.files.begin(), ledger.files.end(),
                                     [&](const refused_file& listed) { return listed.path == path; });
  const error_of_the_machine error = opened_.why_not(file);
  if (!is_listed)
    ledger.files.push_back({path, error ? error.refusal() : file_refusal::lost_while_open, problem});
  note_unreadable(ledger, file);
  if (damage_.largest_missing_share < 1) throw missing_data("The file " + path + " is gone: " + problem);
}

/// Whether every entry of a file is in an event of the selection, according to its event index.
bool ledger_keeper::takes_whole_file(std::uint32_t file) const {
  if (wanted_.step != 1 || wanted_.limit || wanted_.join != join_policy::any) return false;
  const event_span& span = timeline_.file(file).span;
  const bool has_times = wanted_.from || wanted_.to;
  const bool has_numbers = wanted_.first_event || wanted_.last_event;
  if (span.empty) return !has_times && !has_numbers;
  return !(wanted_.from && in_microseconds(span.first) < in_microseconds(*wanted_.from)) &&
         !(wanted_.to && in_microseconds(span.last) > in_microseconds(*wanted_.to)) &&
         !(wanted_.first_event && span.lowest < *wanted_.first_event) &&
         !(wanted_.last_event && span.highest > *wanted_.last_event);
}

void ledger_keeper::add(const read_ledger& of_reading) {
  const std::lock_guard lock(mutex_);
  ledger_.add(of_reading);
}

void ledger_keeper::close(const read_ledger& of_reading) {
  add(of_reading);
  const double expected = static_cast<double>(of_reading.expected());
  const double missing = static_cast<double>(of_reading.missing());
  if (missing > expected * damage_.largest_missing_share)
    throw missing_data(std::to_string(of_reading.missing()) + " of " +
                       std::to_string(of_reading.expected()) +
                       " values are missing, more than the policy allows: " + of_reading.to_text());
}

read_ledger ledger_keeper::of_all_readings() const {
  const std::lock_guard lock(mutex_);
  read_ledger all = ledger_;
  all.add(open());
  return all;
}

}  // namespace ravo::detail
