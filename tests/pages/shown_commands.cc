#include "shown_commands.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>

#include "process.h"
#include "temporary_folder.h"

namespace ravo::test {
namespace {

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::string without_white_space(std::string text) {
  std::erase_if(text, [](unsigned char c) { return std::isspace(c) != 0; });
  return text;
}

bool is_gap(const std::string& line) { return without_white_space(line) == "..."; }

// Whether a text fits a pattern in which "..." matches any characters.
bool fits(std::string_view text, std::string_view pattern) {
  const std::size_t gap = pattern.find("...");
  if (gap == pattern.npos) return text == pattern;
  if (!text.starts_with(pattern.substr(0, gap))) return false;
  const std::string_view rest = pattern.substr(gap + 3);
  for (std::size_t begin = gap; begin <= text.size(); ++begin)
    if (fits(text.substr(begin), rest)) return true;
  return false;
}

std::optional<std::string> difference_by_line(const std::vector<std::string>& shown,
                                              const std::vector<std::string>& printed) {
  std::size_t next = 0;
  bool may_skip = false;
  for (const std::string& line : shown) {
    if (is_gap(line)) {
      may_skip = true;
      continue;
    }
    while (may_skip && next < printed.size() && !fits(printed[next], line)) ++next;
    if (next == printed.size() || !fits(printed[next], line))
      return "is shown and not printed here: " + line;
    ++next;
    may_skip = false;
  }
  if (!may_skip && next < printed.size()) return "is printed and not shown: " + printed[next];
  return std::nullopt;
}

std::string text_of(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace

bool shown_command::shows_failure() const {
  const std::vector<std::string> lines = lines_of(below);
  return std::any_of(lines.begin(), lines.end(),
                     [](const std::string& shown) { return shown.starts_with("ravo: "); });
}

std::vector<shown_command> commands_of(const std::string& page) {
  enum class block { none, other, shell, console, folded_console };
  std::vector<shown_command> commands;
  block within = block::none;
  int number = 0;
  for (const std::string& line : lines_of(page)) {
    ++number;
    if (line.starts_with("```")) {
      if (within != block::none)
        within = block::none;
      else if (line == "```console")
        within = block::console;
      else if (line == "```console folded")
        within = block::folded_console;
      else if (line == "```sh") {
        within = block::shell;
        commands.push_back({"", "", shown_as::nothing, number + 1});
      } else
        within = block::other;
    } else if (within == block::shell) {
      commands.back().command += line + "\n";
    } else if (within == block::console || within == block::folded_console) {
      if (line.starts_with("$ "))
        commands.push_back(
            {line.substr(2), "", within == block::console ? shown_as::lines : shown_as::folded, number});
      else if (commands.back().command.ends_with('\\') && commands.back().below.empty())
        commands.back().command += "\n" + line;
      else
        commands.back().below += line + "\n";
    }
  }
  return commands;
}

std::optional<std::string> difference(const shown_command& shown, const std::string& printed) {
  switch (shown.form) {
    case shown_as::lines:
      return difference_by_line(lines_of(shown.below), lines_of(printed));
    case shown_as::folded:
      if (fits(without_white_space(printed), without_white_space(shown.below))) return std::nullopt;
      return "the text is another one";
    case shown_as::nothing:
      return std::nullopt;
  }
  return "cannot be";
}

std::vector<command_outcome> run_in_one_shell(const std::vector<shown_command>& commands,
                                              const std::filesystem::path& folder) {
  const temporary_folder outcomes;
  const auto file_of = [&](std::size_t number, const char* what) {
    return (outcomes.path() / (std::to_string(number) + what)).string();
  };
  std::string script = "cd '" + folder.string() + "' || exit 1\n";
  for (std::size_t n = 0; n < commands.size(); ++n)
    script += "{ " + commands[n].command + "\n} >'" + file_of(n, ".out") + "' 2>'" + file_of(n, ".err") +
              "'; status=$?; echo $status >'" + file_of(n, ".status") + "'; (exit $status)\n";
  std::ofstream(outcomes.path() / "script") << script;
  run_process({"/bin/bash", (outcomes.path() / "script").string()});

  std::vector<command_outcome> came(commands.size());
  for (std::size_t n = 0; n < commands.size(); ++n) {
    const std::string status = text_of(file_of(n, ".status"));
    if (!status.empty()) came[n].exit_code = std::stoi(status);
    came[n].printed = text_of(file_of(n, ".out")) + text_of(file_of(n, ".err"));
  }
  return came;
}

}  // namespace ravo::test
