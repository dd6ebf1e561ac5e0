#include "channel_names.h"

#include <fmt/format.h>

#include "failure.h"
#include "names.h"

namespace ravo::tool {

std::size_t find_channel(const raw_file& file, const std::string& name) {
  std::vector<std::string> names;
  const auto channels = file.channels();
  for (std::size_t i = 0; i < channels.size(); ++i) {
    if (name == channels[i].chan_name) return i;
    names.emplace_back(channels[i].chan_name);
  }
  const std::vector<std::string> near = near_names(name, names);
  throw data_failure(fmt::format("{}: no channel {}; {}", file.path(), shown_name(name),
                                 near.empty() ? "`ravo channels FILE` lists those that are there"
                                              : fmt::format("did you mean {}?", join_or(near))));
}

}  // namespace ravo::tool
