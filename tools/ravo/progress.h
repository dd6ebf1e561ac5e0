// A progress bar on standard error, for work that takes more than a second and only on a terminal.
#ifndef RAVO_TOOL_PROGRESS_H
#define RAVO_TOOL_PROGRESS_H

#include <chrono>
#include <string>

namespace ravo::tool {

class progress_bar {
 public:
  /// `what` stands before the bar.
  explicit progress_bar(std::string what);
  /// Wipes the bar away.
  ~progress_bar();
  progress_bar(const progress_bar&) = delete;
  progress_bar& operator=(const progress_bar&) = delete;

  /// Whether there is a terminal that the bar can be shown on.
  bool is_on_terminal() const { return terminal_; }
  /// Shows how much is done, 0 to 1, at most ten times a second.
  void show(double done);
  /// Wipes the bar away, before something else is printed to the same terminal.
  void hide();

 private:
  using clock = std::chrono::steady_clock;

  std::string what_;
  bool terminal_;
  bool visible_ = false;
  clock::time_point start_ = clock::now();
  clock::time_point next_ = start_ + std::chrono::seconds(1);
};

}  // namespace ravo::tool

#endif
