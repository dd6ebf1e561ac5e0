// The answer key of damage as files: what a check of the damaged files has to find.
#include <map>

#include "faults/faults.h"
#include "shared/json_lines.h"
#include "shared/whole_file.h"

namespace ravo::simulator {
namespace {

constexpr const char* key_suffix = ".expected.json";

json members_of(const expected_finding& what) {
  const auto or_null = [](const auto& value) { return value ? json(*value) : json(); };
  return {{"kind", what.kind},
          {"channel", what.channel.empty() ? json() : json(what.channel)},
          {"event", or_null(what.event)},
          {"offset", or_null(what.offset)},
          {"count", what.count}};
}

// Removes the keys of earlier files of these names, which would be taken for those of the new files.
void remove_old_keys(const std::vector<std::string>& files, const std::string& folder) {
  for (const std::string& file : files) remove_file(file + key_suffix);
  remove_file(folder + "/all" + key_suffix);
}

}  // namespace

void write_expectations(const std::vector<expectation>& expected, const std::vector<std::string>& files,
                        const std::string& folder) {
  remove_old_keys(files, folder);
  // A file can have several findings: its own damage, and that the file before it is missing.
  std::map<std::string, std::string> lines;
  for (const expectation& one : expected) {
    std::string& text = lines[(one.file.empty() ? folder + "/all" : one.file) + key_suffix];
    for (const expected_finding& what : one.findings)
      if (const std::string line = json_line(members_of(what)); text.find(line) == std::string::npos)
        text += line;
  }
  for (const auto& [path, text] : lines) {
    whole_file file(path);
    file.append(text);
    file.publish();
  }
}

}  // namespace ravo::simulator
