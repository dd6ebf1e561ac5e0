// ravo convert: older raw files rewritten as files of the current generation, and held against them.
#include <fmt/format.h>

#include <filesystem>
#include <optional>

#include "convert/compare_files.h"
#include "convert/convert_file.h"
#include "convert/sources.h"
#include "convert/staging.h"
#include "failure.h"
#include "interrupt.h"
#include "json_lines.h"
#include "progress.h"
#include "raw_file.h"
#include "verb.h"

namespace ravo::tool {
namespace {

struct options {
  std::vector<std::string> files;
  std::string into;
  bool force = false;
  bool verify = false;
  bool verify_only = false;
  bool json = false;
};

// What became of one file; a conversion that was only verified has no numbers but its sizes.
struct outcome {
  const conversion_source* source;
  std::optional<conversion> converted;
  std::uint64_t bytes = 0;
  std::uint64_t output_bytes = 0;
  bool verified = false;
  std::string problem;  ///< empty: all went well
};

struct totals {
  std::size_t done = 0, failed = 0, current = 0;
  std::uint64_t events = 0, channels = 0, blocks = 0, bytes = 0, output_bytes = 0;

  void add(const outcome& one) {
    if (one.source->is_current) {
      ++current;
      return;
    }
    ++(one.problem.empty() ? done : failed);
    if (!one.problem.empty()) return;
    bytes += one.bytes;
    output_bytes += one.output_bytes;
    if (!one.converted) return;
    events += one.converted->events;
    channels += one.converted->channels;
    blocks += one.converted->blocks;
  }
};

// The part of all the work that is done, by the sizes of the files.
class work_progress {
 public:
  explicit work_progress(const std::vector<conversion_source>& sources) : bar_("converting") {
    for (const conversion_source& source : sources) all_ += size_of(source);
  }
  /// From here on, a file takes `steps` steps.
  void begin(const conversion_source& source, int steps) {
    before_ += current_;
    current_ = size_of(source);
    steps_ = steps;
  }
  void show(int step, double part) {
    check_for_interrupt();
    bar_.show((before_ + current_ * (step + part) / steps_) / std::max(all_, 1.0));
  }
  void hide() { bar_.hide(); }

 private:
  static double size_of(const conversion_source& source) {
    std::error_code error;
    const auto size = std::filesystem::file_size(source.path, error);
    return source.is_current || error ? 0.0 : static_cast<double>(size);
  }

  progress_bar bar_;
  double all_ = 0, before_ = 0, current_ = 0;
  int steps_ = 1;
};

// Throws data_failure that says where `output`, which is to stand at `name`, first differs.
void verify(raw_file& older, const std::string& output, const std::string& name,
            const std::function<void(double)>& report) {
  raw_file current(output);
  if (current.generation() != ravo_file_generation::current)
    throw data_failure(name + ": is a file of the older generation, not a conversion");
  if (const auto difference = first_difference(older, current, report))
    throw data_failure(fmt::format("{}: does not hold what {} holds: {}", name, older.path(), *difference));
}

class batch {
 public:
  batch(const options& asked, const std::vector<conversion_source>& sources)
      : asked_(asked), progress_(sources) {}

  outcome handle(const conversion_source& source) {
    outcome result{&source, {}, 0, 0, false, ""};
    if (source.is_current) return result;
    const int steps = asked_.verify && !asked_.verify_only ? 2 : 1;
    progress_.begin(source, steps);
    try {
      raw_file older(source.path);
      result.bytes = older.size();
      if (asked_.verify_only)
        verify(older, source.target, source.target, [this](double part) { progress_.show(0, part); });
      else
        convert(older, source, result);
      result.verified = asked_.verify || asked_.verify_only;
      result.output_bytes = std::filesystem::file_size(source.target);
    } catch (const data_failure& failure) {
      result.problem = failure.what();
      result.converted.reset();
    }
    progress_.hide();
    return result;
  }

 private:
  void convert(raw_file& older, const conversion_source& source, outcome& result) {
    const overwriting existing = asked_.force ? overwriting::allowed : overwriting::refused;
    // Told before the work, not behind it.
    std::error_code error;
    if (existing == overwriting::refused && std::filesystem::exists(source.target, error))
      throw data_failure(source.target + ": is there already; --force replaces it");
    const staging_folder staging(asked_.into);
    result.converted =
        convert_file(older, staging.path(), [this](double part) { progress_.show(0, part); });
    if (asked_.verify)
      verify(older, result.converted->output, source.target,
             [this](double part) { progress_.show(1, part); });
    staging.publish(result.converted->output, source.target, existing);
  }

  const options& asked_;
  work_progress progress_;
};

// ---- reporting ------------------------------------------------------------------------------------------

std::string plural(std::uint64_t count, const char* noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

void print_text(const outcome& one, output& out) {
  if (one.source->is_current)
    return out.print_line(one.source->path + ": is of the current generation already");
  if (!one.converted)
    return out.print_line(fmt::format("{} holds what {} holds", one.source->target, one.source->path));
  const conversion& made = *one.converted;
  out.print_line(
      fmt::format("{} -> {}{}", one.source->path, one.source->target, one.verified ? "  verified" : ""));
  out.print_line(fmt::format("  {}, {} of {}, {} bytes -> {} bytes", plural(made.events, "event"),
                             plural(made.blocks, "block"), plural(made.channels, "channel"), one.bytes,
                             one.output_bytes));
  for (const loss& lost : made.losses)
    out.print_line(fmt::format("  {}{}{}", lost.channel, lost.channel.empty() ? "" : ": ", lost.text));
}

void print_json(const outcome& one, output& out) {
  json line{{"file", one.source->path}, {"output", one.source->target}};
  if (one.source->is_current) {
    line["outcome"] = "current_already";
    line.erase("output");
  } else if (!one.problem.empty()) {
    line["outcome"] = "failed";
    line["problem"] = one.problem;
  } else {
    line["outcome"] = one.converted ? "converted" : "equal";
    line["verified"] = one.verified;
    line["bytes"] = one.bytes;
    line["output_bytes"] = one.output_bytes;
  }
  if (one.converted) {
    const conversion& made = *one.converted;
    line["events"] = made.events;
    line["server_blocks"] = made.server_blocks;
    line["channels"] = made.channels;
    line["blocks"] = made.blocks;
    line["losses"] = json::array();
    for (const loss& lost : made.losses)
      line["losses"].push_back(
          {{"channel", lost.channel.empty() ? json() : json(lost.channel)}, {"text", lost.text}});
  }
  out.print(json_line(line));
}

void print(const outcome& one, bool as_json, output& out) {
  if (as_json)
    print_json(one, out);
  else if (one.problem.empty())
    print_text(one, out);
}

void print_totals(const totals& sum, const options& asked, output& out) {
  if (asked.json) {
    out.print(json_line({{"total",
                          {{"done", sum.done},
                           {"failed", sum.failed},
                           {"current_already", sum.current},
                           {"events", sum.events},
                           {"channels", sum.channels},
                           {"blocks", sum.blocks},
                           {"bytes", sum.bytes},
                           {"output_bytes", sum.output_bytes}}}}));
    return;
  }
  std::string line =
      fmt::format("{} {}", plural(sum.done, "file"), asked.verify_only ? "verified" : "converted");
  if (!asked.verify_only && sum.done > 0)
    line += fmt::format(": {}, {}, {} bytes -> {} bytes", plural(sum.events, "event"),
                        plural(sum.blocks, "block"), sum.bytes, sum.output_bytes);
  if (sum.failed > 0) line += fmt::format("; {} failed", sum.failed);
  if (sum.current > 0) line += fmt::format("; {} of the current generation already", sum.current);
  out.print_line(line);
}

void run(const options& asked, output& out) {
  const std::vector<conversion_source> sources = find_sources(asked.files, asked.into);
  batch work(asked, sources);
  totals sum;
  for (const conversion_source& source : sources) {
    const outcome one = work.handle(source);
    // What went wrong stands behind what was printed before it, also when both go to one place.
    print(one, asked.json, out);
    if (!one.problem.empty()) {
      out.flush();
      fmt::print(stderr, "ravo: {}\n", one.problem);
    }
    sum.add(one);
  }
  if (sum.done + sum.failed == 0)
    throw data_failure(fmt::format("there is no file of the older generation among the {}",
                                   plural(sources.size(), "file")));
  print_totals(sum, asked, out);
  if (sum.failed > 0)
    throw data_failure(fmt::format("{} of {} {}; what is named above says why", sum.failed,
                                   plural(sum.done + sum.failed, "file"),
                                   asked.verify_only ? "failed" : "were not converted"));
}

}  // namespace

verb convert_verb(CLI::App& tool) {
  CLI::App* command =
      tool.add_subcommand("convert", "Rewrite older raw files as files of the current generation");
  const auto asked = std::make_shared<options>();
  command->add_option("OLD", asked->files, "Raw files of the older generation, or folders of them")
      ->required()
      ->type_name("");
  command
      ->add_option("--into", asked->into,
                   "Folder for the new files, which keep their names; made when needed")
      ->required()
      ->type_name("DIR");
  command->add_flag("--force", asked->force, "Replace files that are there already");
  command->add_flag("--verify", asked->verify,
                    "Read old and new back and compare value by value before a new file gets its name");
  command->add_flag("--verify-only", asked->verify_only,
                    "Write nothing: compare with an earlier conversion in DIR");
  command->add_flag("--json", asked->json, "One JSON object a file, and one with the sums");
  command->footer(R"(Examples:
  ravo convert old/*.raw --into new --verify
  ravo convert /archive/2009 --into /archive/2009_current     all .raw files of a folder
  ravo convert /archive/2009 --into /copy --verify-only       is the copy still what the archive is?
  ravo convert old --into new --json | jq 'select(.losses != [])'

Every event, header, channel, value and description is kept, and blocks stay compressed as they were. What the
current generation cannot tell as it was is listed with the file. Files of the current generation are left alone.
A file appears in DIR only when it is complete; one that is damaged is named and left out, and the exit code is 1.)");
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
