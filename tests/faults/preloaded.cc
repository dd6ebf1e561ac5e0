// The faults of shim.h for a program that is started: with this library in LD_PRELOAD, the environment says
// which of its calls has which mishap, and how far its clock is ahead.
//
//   RAVO_TEST_FAULT          KINDS WHICH MISHAP ERROR EXTENT, numbers as in shim.h
//   RAVO_TEST_FAULT_NOTE     a file that is made at the program's end when the chosen call has come
//   RAVO_TEST_SECONDS_AHEAD  added to what time() returns
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <new>

#include "shim.h"

namespace {

using namespace ravo::test;

alignas(fault) unsigned char memory[sizeof(fault)];
const fault* armed = nullptr;
time_t seconds_ahead = 0;

__attribute__((constructor)) void begin() {
  if (const char* const ahead = getenv("RAVO_TEST_SECONDS_AHEAD")) seconds_ahead = atol(ahead);
  const char* const text = getenv("RAVO_TEST_FAULT");
  unsigned kinds = 0;
  long which = 0;
  int what = 0, error = 0, reach = 0;
  if (text && sscanf(text, "%u %ld %d %d %d", &kinds, &which, &what, &error, &reach) == 5)
    armed = new (memory) fault(kinds, which, static_cast<mishap>(what), error, static_cast<extent>(reach));
}

__attribute__((destructor)) void end() {
  if (!armed) return;
  armed->disarm();
  const char* const note = getenv("RAVO_TEST_FAULT_NOTE");
  if (note && armed->happened()) close(open(note, O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
}

}  // namespace

extern "C" time_t time(time_t* seconds) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const time_t shifted = now.tv_sec + seconds_ahead;
  if (seconds) *seconds = shifted;
  return shifted;
}
