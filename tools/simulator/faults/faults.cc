#include "faults/faults.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>

#include "faults/choice.h"
#include "shared/whole_file.h"

namespace ravo::simulator {
namespace {

constexpr const char* missing_event = "missing-event";
constexpr const char* missing_file = "missing-file";
constexpr const char* absent_channel = "absent-channel";

std::vector<fault_kind> all_kinds() {
  std::vector<fault_kind> all;
  for (const auto part : {file_faults(), table_faults(), event_faults(), pointer_faults(), block_faults()})
    all.insert(all.end(), part.begin(), part.end());
  return all;
}

std::vector<unsigned char> read(const std::string& path) {
  const std::string bytes = read_whole_file(path);
  return {bytes.begin(), bytes.end()};
}

void write(const std::string& path, const std::vector<unsigned char>& bytes) {
  whole_file file(path);
  file.append(bytes);
  file.publish();
}

// The pulse in the middle of a file, and where that is: runs have files in turn.
std::uint32_t pulse_in(const settings& what, int file) {
  const std::vector<channel> no_channels;
  const event_stream stream(what, no_channels);
  const int run = (file - 1) / what.files, of_run = (file - 1) % what.files;
  return (stream.first_pulse(run, of_run) + stream.end_pulse(run, of_run)) / 2;
}

// The gap as it is reported: of every type that has an event in each pulse, one is missing.
std::vector<expected_finding> expect_gap(const raw_image& image, std::uint32_t number) {
  constexpr std::uint32_t beam = 1, image_type_code = 6;
  expected_finding line{"event.missing", "", number, {}, 0};
  for (const image_type& type : image.types) {
    if (type.type != beam && type.type != image_type_code) continue;
    const auto first_after =
        std::find_if(type.events.begin(), type.events.end(),
                     [&](std::uint32_t indexed) { return image.word(indexed + indexed_number) > number; });
    if (first_after != type.events.end() && ++line.count == 1) line.offset = *first_after;
  }
  return {line};
}

// The next file shows that this one is missing.
expectation expect_missing_file(const settings& what, const simulation_result& made,
                                const std::vector<simulated_fault>& faults, int file) {
  const bool has_neighbours = file % what.files != 0 && file % what.files != 1;
  const bool is_next_missing = std::any_of(faults.begin(), faults.end(), [&](const simulated_fault& other) {
    return other.kind == missing_file && other.file == file + 1;
  });
  if (!has_neighbours || is_next_missing)
    throw simulation_failed("only a file between two others of its run can be missing");
  return {made.files[static_cast<std::size_t>(file)], {{"run.file_missing"}}};
}

}  // namespace

std::span<const fault_kind> fault_kinds() {
  static const std::vector<fault_kind> all = all_kinds();
  return all;
}

const fault_kind* find_fault(const std::string& name) {
  const auto kinds = fault_kinds();
  const auto found =
      std::find_if(kinds.begin(), kinds.end(), [&name](const fault_kind& one) { return name == one.name; });
  return found == kinds.end() ? nullptr : &*found;
}

void check_faults(const std::vector<simulated_fault>& faults, int files) {
  std::map<int, std::string> known;
  for (const simulated_fault& fault : faults) {
    if (!find_fault(fault.kind)) throw std::invalid_argument("there is no fault '" + fault.kind + "'");
    const std::string file = "file " + std::to_string(fault.file);
    if (fault.file < 1 || fault.file > files)
      throw std::invalid_argument("a fault of " + file + ": files count from 1 to " +
                                  std::to_string(files));
    // What is to be found would not be known.
    if (const auto [other, is_new] = known.emplace(fault.file, fault.kind); !is_new)
      throw std::invalid_argument(file + " would be damaged twice: " + other->second + " and " +
                                  fault.kind);
  }
}

void prepare_faults(settings& what, const std::vector<simulated_fault>& faults) {
  for (const simulated_fault& fault : faults) {
    if (fault.kind == missing_event) what.pulses_without_events.insert(pulse_in(what, fault.file));
    if (fault.kind == absent_channel) what.absent_channel = "LINAC/BPM/001";
  }
}

namespace {

struct planned_damage {
  std::vector<expectation> expected;
  std::map<std::string, std::vector<unsigned char>> damaged;
};

planned_damage plan_faults(const settings& what, const simulation_result& made,
                           const std::vector<simulated_fault>& faults) {
  planned_damage plan;
  auto& [expected, damaged] = plan;
  for (const simulated_fault& fault : faults) {
    const std::string& path = made.files.at(static_cast<std::size_t>(fault.file - 1));
    if (fault.kind == absent_channel) {
      expected.push_back(
          {"", {{"channel.absent", what.absent_channel, {}, {}, static_cast<std::uint64_t>(what.runs)}}});
    } else if (fault.kind == missing_file) {
      expected.push_back(expect_missing_file(what, made, faults, fault.file));
    } else if (fault.kind == missing_event) {
      const std::uint32_t number = what.clock.first_event + pulse_in(what, fault.file);
      expected.push_back({path, expect_gap(raw_image(read(path)), number)});
    } else {
      raw_image image(read(path));
      expected.push_back({path, find_fault(fault.kind)->make(image)});
      damaged[path] = std::move(image.bytes);
    }
  }
  return plan;
}

}  // namespace

std::vector<expectation> make_faults(const settings& what, const simulation_result& made,
                                     const std::vector<simulated_fault>& faults) {
  planned_damage plan;
  // Not before everything can be done: a file is damaged only if its answer key is written too.
  try {
    plan = plan_faults(what, made, faults);
  } catch (const simulation_failed& failure) {
    throw simulation_failed(std::string(failure.what()) + "; the files were written, and none is damaged");
  }
  auto& [expected, damaged] = plan;
  for (const auto& [path, bytes] : damaged) write(path, bytes);
  for (const simulated_fault& fault : faults)
    if (fault.kind == missing_file) remove_file(made.files[static_cast<std::size_t>(fault.file - 1)]);
  return std::move(expected);
}

}  // namespace ravo::simulator
