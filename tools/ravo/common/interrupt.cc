#include "common/interrupt.h"

#include <semaphore.h>
#include <signal.h>

#include <cerrno>
#include <system_error>

#include "common/failure.h"

namespace ravo::tool {
namespace {

volatile sig_atomic_t asked_to_stop = 0;
sem_t something_happened;  // posted by the handler, which may do little else

extern "C" void remember_interrupt(int) {
  const int error = errno;
  asked_to_stop = 1;
  sem_post(&something_happened);
  errno = error;
}

}  // namespace

void listen_for_signals() {
  sem_init(&something_happened, 0, 0);
  struct sigaction action {};
  action.sa_handler = remember_interrupt;
  action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
  // A file that may not grow any further is an error that names it, not a silent end of the program.
  signal(SIGXFSZ, SIG_IGN);
  // The parent process may have ignored it; `read ... | head` must end all the same.
  signal(SIGPIPE, SIG_DFL);
}

bool is_interrupted() { return asked_to_stop != 0; }

void check_for_interrupt() {
  if (is_interrupted()) throw interrupted{};
}

// The watcher wakes once, for Ctrl-C or for the end of this object; a stop request at the end does no harm.
stop_on_interrupt::stop_on_interrupt() try
    : watcher_([this] {
        while (sem_wait(&something_happened) != 0 && errno == EINTR) {
        }
        stop_.request_stop();
      }) {
} catch (const std::system_error& refused) {
  throw std::system_error(
      refused.code(),
      "no thread can be started that looks out for Ctrl-C (limits: ulimit -u, and the memory)");
}

stop_on_interrupt::~stop_on_interrupt() {
  sem_post(&something_happened);
  watcher_.join();
}

}  // namespace ravo::tool
