#include "figures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

namespace ravo::bench {

double figures::median() const {
  std::vector<double> sorted = all_;
  std::sort(sorted.begin(), sorted.end());
  const std::size_t middle = sorted.size() / 2;
  return sorted.size() % 2 == 1 ? sorted[middle] : 0.5 * (sorted[middle - 1] + sorted[middle]);
}

std::string figures::text() const {
  const auto [least, most] = std::minmax_element(all_.begin(), all_.end());
  return in_short(median()) + " (" + in_short(*least) + " to " + in_short(*most) + ")";
}

std::string in_short(double figure) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", figure < 10 ? 2 : figure < 100 ? 1 : 0, figure);
  return text;
}

std::string load_average() {
  double load = 0;
  std::ifstream("/proc/loadavg") >> load;
  return in_short(load);
}

void print_row(const std::vector<std::string>& cells) {
  std::string line = "|";
  for (const std::string& cell : cells) line += " " + cell + " |";
  std::puts(line.c_str());
  std::fflush(stdout);
}

void print_head(const std::vector<std::string>& cells) {
  std::puts("");
  print_row(cells);
  std::string line = "|---|";
  for (std::size_t i = 1; i < cells.size(); ++i) line += "---:|";
  std::puts(line.c_str());
}

}  // namespace ravo::bench
