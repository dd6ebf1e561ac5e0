// The form of --help: option, kind of value, effect, and default;
// other conditions on a value are stated when it violates them.
#ifndef RAVO_TOOL_HELP_FORMAT_H
#define RAVO_TOOL_HELP_FORMAT_H

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <string>

namespace ravo::tool {

class help_format : public CLI::Formatter {
 public:
  help_format() { column_width(26); }

  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string type = option->get_type_size() == 0 ? "" : option->get_type_name();
    return type.empty() ? "" : " " + type;
  }
  std::string make_option_desc(const CLI::Option* option) const override {
    const std::string preset = option->get_default_str();
    return option->get_description() +
           (preset.empty() || option->get_type_size() == 0 ? "" : "  [" + preset + "]");
  }
};

/// A number in a range, which only the error message states.
inline CLI::Validator in_range(double least, double most) {
  return CLI::Validator(
      [least, most](std::string& text) {
        double number = 0;
        if (CLI::detail::lexical_cast(text, number) && number >= least && number <= most)
          return std::string();
        return fmt::format("'{}' is no number from {:.15g} to {:.15g}", text, least, most);
      },
      "");
}

/// A whole number that is not negative: CLI11's conversion to an unsigned number would accept a "-".
inline CLI::Validator not_negative() {
  return CLI::Validator(
      [](std::string& text) {
        return text.starts_with('-') ? fmt::format("'{}' is negative", text) : std::string();
      },
      "");
}

/// One of several words, which the option's own description lists.
inline CLI::Validator one_of(const std::vector<std::string>& words) {
  CLI::Validator member = CLI::IsMember(words);
  member.description("");
  return member;
}

}  // namespace ravo::tool

#endif
