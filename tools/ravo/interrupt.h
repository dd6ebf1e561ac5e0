// Ctrl-C: the first one asks the tool to stop at the next good moment, the second one ends it at once.
#ifndef RAVO_TOOL_INTERRUPT_H
#define RAVO_TOOL_INTERRUPT_H

namespace ravo::tool {

/// Listens for Ctrl-C and lets a closed pipe end the program quietly.
void listen_for_signals();
/// Throws `interrupted` once Ctrl-C was pressed.
void check_for_interrupt();

}  // namespace ravo::tool

#endif
