// The findings of one file, with repeats combined: of equal kinds in the same channel the
// first is kept and the others are counted. However much is wrong, the list stays small.
#ifndef RAVO_VERIFY_FINDING_LIST_H
#define RAVO_VERIFY_FINDING_LIST_H

#include <map>
#include <type_traits>
#include <utility>
#include <vector>

#include "finding.h"

namespace ravo::checks {

class finding_list {
 public:
  /// Adds a finding that represents `count`. `detail` is a text, or a
  /// function that makes one, which is called for the first of its kind only.
  template <class Detail>
  void add(finding_kind kind, place where, Detail&& detail, std::uint64_t count = 1) {
    if (finding* known = find(kind, where.channel)) {
      known->count += count;
      return;
    }
    if (!has_room()) {
      left_out_ += count;
      return;
    }
    if constexpr (std::is_invocable_v<Detail>)
      insert({kind, {}, std::move(where), count, detail()});
    else
      insert({kind, {}, std::move(where), count, std::forward<Detail>(detail)});
  }

  /// Adds the findings of another list after those of this one.
  void append(finding_list&& other);

  const std::vector<finding>& list() const { return list_; }
  bool empty() const { return list_.empty(); }
  bool has(finding_kind kind) const;
  /// Findings that are in no line because there are too many different ones.
  std::uint64_t left_out() const { return left_out_; }

 private:
  /// More different findings help nobody.
  static constexpr std::size_t most_lines = 1000;

  using key = std::pair<finding_kind, std::string>;
  static key key_of(finding_kind kind, const std::string& channel);
  finding* find(finding_kind kind, const std::string& channel);
  bool has_room() const { return list_.size() < most_lines; }
  void insert(finding what);

  std::vector<finding> list_;
  std::map<key, std::size_t> places_;
  std::uint64_t left_out_ = 0;
};

}  // namespace ravo::checks

#endif
