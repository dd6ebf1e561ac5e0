// The simulator's answer key in the form that the tests of the dataset layer's verbs need.
#ifndef RAVO_TEST_KEY_LINES_H
#define RAVO_TEST_KEY_LINES_H

#include <map>
#include <set>
#include <string>

#include "tool_run.h"

namespace ravo::test {

/// The key's lines of a channel, by event.
inline std::map<unsigned, nlohmann::json> key_of(const demo_data& data, const std::string& channel) {
  std::map<unsigned, nlohmann::json> lines;
  for (const nlohmann::json& line : data.key)
    if (line.at("channel") == channel) lines[line.at("event")] = line;
  return lines;
}

/// The channels for which the key has lines.
inline std::set<std::string> channels_of(const demo_data& data) {
  std::set<std::string> names;
  for (const nlohmann::json& line : data.key) names.insert(line.at("channel"));
  return names;
}

}  // namespace ravo::test

#endif
