#include "runs.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <tuple>

#include "format/file_name_parts.h"

namespace ravo::checks {
namespace {

// Stream, run, and the folder, which is empty unless it is needed to distinguish runs.
using run_key = std::tuple<std::string, std::uint64_t, std::string>;

std::optional<run_key> key_of(const std::string& path) {
  const auto parts = parse_file_name(path);
  if (!parts || !parts->run) return std::nullopt;
  return run_key{std::string(parts->before_run), *parts->run, ""};
}

std::uint64_t number_of(const std::string& path) { return parse_file_name(path)->file; }

// Runs with several files of the same number.
std::set<run_key> ambiguous_runs(const std::vector<std::string>& paths) {
  std::set<std::pair<run_key, std::uint64_t>> known;
  std::set<run_key> ambiguous;
  for (const std::string& path : paths)
    if (const auto key = key_of(path); key && !known.emplace(*key, number_of(path)).second)
      ambiguous.insert(*key);
  return ambiguous;
}

}  // namespace

std::vector<run_files> group_by_run(const std::vector<std::string>& paths) {
  const std::set<run_key> ambiguous = ambiguous_runs(paths);
  std::map<run_key, std::size_t> places;
  std::vector<run_files> runs;
  for (const std::string& path : paths) {
    auto key = key_of(path);
    if (!key) {
      runs.push_back({path, {{path, std::nullopt}}});
      continue;
    }
    if (ambiguous.contains(*key)) std::get<2>(*key) = std::filesystem::path(path).parent_path().string();
    const auto [place, is_new] = places.try_emplace(*key, runs.size());
    if (is_new) runs.push_back({fmt::format("run {} of {}", std::get<1>(*key), std::get<0>(*key)), {}});
    runs[place->second].files.push_back({path, number_of(path)});
  }
  for (run_files& one : runs)
    std::stable_sort(one.files.begin(), one.files.end(),
                     [](const run_file& a, const run_file& b) { return a.number < b.number; });
  return runs;
}

std::vector<finding> find_copies(const std::vector<run_files>& runs) {
  std::map<std::pair<std::string, std::uint64_t>, std::string> known;
  std::vector<finding> findings;
  for (const run_files& run : runs) {
    finding copies{finding_kind::run_file_twice, "", {}, 0, ""};
    for (const run_file& file : run.files) {
      if (!file.number) continue;
      const auto [first, is_new] = known.try_emplace({run.name, *file.number}, file.path);
      if (is_new || ++copies.count > 1) continue;
      copies.file = file.path;
      copies.detail = fmt::format("file {} of {}, as {}", *file.number, run.name, first->second);
    }
    if (copies.count > 0) findings.push_back(std::move(copies));
  }
  return findings;
}

void run_checker::begin(const std::string& name) {
  end();
  is_open_ = true;
  are_channels_known_ = true;
  name_ = name;
  ++runs_;
  last_number_.reset();
  last_sequences_.clear();
}

void run_checker::end() {
  if (!is_open_) return;
  is_open_ = false;
  if (are_channels_known_)
    for (const std::string& channel : expected_)
      if (!channels_.contains(channel))
        ++absent_.try_emplace(channel, absence{0, name_}).first->second.runs;
  if (runs_ == 1)
    of_all_runs_ = std::move(channels_);
  else
    std::erase_if(of_all_runs_, [this](const auto& name) { return !channels_.contains(name); });
  channels_.clear();
}

void run_checker::take(file_result& result, std::optional<std::uint64_t> number) {
  channels_.insert(result.channels_with_data.begin(), result.channels_with_data.end());
  are_channels_known_ = are_channels_known_ && result.are_channels_known;
  const bool follows = number && last_number_ && *number == *last_number_ + 1;
  if (number && last_number_ && *number > *last_number_ + 1)
    result.findings.add(finding_kind::run_file_missing, {},
                        fmt::format("between file {} and file {}", *last_number_, *number),
                        *number - *last_number_ - 1);
  // A type that is not in every file is compared with the last file that
  // had it. If a file has no readable index, its types are not known.
  if (!follows || result.sequences.empty()) last_sequences_.clear();
  for (type_sequence& here : result.sequences) {
    const auto before = last_sequences_.find(here.type);
    if (before != last_sequences_.end()) check_succession(before->second, here, result.findings);
    last_sequences_.insert_or_assign(here.type, std::move(here));
  }
  result.sequences.clear();
  last_number_ = number;
}

const std::set<std::string>& run_checker::channels_of_all_runs() {
  end();
  return of_all_runs_;
}

finding_list run_checker::absent() {
  end();
  finding_list findings;
  for (const auto& [channel, without] : absent_)
    findings.add(finding_kind::channel_absent, {channel, {}, {}}, without.first, without.runs);
  return findings;
}

}  // namespace ravo::checks
