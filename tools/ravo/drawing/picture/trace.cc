#include "drawing/picture/trace.h"

#include <cmath>

#include "drawing/picture/figure.h"

namespace ravo::drawing {
namespace {

// One run of finite samples, column by column.
class run {
 public:
  void add(point at) {
    const double column = std::floor(at.x * page::dots_per_point);
    if (!column_.empty() && column != number_) close_column();
    number_ = column;
    column_.push_back(at);
    if (column_.size() > most_kept) thin();
  }

  void end(trace& found) {
    close_column();
    if (points_.size() == 1)
      found.singles.push_back(points_.front());
    else if (!points_.empty())
      found.lines.push_back(std::move(points_));
    points_.clear();
  }

 private:
  static constexpr std::size_t most_kept = 4;

  // Keeps first, least, greatest and last, in their order.
  void thin() {
    std::size_t least = 0, greatest = 0;
    for (std::size_t i = 1; i < column_.size(); ++i) {
      if (column_[i].y > column_[least].y) least = i;
      if (column_[i].y < column_[greatest].y) greatest = i;
    }
    std::vector<point> kept;
    for (std::size_t i = 0; i < column_.size(); ++i)
      if (i == 0 || i == least || i == greatest || i + 1 == column_.size()) kept.push_back(column_[i]);
    column_ = std::move(kept);
  }

  void close_column() {
    points_.insert(points_.end(), column_.begin(), column_.end());
    column_.clear();
  }

  std::vector<point> points_;
  std::vector<point> column_;  // points of the column that is being filled
  double number_ = 0;
};

}  // namespace

trace trace_of(const curve& drawn, std::size_t group, interval axis, interval values, box where) {
  trace found;
  run current;
  for (std::size_t i = 0; i < drawn.samples; ++i) {
    const double value = double{drawn.values[group * drawn.samples + i]};
    if (!std::isfinite(value)) {
      current.end(found);
      continue;
    }
    const double along =
        drawn.start + drawn.group_step * static_cast<double>(group) + drawn.step * static_cast<double>(i);
    current.add(
        {where.left + axis.part(along) * where.width, where.bottom() - values.part(value) * where.height});
  }
  current.end(found);
  return found;
}

}  // namespace ravo::drawing
