#include "follow/followed_file.h"

#include <algorithm>

namespace ravo::detail {

void keep_held(std::vector<followed_file>& files) {
  std::map<std::string, std::int64_t> last;
  for (const followed_file& file : files)
    for (const auto& [channel, reach] : file.slow) {
      const auto place = last.try_emplace(channel, before_all_times).first;
      place->second = std::max(place->second, reach.last);
    }
  std::erase_if(files, [&](const followed_file& file) {
    return std::none_of(file.slow.begin(), file.slow.end(), [&](const auto& slow) {
      const std::int64_t newest = last.at(slow.first);
      return slow.second.last == newest || slow.second.uncertain > newest;
    });
  });
}

}  // namespace ravo::detail
