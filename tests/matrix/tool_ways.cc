#include <fmt/format.h>

#include "common/failure.h"
#include "common/raw_file.h"
#include "file_check.h"
#include "verbs/verb.h"
#include "ways.h"

namespace ravo::test {

std::vector<std::string> verify_lines(const std::string& path) {
  const checks::file_result result =
      checks::check_file(path, verification_depth::blocks, 1, [](std::uint64_t) {});
  std::vector<std::string> lines;
  for (const checks::finding& one : result.findings.list())
    lines.push_back(fmt::format("{} {} {} {} {}", checks::row_of(one.kind).code, one.first.channel,
                                one.first.offset.value_or(0), one.count, one.detail));
  return lines;
}

// The verb reports a refused file and goes on with
// the next one; the refusal itself is queried first.
info_answer info_about(const std::string& path) {
  try {
    const tool::raw_file file(path);
  } catch (const tool::data_failure& failure) {
    return {true, failure.what()};
  }
  CLI::App tool;
  const tool::verb info = tool::info_verb(tool);
  tool.parse("info " + path);
  try {
    tool::output out;
    info.run(out);
    out.flush();
    return {};
  } catch (const tool::verdict&) {
    return {true, "reported"};
  }
}

}  // namespace ravo::test
