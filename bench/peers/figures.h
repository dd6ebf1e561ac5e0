// Figures with their spread: the median of several repetitions, and their range.
#ifndef RAVO_BENCH_PEERS_FIGURES_H
#define RAVO_BENCH_PEERS_FIGURES_H

#include <string>
#include <vector>

namespace ravo::bench {

class figures {
 public:
  void add(double figure) { all_.push_back(figure); }
  bool empty() const { return all_.empty(); }
  double median() const;
  /// "0.93 (0.88 to 0.95)"
  std::string text() const;

 private:
  std::vector<double> all_;
};

/// With three significant digits.
std::string in_short(double figure);

/// Processes that ran or were ready to run, averaged over the last minute.
std::string load_average();

/// Prints a line of a table.
void print_row(const std::vector<std::string>& cells);
/// Prints the head of a table. Its first column holds words, the others hold figures.
void print_head(const std::vector<std::string>& cells);

}  // namespace ravo::bench

#endif
