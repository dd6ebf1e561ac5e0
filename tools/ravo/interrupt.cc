#include "interrupt.h"

#include <signal.h>

#include "failure.h"

namespace ravo::tool {
namespace {

volatile sig_atomic_t asked_to_stop = 0;

extern "C" void remember_interrupt(int) { asked_to_stop = 1; }

}  // namespace

void listen_for_signals() {
  struct sigaction action {};
  action.sa_handler = remember_interrupt;
  action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
  // Whoever started the tool may have ignored it; `ravo read ... | head` must end all the same.
  signal(SIGPIPE, SIG_DFL);
}

void check_for_interrupt() {
  if (asked_to_stop) throw interrupted{};
}

}  // namespace ravo::tool
