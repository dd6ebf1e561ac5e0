// Starts a channel reader as a master does.
#ifndef RAVO_TEST_START_AND_WAIT_H
#define RAVO_TEST_START_AND_WAIT_H

#include <pthread.h>

namespace ravo::test {

/// Starts a reader and waits for its signal, which is taken back; the status of start().
template <class read_chan>
int start_and_wait(read_chan& reader) {
  pthread_mutex_t* mutex = nullptr;
  pthread_cond_t* condition = nullptr;
  int* flag = nullptr;
  const int status = reader.start(&mutex, &condition, &flag);
  pthread_mutex_lock(mutex);
  while (*flag == 0) pthread_cond_wait(condition, mutex);
  *flag = 0;
  pthread_mutex_unlock(mutex);
  return status;
}

}  // namespace ravo::test

#endif
