#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "common/block_summary.h"
#include "common/decoded_block.h"
#include "common/event_printing.h"
#include "common/times.h"
#include "format/print_text.h"
#include "format/time.h"
#include "ravo_dataset/describe.h"

namespace ravo::tool {
namespace {

// Prints lines of three columns: the channel, the member, and a text.
class line_printer {
 public:
  line_printer(output& out, std::size_t width) : out_(out), width_(width) {}

  void print(const std::string& channel, const std::string& member, const std::string& text) {
    out_.print_line(fmt::format("  {:<{}}  {:<9} {}", channel, width_, member, text));
  }

 private:
  output& out_;
  std::size_t width_;
};

std::string numbers_text(const number_summary& numbers, bool scalar, const std::string& unit) {
  if (numbers.count == 0) return "no values";
  if (scalar && numbers.not_finite == 0) return fmt::format("{:>12.7g} {}", numbers.mean, unit);
  if (numbers.not_finite == numbers.count) return fmt::format("{} values, none finite", numbers.count);
  std::string text = fmt::format("{:>6} values  mean {:>11.6g}  min {:>11.6g}  max {:>11.6g}  {}",
                                 numbers.count, numbers.mean, numbers.min, numbers.max, unit);
  if (numbers.not_finite > 0) text += fmt::format("  ({} not finite)", numbers.not_finite);
  return text;
}

std::string update_text(const update_summary& update, const read_entry& entry) {
  std::string text =
      fmt::format("{:>12.7g} {}  at {}", update.value, entry.channel->units, time_text(update.time));
  if (update.property != entry.channel->name) text += "  " + update.property;
  if (update.status != 0) text += fmt::format("  status {:#x}", update.status);
  return text;
}

std::string pairs_text(const block_summary& block) {
  std::string text = block.comment.value_or("");
  for (const named_value& pair : block.pairs)
    text += fmt::format("{}{}={:g}", text.empty() ? "" : "  ", pair.name, pair.value);
  return text;
}

std::string image_text(const image_summary& image) {
  return fmt::format("{} x {} pixels of {} byte{}  mean {:.2f}  max {}  frame {}", image.width,
                     image.height, image.bytes_per_pixel, image.bytes_per_pixel == 1 ? "" : "s", image.mean,
                     image.max, image.frame);
}

void print_members(const block_summary& block, const read_entry& entry, const std::string& notes,
                   line_printer& lines) {
  std::string name = entry.channel->key();
  const int only = entry.channel->subchannel;
  for (std::size_t i = 0; i < block.members.size(); ++i) {
    const std::size_t member = only >= 0 ? static_cast<std::size_t>(only) : i;
    const std::string unit =
        unit_of_member(entry.channel->units, member, only >= 0 ? 0 : block.members.size());
    lines.print(name, block.members[i].name, numbers_text(block.members[i], block.scalar, unit) + notes);
    name.clear();
  }
}

void print_entry(const read_entry& entry, checksums sums, line_printer& lines) {
  if (!entry.block)
    return lines.print(
        entry.channel->key(), "",
        fmt::format("no data: {}{}",
                    entry.status ? value_status_text(*entry.status) : "the block could not be converted",
                    entry.held ? "  (held)" : ""));
  const auto [dtype, error, data] = *entry.block;
  const block_summary block = summarise(dtype, entry.channel->subchannel, data);
  std::string notes;
  if (entry.status == value_status::stale)
    notes += fmt::format("  (stale, {})", format_span(std::abs(static_cast<double>(entry.age))));
  else if (entry.held)
    notes += "  (held)";
  if (error != 0) notes += "  error " + error_text(error);
  if (sums == checksums::shown)
    notes += fmt::format("  {} bytes, crc32 {:08x}", data.size(), checksum(data));
  const std::string name = entry.channel->key();
  if (!block.consistent)
    lines.print(name, "",
                fmt::format("{}: {} bytes that cannot be interpreted{}", block.dtype, data.size(), notes));
  else if (!block.members.empty())
    print_members(block, entry, notes, lines);
  else if (block.image)
    lines.print(name, "", image_text(*block.image) + notes);
  else if (block.camera_bytes)
    lines.print(name, "",
                fmt::format("{} bytes from the camera that are no picture{}", *block.camera_bytes, notes));
  else if (block.update)
    lines.print(name, "", update_text(*block.update, entry) + notes);
  else if (block.text)
    lines.print(name, "", fmt::format("\"{}\"{}", *block.text, notes));
  else
    lines.print(name, "", pairs_text(block) + notes);
}

}  // namespace

void print_event_table(const read_event& event, checksums sums, output& out) {
  const bool is_older = event.generation == ravo_file_generation::older;
  out.format("{}event {}  {}{}{}\n", out.bold(), event.id.event_number, time_text(event.id.time),
             is_older ? "  (older generation)" : "", out.plain());
  std::size_t width = 0;
  for (const read_entry& entry : event.entries) width = std::max(width, entry.channel->key().size());
  line_printer lines(out, width);
  for (const read_entry& entry : event.entries) print_entry(entry, sums, lines);
}

}  // namespace ravo::tool
