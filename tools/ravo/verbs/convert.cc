// ravo convert: rewrites older raw files as files of the current generation, and compares them.
#include <fmt/format.h>

#include <algorithm>
#include <functional>

#include "common/failure.h"
#include "common/interrupt.h"
#include "common/progress.h"
#include "common/raw_file.h"
#include "convert/compare_files.h"
#include "convert/convert_file.h"
#include "convert/report.h"
#include "convert/sources.h"
#include "convert/staging.h"
#include "format/folders.h"
#include "shared/escaping.h"
#include "shared/whole_file.h"
#include "verbs/verb.h"

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

// The fraction of the whole work that is done, by the sizes of the files.
class work_progress {
 public:
  explicit work_progress(const std::vector<conversion_source>& sources) : bar_("converting") {
    for (const conversion_source& source : sources) all_ += size_of(source);
  }
  /// From here on, the current file takes `steps` steps.
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
    const auto size = length_of_file(source.path);
    return source.is_current || !size ? 0.0 : static_cast<double>(*size);
  }

  progress_bar bar_;
  double all_ = 0, before_ = 0, current_ = 0;
  int steps_ = 1;
};

// Throws data_failure that names the first difference of `output`, which will be moved to `name`.
void verify(raw_file& older, const std::string& output, const std::string& name,
            const std::function<void(double)>& report) {
  raw_file current(output, raw_file::any_memory);
  if (current.generation() != ravo_file_generation::current)
    throw data_failure(name + ": is a file of the older generation, not a conversion");
  if (const auto difference = first_difference(older, current, report))
    throw data_failure(fmt::format("{}: does not hold what {} holds: {}", name, older.path(), *difference));
}

class batch {
 public:
  batch(const options& asked, const std::vector<conversion_source>& sources)
      : asked_(asked), progress_(sources) {}

  conversion_outcome handle(const conversion_source& source) {
    conversion_outcome result;
    result.source = source;
    if (source.is_current) return result;
    const int steps = asked_.verify && !asked_.verify_only ? 2 : 1;
    progress_.begin(source, steps);
    try {
      raw_file older(source.path, raw_file::any_memory);
      if (older.generation() == ravo_file_generation::current) {
        result.source.is_current = true;
        return result;
      }
      result.bytes = older.size();
      if (asked_.verify_only)
        verify(older, source.target, source.target, [this](double part) { progress_.show(0, part); });
      else
        convert(older, source, result);
      result.verified = asked_.verify || asked_.verify_only;
      const auto size = length_of_file(source.target);
      if (!size) throw data_failure(source.target + ": is gone, or no file any more");
      result.output_bytes = *size;
    } catch (const data_failure& failure) {
      result.problem = failure.what();
      result.converted.reset();
    }
    progress_.hide();
    return result;
  }

 private:
  void convert(raw_file& older, const conversion_source& source, conversion_outcome& result) {
    const overwriting existing = asked_.force ? overwriting::allowed : overwriting::refused;
    // Reported before the work, not after it.
    if (existing == overwriting::refused && is_there(source.target))
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

// A problem of the folder concerns all files: it is reported once.
void check_folder(const std::string& folder) {
  if (folder.empty()) throw usage_failure("--into: the name of the folder is empty");
  if (is_there(folder) && !is_folder(folder)) throw data_failure(folder + ": is a file, not a folder");
}

// Removes what killed conversions left; nobody can use it.
void clear(const std::string& folder) {
  for (const left_behind& left : remove_left_behind(folder))
    if (left.problem.empty())
      print_message("ravo: {}: removed; an earlier conversion was ended before it was done\n", left.path);
    else
      print_message(
          "ravo: {}: an earlier conversion left it, and it cannot be removed: {}; remove it when no "
          "conversion into {} runs\n",
          left.path, left.problem, folder);
}

void run(const options& asked, output& out) {
  check_folder(asked.into);
  if (!asked.verify_only) clear(asked.into);
  const std::vector<conversion_source> sources = find_sources(asked.files, asked.into);
  if (sources.empty())
    throw data_failure(fmt::format("there are no raw files (*.raw) in {}", fmt::join(asked.files, ", ")));
  const auto print = asked.json ? print_outcome_json : print_outcome;
  batch work(asked, sources);
  conversion_totals sum;
  for (const conversion_source& source : sources) {
    const conversion_outcome one = work.handle(source);
    print(one, out);
    sum.add(one);
    if (one.problem.empty()) continue;
    if (sources.size() == 1) throw data_failure(one.problem);
    // The message follows what was printed before it, even if both go to one place.
    out.flush();
    print_message("ravo: {}\n", one.problem);
  }
  if (sum.done + sum.failed == 0)
    throw data_failure(fmt::format("there is no file of the older generation among the {}",
                                   plural(sources.size(), "file")));
  (asked.json ? print_totals_json : print_totals)(sum, out);
  if (sum.failed > 0)
    throw data_failure(fmt::format("{} of {} files failed; what is named above says why", sum.failed,
                                   sum.done + sum.failed));
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
  CLI::Option* force = command->add_flag("--force", asked->force, "Replace files that are there already");
  CLI::Option* verify =
      command->add_flag("--verify", asked->verify,
                        "Read old and new back and compare value by value before a new file gets its name");
  command
      ->add_flag("--verify-only", asked->verify_only,
                 "Write nothing: compare with an earlier conversion in DIR")
      ->excludes(force)
      ->excludes(verify);
  command->add_flag("--json", asked->json, "One JSON object a file, and one with the sums");
  command->footer(R"(Examples:
  ravo convert old/*.raw --into new --verify
  ravo convert /archive/2009 --into /archive/2009_current     all .raw files of a folder
  ravo convert /archive/2009 --into /copy --verify-only       is the copy still what the archive is?
  ravo convert old --into new --json | jq 'select(.losses != [])'

Every event, header, channel, value and description is kept, and blocks stay compressed as they were. What the
current generation cannot express is listed with the file. Files of the current generation are left alone.
A file appears in DIR only when it is complete; one that is damaged is named and left out, and the exit code is 1.)");
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
