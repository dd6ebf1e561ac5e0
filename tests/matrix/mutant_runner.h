// Runs a check of many mutants in processes of their own, some hundreds each and several processes at once:
// a mutant that crashes, hangs or takes more memory than it may ends its process, and is reported with what
// it wrote; the others go on after it.
#ifndef RAVO_TEST_MATRIX_MUTANT_RUNNER_H
#define RAVO_TEST_MATRIX_MUTANT_RUNNER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace ravo::test {

/// The outcome of a mutant.
struct verdict_on_mutant {
  std::string kind;   ///< how it is counted
  std::string wrong;  ///< empty, or an outcome that is not permitted
};

struct mutant_tally {
  std::size_t mutants = 0;
  std::map<std::string, std::size_t> kinds;
  std::size_t failed = 0;
  std::vector<std::string> failures;  ///< the first ones, in words
  std::size_t most_memory = 0;        ///< bytes by which the process with most of it grew
  double seconds = 0;

  /// How many have an outcome: all, unless one was left out or counted twice.
  std::size_t judged() const;
};

/// The check of mutants. All of it runs in the process that checks them, except for the names of those
/// that ended it.
struct mutant_check {
  std::function<verdict_on_mutant(std::size_t)> judge;
  std::function<std::string(std::size_t)> name;
  /// Once in each process, first: what processes cannot share is made here.
  std::function<void()> prepare = [] {};
};

/// Judges 0 to `count` - 1, each without the output of another.
mutant_tally run_mutants(std::size_t count, const mutant_check& check);

/// Whether something was written to standard output since the last call. For a check.
bool has_printed();

/// As lines for people.
std::string text_of(const mutant_tally& tally);

}  // namespace ravo::test

#endif
