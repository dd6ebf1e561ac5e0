// A progress bar on standard error, for work that takes more than a second and only on a terminal.
#ifndef RAVO_TOOL_PROGRESS_H
#define RAVO_TOOL_PROGRESS_H

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>

namespace ravo::tool {

class progress_bar {
 public:
  using clock = std::chrono::steady_clock;

  /// `what` is printed before the bar. No bar is shown if standard error is not a terminal.
  explicit progress_bar(std::string what);
  /// The same on a given terminal and with another clock. Null means no terminal.
  progress_bar(std::string what, std::FILE* terminal, std::function<clock::time_point()> now);
  /// Erases the bar.
  ~progress_bar();
  progress_bar(const progress_bar&) = delete;
  progress_bar& operator=(const progress_bar&) = delete;

  /// Whether there is a terminal that the bar can be shown on.
  bool is_on_terminal() const { return terminal_ != nullptr; }
  /// Shows the fraction that is done, 0 to 1, at most ten times a second.
  void show(double done);
  /// Erases the bar, before something else is printed to the same terminal.
  void hide();

 private:
  std::string what_;
  std::FILE* terminal_;
  std::function<clock::time_point()> now_;
  bool visible_ = false;
  clock::time_point start_ = now_();
  clock::time_point next_ = start_ + std::chrono::seconds(1);
};

}  // namespace ravo::tool

#endif
