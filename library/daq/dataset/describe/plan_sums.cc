#include "describe/plan_sums.h"

#include <algorithm>

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

/// The head of a block says how large it will be.
void sample_block(dataset_state& state, const segment& part, std::size_t channel, entry where,
                  channel_sums& sums) {
  constexpr std::uint32_t enough = 512;  // for the heads of either generation
  if (where.status != value_status::ok) return;
  const std::uint64_t stored = where.stored;
  std::shared_ptr<const open_file> opened;
  const auto source = source_of(state, part, channel, where.file, opened);
  if (!opened) return;
  unsigned char bytes[enough];
  const auto got = opened->read(where.chhd, bytes, std::min(where.stored, enough));
  if (!got) return;
  const block_head head = read_head(source, file_part(bytes, *got, where.chhd), where);
  if (!head.is_known) return;
  sums.sampled_stored += stored;
  if (head.decoded > state.options.largest_block) return;  // it will not be decoded
  sums.sampled_decoded += head.decoded;
  if (head.is_compressed) sums.sampled_compressed += head.decoded;
}

/// The memory for reading event by event.
std::uint64_t peak_of_events(const plan_sums& sums, std::uint64_t decoded, std::uint64_t of_stored_byte,
                             std::uint64_t threads, std::uint64_t windows) {
  // Batches are cut by stored bytes, before their decoded size is known; a buffer that is used again may
  // be twice as large as needed.
  const std::uint64_t of_event = sums.events == 0 ? 0 : decoded / sums.events;
  const std::uint64_t of_batch = largest_batch * std::max<std::uint64_t>(of_stored_byte, 4);
  const std::uint64_t ahead = (threads * 2 + 2) * (of_batch + of_event);
  return std::min(ahead, 2 * decoded + windows) + sums.table_bytes;
}

}  // namespace

void channel_sums::add(const channel_sums& other) {
  values += other.values;
  stored += other.stored;
  sampled_stored += other.sampled_stored;
  sampled_decoded += other.sampled_decoded;
  sampled_compressed += other.sampled_compressed;
}

double channel_sums::decoded_a_stored_byte() const {
  return sampled_stored == 0 ? 1
                             : static_cast<double>(sampled_decoded) / static_cast<double>(sampled_stored);
}

std::uint64_t channel_sums::decoded() const {
  return sampled_stored == 0
             ? stored
             : static_cast<std::uint64_t>(static_cast<double>(stored) * decoded_a_stored_byte());
}

void plan_sums::add(const plan_sums& other) {
  events += other.events;
  channels.resize(std::max(channels.size(), other.channels.size()));
  for (std::size_t i = 0; i < other.channels.size(); ++i) channels[i].add(other.channels[i]);
  table_bytes = std::max(table_bytes, other.table_bytes);
  largest_block = std::max(largest_block, other.largest_block);
  problems.insert(problems.end(), other.problems.begin(), other.problems.end());
}

std::uint64_t plan_sums::decoded() const {
  std::uint64_t all = 0;
  for (const channel_sums& channel : channels) all += channel.decoded();
  return all;
}

plan_sums count_values(dataset_state& state, const segment& part,
                       const std::vector<std::uint32_t>& events) {
  plan_sums sums;
  sums.events = events.size();
  sums.table_bytes = part.memory.bytes();
  for (std::size_t i = 0; i < part.files.size(); ++i)
    if (part.file_failed[i])
      sums.problems.push_back(state.files.readable[part.files[i]].path + ": it cannot be read any more");
  sums.channels.resize(part.channels.size());
  for (std::size_t channel = 0; channel < part.channels.size(); ++channel) {
    const aligned_channel& aligned = part.channels[channel];
    channel_sums& of_channel = sums.channels[channel];
    std::vector<std::uint32_t> own;
    visit_own(aligned, events, [&own](std::uint32_t, std::size_t index) {
      own.push_back(static_cast<std::uint32_t>(index));
      return true;
    });
    of_channel.values = own.size();
    for (const std::uint32_t index : own) {
      of_channel.stored += aligned.entries[index].stored;
      sums.largest_block = std::max<std::uint64_t>(sums.largest_block, aligned.entries[index].stored);
    }
    const std::size_t stride = own.size() / samples_in_segment + 1;
    for (std::size_t i = 0; i < own.size(); i += stride)
      sample_block(state, part, channel, aligned.entries[own[i]], of_channel);
  }
  return sums;
}

read_plan plan_of(const dataset_state& state, const plan_sums& sums) {
  read_plan plan;
  plan.events = sums.events;
  plan.problems = sums.problems;
  double inflated = 0, moved = 0;
  std::uint64_t largest_column = 0, of_stored_byte = 1;
  for (std::size_t i = 0; i < state.channels.size(); ++i) {
    const channel_sums counted = i < sums.channels.size() ? sums.channels[i] : channel_sums();
    const channel_plan channel{state.channels[i].label, counted.values, counted.stored, counted.decoded()};
    const double ratio = counted.decoded_a_stored_byte();
    const double compressed = counted.sampled_decoded == 0
                                  ? 0
                                  : static_cast<double>(counted.sampled_compressed) /
                                        static_cast<double>(counted.sampled_decoded);
    of_stored_byte = std::max(of_stored_byte, static_cast<std::uint64_t>(ratio) + 1);
    inflated += static_cast<double>(channel.decoded_bytes) * compressed;
    moved += static_cast<double>(channel.decoded_bytes) + static_cast<double>(channel.stored_bytes);
    plan.stored_bytes += channel.stored_bytes;
    plan.decoded_bytes += channel.decoded_bytes;
    largest_column = std::max(largest_column, channel.decoded_bytes + channel.values * bytes_of_row);
    plan.channels.push_back(channel);
  }
  const auto threads = static_cast<std::uint64_t>(state.pool.size());
  const std::uint64_t windows = threads * 2 * std::max<std::uint64_t>(largest_window, sums.largest_block);
  plan.peak_bytes_of_columns =
      std::min<std::uint64_t>(largest_column + windows + sums.table_bytes, state.memory.limit());
  plan.peak_bytes_of_events = std::min<std::uint64_t>(
      peak_of_events(sums, plan.decoded_bytes, of_stored_byte, threads, windows), state.memory.limit());
  plan.seconds =
      (inflated / inflated_bytes_a_second + moved / moved_bytes_a_second) / static_cast<double>(threads);
  return plan;
}

}  // namespace ravo::detail
