// Every question that a program can ask the user layer's cursor about the selected channel. Memory that is
// returned is read to its end; answers are trusted only as far as the interface promises them.
#ifndef RAVO_FUZZ_CURSOR_QUESTIONS_H
#define RAVO_FUZZ_CURSOR_QUESTIONS_H

class ravo_daq_getdata;

namespace ravo::fuzz {

/// Asks them about the channel that is selected.
void ask_everything(ravo_daq_getdata& cursor);

}  // namespace ravo::fuzz

#endif
