// Ctrl-C: the first one asks the tool to stop as soon as it safely can, the second one ends it at once.
#ifndef RAVO_TOOL_INTERRUPT_H
#define RAVO_TOOL_INTERRUPT_H

#include <stop_token>
#include <thread>

namespace ravo::tool {

/// Listens for Ctrl-C and lets a closed pipe end the program quietly.
void listen_for_signals();
/// Whether Ctrl-C was pressed.
bool is_interrupted();
/// Throws `interrupted` once Ctrl-C was pressed.
void check_for_interrupt();

/// As long as one of these lives, Ctrl-C asks its token to stop. One at a time.
class stop_on_interrupt {
 public:
  stop_on_interrupt();
  ~stop_on_interrupt();
  stop_on_interrupt(const stop_on_interrupt&) = delete;
  stop_on_interrupt& operator=(const stop_on_interrupt&) = delete;

  std::stop_token token() const { return stop_.get_token(); }

 private:
  std::stop_source stop_;
  std::thread watcher_;
};

}  // namespace ravo::tool

#endif
