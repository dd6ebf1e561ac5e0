#include "common/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "common/times.h"

namespace ravo::tool {

progress_bar::progress_bar(std::string what)
    : progress_bar(std::move(what), isatty(STDERR_FILENO) == 1 ? stderr : nullptr, &clock::now) {}

progress_bar::progress_bar(std::string what, std::FILE* terminal, std::function<clock::time_point()> now)
    : what_(std::move(what)), terminal_(terminal), now_(std::move(now)) {}

progress_bar::~progress_bar() { hide(); }

void progress_bar::show(double done) {
  if (terminal_ == nullptr) return;
  const clock::time_point now = now_();
  if (now < next_) return;
  next_ = now + std::chrono::milliseconds(100);
  constexpr int width = 30;
  const double part = std::clamp(done, 0.0, 1.0);
  const int filled = static_cast<int>(part * width);
  std::string left;
  if (part > 0.02) {
    const double spent = std::chrono::duration<double, std::micro>(now - start_).count();
    left = ", " + format_span(spent * (1.0 - part) / part) + " left";
  }
  fmt::print(terminal_, "\r{} [{:#<{}}{:.<{}}] {:3.0f} %{}\033[K", what_, "", filled, "", width - filled,
             part * 100.0, left);
  std::fflush(terminal_);
  visible_ = true;
}

void progress_bar::hide() {
  if (!visible_) return;
  std::fputs("\r\033[K", terminal_);
  std::fflush(terminal_);
  visible_ = false;
}

}  // namespace ravo::tool
