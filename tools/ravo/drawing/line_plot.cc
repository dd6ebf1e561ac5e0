#include "drawing/line_plot.h"

#include <algorithm>
#include <cmath>

namespace ravo::drawing {
namespace {

struct frame_letters {
  const char *side, *side_tick, *corner, *floor, *floor_tick;
};
constexpr frame_letters lines{"│", "┤", "└", "─", "┬"};
constexpr frame_letters ascii_lines{"|", "+", "+", "-", "+"};

std::string blanks(int count) { return std::string(static_cast<std::size_t>(std::max(count, 0)), ' '); }

void cut_end(std::string& line) { line.erase(line.find_last_not_of(' ') + 1); }

// Numbers under the axis, each centred below its tick; a number that would touch its neighbour is omitted.
std::string labels_below(const std::vector<tick>& ticks, interval axis, int columns) {
  std::string line;
  for (const tick& one : ticks) {
    const int middle = static_cast<int>(std::lround(axis.part(one.value) * (columns - 1)));
    const int length = static_cast<int>(one.label.size());
    const int begin = std::clamp(middle - length / 2, 0, std::max(columns - length, 0));
    const int end = static_cast<int>(line.size());
    if (begin < end + (end > 0 ? 2 : 0)) continue;
    line += blanks(begin - end) + one.label;
  }
  return line;
}

std::string floor_line(const std::vector<tick>& ticks, interval axis, int columns,
                       const frame_letters& frame) {
  std::vector<const char*> cells(static_cast<std::size_t>(columns), frame.floor);
  for (const tick& one : ticks)
    cells[static_cast<std::size_t>(std::lround(axis.part(one.value) * (columns - 1)))] = frame.floor_tick;
  std::string line = frame.corner;
  for (const char* cell : cells) line += cell;
  return line;
}

}  // namespace

std::vector<std::string> line_plot(const curve& given, plot_size size, letters how) {
  const curve drawn = with_axis(given);
  const auto found = values_of(drawn);
  if (!found) return {drawn.values.empty() ? "no values" : "no value is finite"};
  const interval values = with_width(found->low, found->high);
  const interval axis = axis_of(drawn);

  const std::vector<tick> side_ticks = round_ticks(values, std::max(size.rows / 2, 2));
  std::size_t label_width = 0;
  for (const tick& one : side_ticks) label_width = std::max(label_width, one.label.size());
  const int labels = static_cast<int>(label_width);
  const int columns = std::max(size.columns - labels - 2, 4);

  dot_canvas canvas(columns, size.rows);
  walk(drawn, axis, values, {canvas.width(), canvas.height()},
       [&canvas](place from, place to) { canvas.line(from, to); });

  const frame_letters& frame = how == letters::braille ? lines : ascii_lines;
  std::vector<std::string> text;
  for (int row = 0; row < size.rows; ++row) {
    std::string label;
    for (const tick& one : side_ticks)
      if (size.rows - 1 - std::lround(values.part(one.value) * (size.rows - 1)) == row) label = one.label;
    std::string line = blanks(labels - static_cast<int>(label.size())) + label + " ";
    line += label.empty() ? frame.side : frame.side_tick;
    line += canvas.row(row, how);
    cut_end(line);
    text.push_back(line);
  }
  const std::vector<tick> floor_ticks = round_ticks(axis, std::max(columns / 10, 2));
  text.push_back(blanks(labels + 1) + floor_line(floor_ticks, axis, columns, frame));
  text.push_back(blanks(labels + 2) + labels_below(floor_ticks, axis, columns));
  return text;
}

std::string one_line_plot(std::span<const float> values, int columns, letters how) {
  static constexpr const char* blocks[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
  static constexpr const char* ascii_blocks[] = {"_", ".", ",", "-", "~", "=", "^", "#"};
  const auto cells = std::min(values.size(), static_cast<std::size_t>(std::max(columns, 0)));
  std::vector<double> means;
  for (std::size_t cell = 0; cell < cells; ++cell) {
    double sum = 0;
    std::size_t count = 0;
    const std::size_t end = (cell + 1) * values.size() / cells;
    for (std::size_t i = cell * values.size() / cells; i < end; ++i) {
      if (!std::isfinite(values[i])) continue;
      sum += double{values[i]};
      ++count;
    }
    means.push_back(count == 0 ? NAN : sum / static_cast<double>(count));
  }
  double low = INFINITY, high = -INFINITY;
  for (const double mean : means) {
    low = std::fmin(low, mean);
    high = std::fmax(high, mean);
  }
  std::string text;
  for (const double mean : means) {
    if (!std::isfinite(mean)) {
      text += ' ';
      continue;
    }
    const auto level =
        high > low ? std::min<std::size_t>(static_cast<std::size_t>((mean - low) / (high - low) * 8), 7)
                   : 3;
    text += how == letters::braille ? blocks[level] : ascii_blocks[level];
  }
  return text;
}

}  // namespace ravo::drawing
