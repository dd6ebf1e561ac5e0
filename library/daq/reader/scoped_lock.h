// Holds a POSIX mutex for the length of a scope, and waits for a flag that a mutex guards.
#ifndef RAVO_DAQ_READER_SCOPED_LOCK_H
#define RAVO_DAQ_READER_SCOPED_LOCK_H

#include <pthread.h>

namespace ravo {

class scoped_lock {
 public:
  explicit scoped_lock(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
  ~scoped_lock() { pthread_mutex_unlock(&mutex_); }
  scoped_lock(const scoped_lock&) = delete;
  scoped_lock& operator=(const scoped_lock&) = delete;

 private:
  pthread_mutex_t& mutex_;
};

/// Waits until a channel reader's flag is set, and clears it. A reader sets it in every case.
inline void wait_for_flag(pthread_mutex_t& mutex, pthread_cond_t& condition, int& flag) {
  const scoped_lock lock(mutex);
  while (flag == 0) pthread_cond_wait(&condition, &mutex);
  flag = 0;
}

}  // namespace ravo

#endif
