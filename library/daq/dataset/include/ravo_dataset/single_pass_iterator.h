// The iterator of a range that is read once: events, the chunks of a column.
#ifndef RAVO_DATASET_SINGLE_PASS_ITERATOR_H
#define RAVO_DATASET_SINGLE_PASS_ITERATOR_H

#include <cstddef>
#include <iterator>

namespace ravo {

/// Stands at the range's current element, which it shares with every other iterator of the range. `Range`
/// has that element and the function that moves on to the next one.
template <class Range, class Element>
class single_pass_iterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = Element;
  using difference_type = std::ptrdiff_t;
  using pointer = const Element*;
  using reference = const Element&;

  single_pass_iterator() = default;
  const Element& operator*() const { return *range_->current_; }
  const Element* operator->() const { return &*range_->current_; }
  single_pass_iterator& operator++() {
    range_->advance();
    return *this;
  }
  void operator++(int) { range_->advance(); }
  bool operator==(std::default_sentinel_t) const { return range_ == nullptr || !range_->current_; }

 private:
  friend Range;
  explicit single_pass_iterator(Range* range) : range_(range) {}
  Range* range_ = nullptr;
};

}  // namespace ravo

#endif
