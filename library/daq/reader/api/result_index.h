// Finds a reader's results by the names in blocks, without walking over all results for every block of
// every event. Filled once; a lookup allocates nothing.
#ifndef RAVO_DAQ_READER_RESULT_INDEX_H
#define RAVO_DAQ_READER_RESULT_INDEX_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace ravo {

class result_index {
 public:
  static constexpr std::size_t none = static_cast<std::size_t>(-1);

  /// Enters the result at `position`. If a name or a key is entered twice, the first entry wins.
  void add(std::string_view name, std::string_view key, std::size_t position) {
    names_.try_emplace(std::string(name), position);
    keys_.try_emplace(std::string(key), position);
  }

  /// The position of the first result of a channel, whatever its subchannel.
  std::size_t find_name(std::string_view name) const { return find(names_, name); }
  /// The position of the result of a channel and subchannel.
  std::size_t find_key(std::string_view key) const { return find(keys_, key); }

 private:
  struct text_hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
  };
  using positions = std::unordered_map<std::string, std::size_t, text_hash, std::equal_to<>>;

  static std::size_t find(const positions& where, std::string_view text) {
    const auto found = where.find(text);
    return found == where.end() ? none : found->second;
  }

  positions names_;
  positions keys_;
};

}  // namespace ravo

#endif
