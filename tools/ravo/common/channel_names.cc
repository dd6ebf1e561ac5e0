#include "common/channel_names.h"

#include <fmt/format.h>

#include "common/failure.h"
#include "common/names.h"

namespace ravo::tool {

std::size_t find_channel(const raw_file& file, const std::string& name) {
  std::vector<std::string> names;
  const auto channels = file.channels();
  for (std::size_t i = 0; i < channels.size(); ++i) {
    if (name == channels[i].chan_name) return i;
    names.emplace_back(channels[i].chan_name);
  }
  throw data_failure(
      fmt::format("{}: no channel {}; {}", file.path(), shown_name(name),
                  suggestion(name, names, "`ravo channels FILE` lists those that are there")));
}

}  // namespace ravo::tool
