#include "read/row_selector.h"

#include <algorithm>
#include <functional>

#include "ravo_dataset/errors.h"

namespace ravo::detail {

row_selector::row_selector(const column_options& options)
    : first_(options.first),
      step_(options.step),
      is_list_(!options.row_list.empty()),
      list_(options.row_list) {
  const bool is_slice = options.first != 0 || options.count || options.step != 1;
  if (step_ == 0) throw selection_error("The step of the rows of a column is 1 or more");
  if (is_list_ && is_slice)
    throw selection_error(
        "The rows of a column are a list of positions, or first, count and step: not both");
  if (std::adjacent_find(list_.begin(), list_.end(), std::greater_equal<>()) != list_.end())
    throw selection_error("The positions in a list of rows ascend, each once");
  if (is_list_)
    end_ = std::uint64_t{list_.back()} + 1;
  else if (options.count == 0u)
    end_ = first_;
  else if (options.count && (*options.count - 1) < (no_end - first_ - 1) / step_)
    end_ = first_ + (*options.count - 1) * step_ + 1;
}

bool row_selector::has(std::uint64_t position) const {
  if (is_list_) return std::binary_search(list_.begin(), list_.end(), position);
  return position >= first_ && position < end_ && (position - first_) % step_ == 0;
}

std::size_t row_selector::most_of(std::uint64_t position, std::size_t count) const {
  const std::uint64_t end = count > no_end - position ? no_end : position + count;
  if (is_list_)
    return static_cast<std::size_t>(std::lower_bound(list_.begin(), list_.end(), end) -
                                    std::lower_bound(list_.begin(), list_.end(), position));
  const std::uint64_t from = std::max(position, first_), to = std::min(end, end_);
  return from < to ? static_cast<std::size_t>((to - from - 1) / step_ + 1) : 0;
}

void row_selector::check(std::uint64_t rows, const std::string& channel) const {
  if (!is_list_ || list_.back() < rows) return;
  throw access_error("The column " + channel + " has " + std::to_string(rows) +
                     " rows, counted from 0, and row " + std::to_string(list_.back()) + " was asked for");
}

column_options rows_after(const column_options& all, std::size_t done, std::size_t count) {
  column_options part = all;
  if (all.row_list.empty()) {
    const std::size_t most = static_cast<std::size_t>(-1);
    part.first = done > (most - all.first) / all.step ? most : all.first + done * all.step;
    part.count = all.count ? std::min(count, *all.count - std::min(done, *all.count)) : count;
    return part;
  }
  const auto first =
      all.row_list.begin() + static_cast<std::ptrdiff_t>(std::min(done, all.row_list.size()));
  const auto left = static_cast<std::size_t>(all.row_list.end() - first);
  part.row_list.assign(first, first + static_cast<std::ptrdiff_t>(std::min(count, left)));
  if (part.row_list.empty()) part.count = 0;
  return part;
}

}  // namespace ravo::detail
