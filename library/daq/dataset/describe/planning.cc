#include "describe/planning.h"

#include <algorithm>
#include <cstdio>

#include "read/block_scan.h"
#include "read/event_batch.h"
#include "read/segment_walk.h"

namespace ravo::detail {

namespace {

// Measured on one core of a current machine: bytes that inflating produces, that copying and swapping move.
constexpr double inflated_bytes_a_second = 400e6;
constexpr double moved_bytes_a_second = 2e9;
// More heads would make it little better, and each costs a page of the file.
constexpr std::size_t samples_in_segment = 8;
// Bytes that a column needs for each of its rows beside the values.
constexpr std::size_t bytes_of_row = 64;

struct sampled {
  std::uint64_t stored = 0;
  std::uint64_t decoded = 0;
  std::uint64_t compressed = 0;  ///< of decoded
};

class planner {
 public:
  explicit planner(dataset_state& state) : state_(state), samples_(state.channels.size()) {}

  read_plan make() {
    plan_.files = state_.files.readable.size();
    for (const refused_file& file : state_.files.refused)
      plan_.problems.push_back(file.path + ": " + file.problem);
    for (const reading_problem& problem : state_.files.problems) plan_.problems.push_back(problem.text);
    for (const dataset_channel& channel : state_.channels)
      plan_.channels.emplace_back().channel = channel.label;
    std::size_t ordinal = 0;
    visit_segments(state_, [&](std::size_t, const auto& part) {
      add(*part, ordinal);
      return ordinal < state_.end_of_events();
    });
    finish();
    return plan_;
  }

 private:
  void add(const segment& part, std::size_t& ordinal) {
    const std::vector<std::uint32_t> events = take_events(state_, part, ordinal);
    plan_.events += events.size();
    for (std::size_t i = 0; i < part.files.size(); ++i)
      if (part.file_failed[i])
        plan_.problems.push_back(state_.files.readable[part.files[i]].path +
                                 ": it cannot be read any more");
    index_bytes_ = std::max<std::uint64_t>(index_bytes_, part.memory.bytes());
    for (std::size_t channel = 0; channel < part.channels.size(); ++channel) {
      const aligned_channel& aligned = part.channels[channel];
      std::vector<std::uint32_t> own;
      visit_own(aligned, events, [&own](std::uint32_t, std::size_t index) {
        own.push_back(static_cast<std::uint32_t>(index));
        return true;
      });
      plan_.channels[channel].values += own.size();
      for (const std::uint32_t index : own) {
        plan_.channels[channel].stored_bytes += aligned.entries[index].stored;
        largest_ = std::max<std::uint64_t>(largest_, aligned.entries[index].stored);
      }
      const std::size_t stride = own.size() / samples_in_segment + 1;
      for (std::size_t i = 0; i < own.size(); i += stride)
        sample_block(part, channel, aligned.entries[own[i]]);
    }
  }

  /// The head of a block says how large it will be.
  void sample_block(const segment& part, std::size_t channel, entry where) {
    constexpr std::uint32_t enough = 512;  // for the heads of either generation
    if (where.status != value_status::ok) return;
    sampled& sample = samples_[channel];
    const std::uint64_t stored = where.stored;
    std::shared_ptr<const open_file> opened;
    const auto source = source_of(state_, part, channel, where.file, opened);
    if (!opened) return;
    unsigned char bytes[enough];
    const auto got = opened->read(where.chhd, bytes, std::min(where.stored, enough));
    if (!got) return;
    const block_head head = read_head(source, file_part(bytes, *got, where.chhd), where);
    if (!head.is_known) return;
    sample.stored += stored;
    if (head.decoded > state_.options.largest_block) return;  // it will not be decoded
    sample.decoded += head.decoded;
    if (head.is_compressed) sample.compressed += head.decoded;
  }

  void finish() {
    double inflated = 0, moved = 0;
    std::uint64_t largest_column = 0, of_stored_byte = 1;
    for (std::size_t i = 0; i < plan_.channels.size(); ++i) {
      channel_plan& channel = plan_.channels[i];
      const sampled& sample = samples_[i];
      channel.decoded_bytes = channel.stored_bytes;
      if (sample.stored != 0) {
        const double ratio = static_cast<double>(sample.decoded) / static_cast<double>(sample.stored);
        const double compressed = sample.decoded == 0 ? 0
                                                      : static_cast<double>(sample.compressed) /
                                                            static_cast<double>(sample.decoded);
        channel.decoded_bytes =
            static_cast<std::uint64_t>(static_cast<double>(channel.stored_bytes) * ratio);
        of_stored_byte = std::max(of_stored_byte, static_cast<std::uint64_t>(ratio) + 1);
        inflated += static_cast<double>(channel.decoded_bytes) * compressed;
      }
      moved += static_cast<double>(channel.decoded_bytes) + static_cast<double>(channel.stored_bytes);
      plan_.stored_bytes += channel.stored_bytes;
      plan_.decoded_bytes += channel.decoded_bytes;
      largest_column = std::max(largest_column, channel.decoded_bytes + channel.values * bytes_of_row);
    }
    const auto threads = static_cast<std::uint64_t>(state_.pool.size());
    const std::uint64_t windows = threads * 2 * std::max<std::uint64_t>(largest_window, largest_);
    plan_.peak_bytes_of_columns =
        std::min<std::uint64_t>(largest_column + windows + index_bytes_, state_.memory.limit());
    // Batches are cut by stored bytes, before their decoded size is known; a buffer that is used again may
    // be twice as large as needed.
    const std::uint64_t of_event = plan_.events == 0 ? 0 : plan_.decoded_bytes / plan_.events;
    const std::uint64_t of_batch = largest_batch * std::max<std::uint64_t>(of_stored_byte, 4);
    const std::uint64_t ahead = (threads * 2 + 2) * (of_batch + of_event);
    plan_.peak_bytes_of_events = std::min<std::uint64_t>(
        std::min(ahead, 2 * plan_.decoded_bytes + windows) + index_bytes_, state_.memory.limit());
    plan_.seconds =
        (inflated / inflated_bytes_a_second + moved / moved_bytes_a_second) / static_cast<double>(threads);
  }

  dataset_state& state_;
  read_plan plan_;
  std::vector<sampled> samples_;
  std::uint64_t index_bytes_ = 0;
  std::uint64_t largest_ = 0;
};

}  // namespace

read_plan make_plan(dataset_state& state) { return planner(state).make(); }

}  // namespace ravo::detail

namespace ravo {

std::string read_plan::to_text() const {
  std::string text = std::to_string(files) + " files, " + std::to_string(events) + " events, " +
                     std::to_string(stored_bytes) + " bytes stored, " + std::to_string(decoded_bytes) +
                     " decoded; memory up to " +
                     std::to_string(std::max(peak_bytes_of_events, peak_bytes_of_columns)) +
                     " bytes; about ";
  char number[32];
  std::snprintf(number, sizeof number, "%.2f s\n", seconds);
  text += number;
  for (const channel_plan& one : channels)
    text += one.channel + ": " + std::to_string(one.values) + " values, " +
            std::to_string(one.stored_bytes) + " bytes stored, " + std::to_string(one.decoded_bytes) +
            " decoded\n";
  for (const std::string& problem : problems) text += problem + "\n";
  return text;
}

}  // namespace ravo
