#include "layout.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>

#include "format/folders.h"
#include "format/uninterrupted.h"

namespace ravo::catalogue {
namespace {

// Few enough names for one folder to stay easy to list.
constexpr int runs_in_a_folder = 1000;

std::vector<std::string> entries_of(const std::string& folder) {
  std::vector<std::string> names;
  read_names(folder, names);
  std::sort(names.begin(), names.end());
  return names;
}

// The number that stands between two texts and is written without leading zeros.
std::optional<int> number_between(std::string_view text, std::string_view before, std::string_view after) {
  if (!text.starts_with(before) || !text.ends_with(after) || text.size() <= before.size() + after.size())
    return std::nullopt;
  text = text.substr(before.size(), text.size() - before.size() - after.size());
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || text != std::to_string(value))
    return std::nullopt;
  return value;
}

std::string two_digits(unsigned number) {
  char text[16];
  std::snprintf(text, sizeof text, "%02u", number);
  return text;
}

}  // namespace

int read_names(const std::string& folder, std::vector<std::string>& names) {
  folder_listing listing(folder.c_str());
  while (const char* const name = listing.next()) names.emplace_back(name);
  return listing.error();
}

bool is_folder_name(std::string_view name) {
  constexpr std::size_t longest = 255;
  return !name.empty() && name.size() <= longest && name.front() != '.' &&
         std::none_of(name.begin(), name.end(), [](char letter) {
           return letter == '/' || static_cast<unsigned char>(letter) < 0x20 || letter == 0x7f;
         });
}

std::vector<std::string> folders_in(const std::string& folder) {
  std::vector<std::string> names = entries_of(folder);
  std::erase_if(names, [&folder](const std::string& name) {
    struct stat about {};
    return !is_folder_name(name) || uninterrupted::stat(path_in(folder, name).c_str(), &about) != 0 ||
           !S_ISDIR(about.st_mode);
  });
  return names;
}

stream_layout::stream_layout(const std::string& directory, const std::string& experiment,
                             const std::string& stream)
    : folder_(path_in(path_in(directory, experiment), stream)) {}

std::string stream_layout::run_file(int run) const {
  return folder_ + "/runs/" + std::to_string(run / runs_in_a_folder) + "/run" + std::to_string(run) +
         ".xml";
}

std::string stream_layout::year_folder(day_number day) const {
  return folder_ + "/days/" + std::to_string(date_of(day).year);
}

std::string stream_layout::month_folder(day_number day) const {
  return year_folder(day) + "/" + two_digits(date_of(day).month);
}

std::string stream_layout::day_file(day_number day) const {
  return month_folder(day) + "/" + two_digits(date_of(day).day) + ".xml";
}

std::vector<int> stream_layout::runs() const {
  std::vector<int> numbers;
  const std::string folder = folder_ + "/runs";
  for (const std::string& shard : entries_of(folder)) {
    const auto thousand = number_between(shard, "", "");
    if (!thousand) continue;
    for (const std::string& name : entries_of(path_in(folder, shard))) {
      const auto number = number_between(name, "run", ".xml");
      if (number && *number >= 0 && *number / runs_in_a_folder == *thousand) numbers.push_back(*number);
    }
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

}  // namespace ravo::catalogue
