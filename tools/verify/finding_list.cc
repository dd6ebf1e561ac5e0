#include "finding_list.h"

#include <algorithm>

namespace ravo::checks {

finding_list::key finding_list::key_of(finding_kind kind, const std::string& channel) {
  return {kind, row_of(kind).counts == finding_count::places ? channel : std::string()};
}

finding* finding_list::find(finding_kind kind, const std::string& channel) {
  const auto known = places_.find(key_of(kind, channel));
  return known == places_.end() ? nullptr : &list_[known->second];
}

void finding_list::insert(finding what) {
  places_.emplace(key_of(what.kind, what.first.channel), list_.size());
  list_.push_back(std::move(what));
}

void finding_list::append(finding_list&& other) {
  for (finding& one : other.list_) add(one.kind, std::move(one.first), std::move(one.detail), one.count);
  left_out_ += other.left_out_;
}

bool finding_list::has(finding_kind kind) const {
  return std::any_of(list_.begin(), list_.end(), [kind](const finding& one) { return one.kind == kind; });
}

}  // namespace ravo::checks
