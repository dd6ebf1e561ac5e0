// The command-line tool: finds the verb, runs it, and turns every outcome into
// an exit code and, if something went wrong, one message on standard error.
#include <fmt/format.h>

#include <algorithm>
#include <exception>

#include "common/failure.h"
#include "common/help_format.h"
#include "common/interrupt.h"
#include "common/names.h"
#include "ravo_version.h"
#include "shared/escaping.h"
#include "verbs/verb.h"

namespace {

using namespace ravo::tool;
using ravo::as_it_is;
using ravo::print_message;

constexpr const char* closing_words = R"(A first look:
  ravo simulate demo --files 2             write two raw files of a simulated accelerator
  ravo info demo/*_file1_*.raw             what is in one of them
  ravo channels demo/*_file1_*.raw         its channels
  ravo read demo/*.raw --channel LINAC/BPM/001 --limit 3

`ravo VERB --help` explains a verb by examples. Every verb takes --json, for programs.
Exit codes: 0 fine, 1 a file or its data do not allow it, 2 the command line makes no sense, 3 a check found
nothing worse than what is odd, 130 ended by Ctrl-C.)";

std::vector<std::string> verb_names(const CLI::App& tool) {
  std::vector<std::string> names;
  for (const CLI::App* one : tool.get_subcommands(std::function<bool(const CLI::App*)>()))
    names.push_back(one->get_name());
  return names;
}

// "a, b and c".
std::string list_of(const std::vector<std::string>& names) {
  return fmt::format("{} and {}", fmt::join(names.begin(), names.end() - 1, ", "), names.back());
}

std::vector<std::string> option_names(const CLI::App& verb) {
  std::vector<std::string> names;
  for (const CLI::Option* one : verb.get_options())
    for (const std::string& name : one->get_lnames()) names.push_back("--" + name);
  return names;
}

// What is wrong after the verb. The parser would not say which option may have been meant.
std::string explain_options(const CLI::App& verb, const CLI::ParseError& error) {
  const CLI::App* chosen = &verb;
  if (const auto below = verb.get_subcommands(); !below.empty()) chosen = below.front();
  const std::vector<std::string> left = verb.remaining(true);
  const auto option =
      std::find_if(left.begin(), left.end(), [](const std::string& word) { return word.starts_with("-"); });
  if (option == left.end()) return error.what();
  const std::string name = option->substr(0, option->find('='));
  return fmt::format("there is no option '{}'; {}", name,
                     suggestion(name, option_names(*chosen), "--help lists those that are there"));
}

// What is wrong with the command line. The parser would not say that there is no such verb.
std::string explain(const CLI::App& tool, const CLI::ParseError& error, int argc, char** argv) {
  const std::vector<std::string> verbs = verb_names(tool);
  if (argc < 2) return "say what to do: " + join_or(verbs);
  const std::string first = argv[1];
  if (first.starts_with('-'))
    return fmt::format("'{}' is no option of ravo itself; options follow the verb", first);
  if (std::find(verbs.begin(), verbs.end(), first) != verbs.end())
    return explain_options(*tool.get_subcommand(first), error);
  return fmt::format("there is no verb '{}'; {}", first,
                     suggestion(first, verbs, ("there are " + list_of(verbs)).c_str()));
}

int run(int argc, char** argv, output& out) {
  CLI::App tool("Reads the raw files of an accelerator's data acquisition.", "ravo");
  tool.formatter(std::make_shared<help_format>());
  tool.footer(closing_words);
  tool.require_subcommand(1);
  tool.set_version_flag("--version", "ravo " RAVO_VERSION);
  const verb verbs[] = {simulate_verb(tool), info_verb(tool),    channels_verb(tool), descr_verb(tool),
                        index_verb(tool),    headers_verb(tool), read_verb(tool),     plan_verb(tool),
                        digest_verb(tool),   stat_verb(tool),    show_verb(tool),     catalog_verb(tool),
                        verify_verb(tool),   convert_verb(tool)};
  const auto chosen = [&]() -> const verb* {
    for (const verb& one : verbs)
      if (one.command->parsed()) return &one;
    return nullptr;
  };
  // CLI11 reports help and version the way it reports errors: by throwing.
  try {
    tool.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    const verb* one = chosen();
    out.print(one ? one->command->help("ravo") : tool.help());
    return exit_fine;
  } catch (const CLI::CallForAllHelp&) {
    out.print(tool.help("", CLI::AppFormatMode::All));
    return exit_fine;
  } catch (const CLI::CallForVersion& version) {
    out.print(std::string(version.what()) + "\n");
    return exit_fine;
  } catch (const CLI::ParseError& error) {
    const verb* one = chosen();
    print_message("ravo: {}\nTry `{} --help`.\n", explain(tool, error, argc, argv),
                  one ? "ravo " + one->command->get_name() : "ravo");
    return exit_usage;
  }
  chosen()->run(out);
  return exit_fine;
}

}  // namespace

int main(int argc, char** argv) {
  listen_for_signals();
  try {
    output out;
    int code = exit_fine;
    try {
      code = run(argc, argv, out);
    } catch (...) {
      out.flush();
      throw;
    }
    out.flush();
    return code;
  } catch (const interrupted&) {
    return exit_interrupted;
  } catch (const verdict& end) {
    return end.exit_code;
  } catch (const usage_failure& failure) {
    print_message("ravo: {}\n", as_it_is{failure.what()});
    return exit_usage;
  } catch (const data_failure& failure) {
    print_message("ravo: {}\n", as_it_is{failure.what()});
    return exit_data;
  } catch (const std::exception& failure) {
    print_message("ravo: {}\n", failure.what());
    return exit_data;
  }
}
