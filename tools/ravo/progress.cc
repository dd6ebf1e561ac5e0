#include "progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "times.h"

namespace ravo::tool {

progress_bar::progress_bar(std::string what)
    : what_(std::move(what)), terminal_(isatty(STDERR_FILENO) == 1) {}

progress_bar::~progress_bar() { hide(); }

void progress_bar::show(double done) {
  if (!terminal_) return;
  const clock::time_point now = clock::now();
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
  fmt::print(stderr, "\r{} [{:#<{}}{:.<{}}] {:3.0f} %{}\033[K", what_, "", filled, "", width - filled,
             part * 100.0, left);
  std::fflush(stderr);
  visible_ = true;
}

void progress_bar::hide() {
  if (!visible_) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
  visible_ = false;
}

}  // namespace ravo::tool
