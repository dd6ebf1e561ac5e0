// A reading by a verb of the dataset layer: finds the files of runs and periods, opens the
// dataset, shows progress, lets Ctrl-C end it, and closes with what was read, as a selection
// that can be mailed, and with the ledger. Failures are described in the tool's words.
#ifndef RAVO_TOOL_DATASET_SESSION_H
#define RAVO_TOOL_DATASET_SESSION_H

#include <exception>
#include <functional>
#include <optional>
#include <set>
#include <stop_token>
#include <string>

#include "common/interrupt.h"
#include "common/output.h"
#include "common/progress.h"
#include "common/selection_options.h"
#include "ravo_dataset/dataset.h"
#include "shared/json_lines.h"

namespace ravo::tool {

/// The arguments that every verb of the dataset layer has.
struct dataset_arguments {
  selection_arguments what;
  limit_arguments limits;
  bool json = false;
  print_form form() const { return json ? print_form::lines : print_form::table; }
};

/// Declares the options of these arguments; `json_help` says what --json prints. `arguments` has to live as
/// long as the command.
void add_dataset_options(CLI::App& command, dataset_arguments& arguments, const char* json_help);

/// The dataset's message as the end of one that begins with "ravo: ", with the tool's option
/// names. Only its first line: the ledger that may follow is printed in the tool's own form.
std::string in_our_words(const std::exception& error);

class dataset_session {
 public:
  /// `doing` is printed before the progress bar. Throws data_failure for
  /// a missing file, usage_failure for a selection that makes no sense.
  dataset_session(const asked_selection& asked, const dataset_arguments& arguments, std::string doing,
                  output& out);

  /// Opens the dataset and calls `work` with it. However that ends, the
  /// closing lines follow: on standard error for people, as a last JSON
  /// object on standard output for machines. Throws what failure.h declares.
  void run(const std::function<void(dataset&)>& work);

  /// For the work: the events, one after the other, and the account of those that were taken.
  void read_events(dataset& data, event_options options, const std::function<void(const event&)>& take);
  /// For the work: its own account, where it does not read events.
  void set_ledger(const read_ledger& ledger) { ledger_ = ledger; }
  /// The same if the reading ended before anything was printed: only what is missing counts.
  void set_ledger_of_nothing_printed(read_ledger ledger);
  const read_ledger& ledger() const { return ledger_; }
  /// For the work: adds a member to the last JSON object.
  void add_to_closing(const char* name, json value) { closing_[name] = std::move(value); }
  print_form form() const { return form_; }
  output& out() { return out_; }
  /// For other readings of the work: Ctrl-C ends them, and the bar shows how far they have come.
  template <class Options>
  void set_controls(Options& options) {
    options.stop = stop();
    options.progress = progress();
  }
  std::stop_token stop() const { return stop_.token(); }
  void hide_progress() { bar_.hide(); }

 private:
  dataset open();
  void report_problems(const read_ledger& ledger);
  void report_empty_window(const dataset& data);
  void close(const char* end);
  progress_function progress();

  selection wanted_;  // as it was asked for and is printed
  selection opened_;  // with the defaults
  dataset_options options_;
  print_form form_;
  output& out_;
  progress_bar bar_;
  stop_on_interrupt stop_;
  read_ledger ledger_;
  json closing_ = json::object();
  std::set<std::string> reported_;  // problems
};

}  // namespace ravo::tool

#endif
