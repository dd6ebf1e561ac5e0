#include "common/output.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <system_error>

#include "common/failure.h"
#include "format/uninterrupted.h"

namespace ravo::tool {
namespace {

// So much of what libraries print goes into a message, and so much is kept before it is discarded.
constexpr off_t shown_bytes = 2000;
constexpr off_t bounded_bytes = 1 << 20;

[[noreturn]] void fail(const char* what) {
  throw data_failure(std::string(what) + ": " + std::strerror(errno));
}

}  // namespace

output::output() {
  // The caller may have closed standard output; then there is nowhere to print to, which is not a failure.
  int own = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  if (own < 0) own = uninterrupted::open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (own < 0) fail("standard output cannot be used");
  file_ = fdopen(own, "w");
  if (!file_) fail("standard output cannot be used");
  terminal_ = isatty(own) == 1;
  const char* terminal_name = std::getenv("TERM");
  colour_ =
      terminal_ && !std::getenv("NO_COLOR") && terminal_name && std::strcmp(terminal_name, "dumb") != 0;
  kept_ = memfd_create("ravo library output", MFD_CLOEXEC);
  if (kept_ < 0 || dup2(kept_, STDOUT_FILENO) < 0) fail("standard output cannot be set apart");
}

output::~output() {
  std::fclose(file_);
  close(kept_);
}

int output::descriptor() const { return fileno(file_); }

void output::print(std::string_view text) { std::fwrite(text.data(), 1, text.size(), file_); }

void output::print_drawn_line(std::string line) {
  line.erase(line.find_last_not_of(' ') + 1);
  print(line + "\n");
}

void output::print_line(std::string line) {
  line.erase(line.find_last_not_of(' ') + 1);
  print(printable(line) + "\n");
}

bool output::flush() {
  if (std::fflush(file_) == 0 && !std::ferror(file_)) return true;
  if (errno == EPIPE) return false;
  fail("standard output cannot be written");
}

void output::show_library_output() {
  std::cout.flush();
  std::fflush(stdout);
  dup2(STDERR_FILENO, STDOUT_FILENO);
}

std::string output::take_library_output() {
  std::cout.flush();
  std::fflush(stdout);
  const off_t size = uninterrupted::lseek(kept_, 0, SEEK_END);
  std::string text;
  if (size > 0) {
    text.resize(static_cast<std::size_t>(size < shown_bytes ? size : shown_bytes));
    const ssize_t got =
        uninterrupted::pread(kept_, text.data(), text.size(), size - static_cast<off_t>(text.size()));
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  }
  if (uninterrupted::ftruncate(kept_, 0) == 0) uninterrupted::lseek(kept_, 0, SEEK_SET);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

void output::bound_library_output() {
  if (uninterrupted::lseek(kept_, 0, SEEK_END) > bounded_bytes) take_library_output();
}

}  // namespace ravo::tool
