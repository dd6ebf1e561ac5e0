#include "align/dictionary_names.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>

#include "ravo_raw_generations.h"

namespace ravo::detail {
namespace {

/// Calls `take` with each name, cut to the room that a block has for it. The dictionary is read in pieces,
/// since it may be large and no memory is reserved for it. False if it can no longer be read.
template <class G, class Take>
bool visit_names(const open_file& file, const known_file& known, Take take) {
  using entry_record = typename G::dictionary_entry;
  constexpr std::size_t room = sizeof(G::subhead::chname) - 1;
  constexpr std::size_t entries_of_piece = 256;
  std::vector<char> piece(entries_of_piece * sizeof(entry_record));
  std::uint64_t at = known.dictionary_at + sizeof(typename G::dictionary_table);
  for (std::size_t left = known.rows; left > 0;) {
    const std::size_t entries = std::min(left, entries_of_piece);
    if (!file.read_all(at, piece.data(), entries * sizeof(entry_record))) return false;
    for (std::size_t i = 0; i < entries; ++i) {
      const char* const name = piece.data() + i * sizeof(entry_record) + offsetof(entry_record, chan_name);
      take(std::string_view(name, strnlen(name, std::min(room, sizeof(entry_record::chan_name)))));
    }
    left -= entries;
    at += entries * sizeof(entry_record);
  }
  return true;
}

template <class Take>
bool visit_names(const open_file& file, const known_file& known, Take take) {
  return known.generation == ravo_file_generation::current
             ? visit_names<raw_format_2010>(file, known, take)
             : visit_names<raw_format_2009>(file, known, take);
}

}  // namespace

std::optional<bool> dictionary_names::has(const open_file& file, const known_file& known,
                                          std::string_view name) {
  if (name.empty()) return false;
  const std::lock_guard lock(mutex_);
  if (known.rows <= most_hashes) {
    const std::vector<std::size_t>* hashes = hashes_of(file, known);
    if (hashes == nullptr) return std::nullopt;
    return std::binary_search(hashes->begin(), hashes->end(), std::hash<std::string_view>{}(name));
  }
  if (last_question_.first == known.position && last_question_.second == name) return last_answer_;
  bool is_there = false;
  if (!visit_names(file, known, [&](std::string_view one) { is_there = is_there || one == name; }))
    return std::nullopt;
  last_answer_ = is_there;
  last_question_ = {known.position, std::string(name)};
  return last_answer_;
}

/// Null if the dictionary can no longer be read: an incomplete list would let names pass.
const std::vector<std::size_t>* dictionary_names::hashes_of(const open_file& file,
                                                            const known_file& known) {
  const auto found = std::find_if(kept_.begin(), kept_.end(),
                                  [&](const names_of_file& one) { return one.file == known.position; });
  if (found != kept_.end()) return &found->hashes;
  if (kept_hashes_ + known.rows > most_hashes) {
    kept_.clear();
    kept_hashes_ = 0;
  }
  std::vector<std::size_t> hashes;
  hashes.reserve(known.rows);
  if (!visit_names(file, known,
                   [&](std::string_view one) { hashes.push_back(std::hash<std::string_view>{}(one)); }))
    return nullptr;
  std::sort(hashes.begin(), hashes.end());
  kept_hashes_ += hashes.size();
  return &kept_.emplace_back(names_of_file{known.position, std::move(hashes)}).hashes;
}

}  // namespace ravo::detail
