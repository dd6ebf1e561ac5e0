// Names of raw files: their times, runs and numbers, and their order. The input is a list of names, one per
// line.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "expect.h"
#include "files/raw_file_names.h"
#include "format/file_name_parts.h"
#include "input.h"
#include "ravo_evutl.h"

namespace ravo::fuzz {
namespace {

void read_parts(const std::string& name) {
  time_stamp time{};
  const bool has_time = get_time_from_file_name(name.c_str(), &time) == 0;
  const auto parts = parse_file_name(name);
  expect(has_time == parts.has_value(), "a name has a time or none");
  if (parts) expect(parts->seconds == time.timeup && time.timelow == 0, "a name has one time");
  static_cast<void>(names_run(name, 0, 2'147'483'647));
  static_cast<void>(names_run(name, 7, 3));
  if (const auto number = find_file_number(name)) {
    expect(number->before.size() + number->digits.size() <= name.size(), "a number is part of its name");
    expect(name_up_to_number(*number, number->value + 1) != name_up_to_number(*number, number->value),
           "another number makes another name");
  }
}

std::vector<std::string> sorted(const std::vector<std::string>& names) {
  std::vector<std::string> copies = names;
  std::vector<char*> list;
  for (std::string& name : copies) list.push_back(name.data());
  sort_files(&list);
  return {list.begin(), list.end()};
}

}  // namespace
}  // namespace ravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ravo::fuzz;
  std::vector<std::string> names;
  std::string name;
  for (const char character : std::string_view(reinterpret_cast<const char*>(data), size)) {
    if (character == '\n' || character == '\0') {
      names.push_back(name);
      name.clear();
    } else {
      name += character;
    }
  }
  names.push_back(name);
  for (const std::string& one : names) read_parts(one);

  const std::vector<std::string> once = sorted(names);
  expect(std::is_permutation(once.begin(), once.end(), names.begin(), names.end()),
         "sorting loses no name");
  expect(sorted(once) == once, "what is sorted stays as it is");
  std::vector<std::string> reversed(names.rbegin(), names.rend());
  std::vector<std::string> backwards = sorted(reversed);
  // Names that are equal in time, run and number may be in the order of the list.
  unsigned last = 0;
  for (const std::string& file_name : backwards) {
    time_stamp time{};
    if (get_time_from_file_name(file_name.c_str(), &time) != 0) continue;
    expect(time.timeup >= last, "names are in the order of their times");
    last = time.timeup;
  }
  return 0;
}
