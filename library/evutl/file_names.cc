// The time in the name of a raw file, and the order of files by their names. No file is opened.
#include <algorithm>
#include <cstring>
#include <optional>
#include <tuple>

#include "format/file_name_parts.h"
#include "ravo_evutl.h"

namespace {

bool comes_before(const char* a, const char* b) {
  if (!a || !b) return !a && b;
  const auto parts_a = ravo::parse_file_name(a);
  const auto parts_b = ravo::parse_file_name(b);
  if (!parts_a || !parts_b) {
    if (parts_a.has_value() != parts_b.has_value()) return !parts_a;
    return std::strcmp(a, b) < 0;
  }
  // A name without a run or a file number counts as 0.
  const auto key = [](const ravo::file_name_parts& parts) {
    return std::tuple(parts.seconds, parts.run.value_or(0), parts.file);
  };
  if (key(*parts_a) != key(*parts_b)) return key(*parts_a) < key(*parts_b);
  return std::strcmp(a, b) < 0;
}

}  // namespace

int get_time_from_file_name(const char* name, time_stamp* time) {
  if (!name || !time) return 1;
  const auto parts = ravo::parse_file_name(name);
  if (!parts) return 1;
  *time = {parts->seconds, 0};
  return 0;
}

void sort_files(std::vector<char*>* names) {
  if (names) std::sort(names->begin(), names->end(), comes_before);
}
